#pragma once

#include "backends/cdio/DriveTable.h"
#include "components/Drives.h"

#include <memory>

namespace cdio {

// The drive roots over the shared drive table: "C:\" for the system's disk, then "D:\", "E:\"
// ... for its drives in order, as far as "Z:\".
class CdDrives final : public Drives {
public:
    explicit CdDrives(std::shared_ptr<const DriveTable> drives);

    qint32 GetLogicalDriveStrings(QString& buffer) override;
    qint32 GetDriveType(const QString& root) override;

private:
    QStringList roots() const;

    std::shared_ptr<const DriveTable> m_drives;
};

} // namespace cdio
