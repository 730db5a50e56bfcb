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

    QString RegistryValue(const QString& key, const QString& name) override {
        record(QStringLiteral("RegistryValue"), {key, name});
        return registry.value(key + u'/' + name);
    }
    void setRegistryValue(const QString& key, const QString& name, const QString& value) override {
        record(QStringLiteral("setRegistryValue"), {key, name, value});
        registry.insert(key + u'/' + name, value);
    }
    QString GetSetting(const QString& app, const QString& section, const QString& key,
                       const QString& defaultValue = {}) override {
        record(QStringLiteral("GetSetting"), {app, section, key, defaultValue});
        return settings.value(QStringList{app, section, key}.join(u'/'), defaultValue);
    }
    void SaveSetting(const QString& app, const QString& section, const QString& key,
                     const QString& value) override {
        record(QStringLiteral("SaveSetting"), {app, section, key, value});
        settings.insert(QStringList{app, section, key}.join(u'/'), value);
    }
    QString MusicFolder() override { return read("MusicFolder", musicFolder); }

    QMap<QString, QString> registry;
    QMap<QString, QString> settings;
    QString musicFolder = QStringLiteral("/home/user/Music");
};
