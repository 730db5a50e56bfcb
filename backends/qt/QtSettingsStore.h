#pragma once

#include "components/SettingsStore.h"

#include <QString>
#include <memory>

class QSettings;

// Settings on QSettings. Registry values are kept under an organisation named after the key
// ("Melvane"); per-application settings under the organisation "Melvane", the application's
// name and a group per section.
class QtSettingsStore final : public SettingsStore {
public:
    // With a base folder, settings are INI files inside it instead of the user's own store,
    // laid out as <base>/<organisation>.conf and <base>/<organisation>/<application>.conf.
    explicit QtSettingsStore(const QString& baseFolder = {});

    QString RegistryValue(const QString& key, const QString& name) override;
    void setRegistryValue(const QString& key, const QString& name, const QString& value) override;
    QString GetSetting(const QString& app, const QString& section, const QString& key,
                       const QString& defaultValue = {}) override;
    void SaveSetting(const QString& app, const QString& section, const QString& key,
                     const QString& value) override;
    QString MusicFolder() override;

private:
    std::unique_ptr<QSettings> open(const QString& organisation, const QString& application) const;
    static void write(QSettings& settings, const QString& key, const QString& value);

    QString m_baseFolder;
};
