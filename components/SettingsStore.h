#pragma once

#include <QString>

// Persisted settings. Registry values live under the organisation "Melvane"; per-application
// settings (the recorder's) under their application name and section.
class SettingsStore {
public:
    virtual ~SettingsStore() = default;
    // A value kept under Software\<key>; empty when absent.
    virtual QString RegistryValue(const QString& key, const QString& name) = 0;
    virtual void setRegistryValue(const QString& key, const QString& name,
                                  const QString& value) = 0;
    virtual QString GetSetting(const QString& app, const QString& section, const QString& key,
                               const QString& defaultValue = {}) = 0;
    virtual void SaveSetting(const QString& app, const QString& section, const QString& key,
                             const QString& value) = 0;
    // The user's music folder, without a trailing separator.
    virtual QString MusicFolder() = 0;
};
