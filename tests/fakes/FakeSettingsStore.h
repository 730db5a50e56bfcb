#pragma once

#include "components/SettingsStore.h"
#include "tests/fakes/CallLog.h"

#include <QMap>

// Settings kept in memory. A test presets them in the two maps, keyed by the parts joined with
// "/": registry["Melvane/Audio Rip CD Device"], settings["QuillRecorder/Settings/Bitrate"].
class FakeSettingsStore final : public SettingsStore, public CallRecorder {
public:
    explicit FakeSettingsStore(CallLog* log = nullptr)
        : CallRecorder(QStringLiteral("SettingsStore"), log) {}

    QString RegistryValue(const QString& key, const QString& name) override;
    void setRegistryValue(const QString& key, const QString& name, const QString& value) override;
    QString GetSetting(const QString& app, const QString& section, const QString& key,
                       const QString& defaultValue = {}) override;
    void SaveSetting(const QString& app, const QString& section, const QString& key,
                     const QString& value) override;
    QString MusicFolder() override;

    QMap<QString, QString> registry;
    QMap<QString, QString> settings;
    QString musicFolder = QStringLiteral("/home/user/Music");
};
