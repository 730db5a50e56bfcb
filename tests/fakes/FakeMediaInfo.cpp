#include "tests/fakes/FakeMediaInfo.h"

#include "components/Error.h"

namespace {

template <class Info> Info lookUp(const QMap<QString, Info>& files, const QString& path) {
    const auto found = files.constFind(path);
    if (found == files.constEnd())
        throw Error(QStringLiteral("Cannot read %1: the file does not exist").arg(path));
    return *found;
}

} // namespace

FakeHarnMediaUtils::Info FakeHarnMediaUtils::open(const char* member, const QString& path) {
    record(QLatin1String(member), {path});
    return lookUp(files, path);
}

void FakeWMAFile::Open(const QString& path) {
    record(QStringLiteral("Open"), {path});
    m_open = lookUp(files, path);
}
