#include "tests/fakes/FakeSettingsStore.h"

namespace {

QString joined(const QStringList& parts) {
    return parts.join(u'/');
}

} // namespace

QString FakeSettingsStore::RegistryValue(const QString& key, const QString& name) {
    record(QStringLiteral("RegistryValue"), {key, name});
    return registry.value(joined({key, name}));
}

void FakeSettingsStore::setRegistryValue(const QString& key, const QString& name,
                                         const QString& value) {
    record(QStringLiteral("setRegistryValue"), {key, name, value});
    registry.insert(joined({key, name}), value);
}

QString FakeSettingsStore::GetSetting(const QString& app, const QString& section,
                                      const QString& key, const QString& defaultValue) {
    record(QStringLiteral("GetSetting"), {app, section, key, defaultValue});
    return settings.value(joined({app, section, key}), defaultValue);
}

void FakeSettingsStore::SaveSetting(const QString& app, const QString& section, const QString& key,
                                    const QString& value) {
    record(QStringLiteral("SaveSetting"), {app, section, key, value});
    settings.insert(joined({app, section, key}), value);
}

QString FakeSettingsStore::MusicFolder() {
    record(QStringLiteral("MusicFolder"));
    return musicFolder;
}
