#include "backends/qt/QtSettingsStore.h"

#include "components/Error.h"

#include <QDir>
#include <QSettings>
#include <QStandardPaths>

namespace {

const QString kOrganisation = QStringLiteral("Melvane");

// "Melvane" or "Melvane\Sub\Key": the first part names the organisation, the rest a group.
struct RegistryPath {
    QString organisation;
    QString group;
};

RegistryPath splitKey(const QString& key) {
    QString path = key;
    path.replace(QLatin1Char('\\'), QLatin1Char('/'));
    QStringList parts = path.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (!parts.isEmpty() &&
        parts.constFirst().compare(QLatin1String("Software"), Qt::CaseInsensitive) == 0)
        parts.removeFirst();
    if (parts.isEmpty())
        throw Error(QStringLiteral("Cannot use the registry key \"%1\": it names no key").arg(key));
    RegistryPath result;
    result.organisation = parts.takeFirst();
    result.group = parts.join(QLatin1Char('/'));
    return result;
}

} // namespace

QtSettingsStore::QtSettingsStore(const QString& baseFolder) : m_baseFolder(baseFolder) {}

std::unique_ptr<QSettings> QtSettingsStore::open(const QString& organisation,
                                                 const QString& application) const {
    if (m_baseFolder.isEmpty())
        return std::make_unique<QSettings>(organisation, application);
    const QString file =
        application.isEmpty()
            ? m_baseFolder + QLatin1Char('/') + organisation + QStringLiteral(".conf")
            : m_baseFolder + QLatin1Char('/') + organisation + QLatin1Char('/') + application +
                  QStringLiteral(".conf");
    return std::make_unique<QSettings>(file, QSettings::IniFormat);
}

void QtSettingsStore::write(QSettings& settings, const QString& key, const QString& value) {
    settings.setValue(key, value);
    settings.sync();
    if (settings.status() == QSettings::AccessError)
        throw Error(
            QStringLiteral("Cannot save the setting %1: the settings file %2 cannot be written")
                .arg(key, settings.fileName()));
}

QString QtSettingsStore::RegistryValue(const QString& key, const QString& name) {
    const RegistryPath path = splitKey(key);
    auto settings = open(path.organisation, {});
    if (!path.group.isEmpty())
        settings->beginGroup(path.group);
    return settings->value(name).toString();
}

void QtSettingsStore::setRegistryValue(const QString& key, const QString& name,
                                       const QString& value) {
    const RegistryPath path = splitKey(key);
    auto settings = open(path.organisation, {});
    if (!path.group.isEmpty())
        settings->beginGroup(path.group);
    write(*settings, name, value);
}

QString QtSettingsStore::GetSetting(const QString& app, const QString& section, const QString& key,
                                    const QString& defaultValue) {
    if (app.isEmpty())
        throw Error(
            QStringLiteral("Cannot read the setting %1: no application name was given").arg(key));
    auto settings = open(kOrganisation, app);
    settings->beginGroup(section);
    return settings->value(key, defaultValue).toString();
}

void QtSettingsStore::SaveSetting(const QString& app, const QString& section, const QString& key,
                                  const QString& value) {
    if (app.isEmpty())
        throw Error(
            QStringLiteral("Cannot save the setting %1: no application name was given").arg(key));
    auto settings = open(kOrganisation, app);
    settings->beginGroup(section);
    write(*settings, key, value);
}

QString QtSettingsStore::MusicFolder() {
    QString folder = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
    if (folder.isEmpty())
        folder = QDir::homePath() + QStringLiteral("/Music");
    folder = QDir::cleanPath(folder);
    return QDir::toNativeSeparators(folder);
}
