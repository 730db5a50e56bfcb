#include "tests/fakes/FakeCdComponents.h"

#include "components/Error.h"
#include "tests/fakes/FakeCodecs.h"

FakeHarnTools::FakeHarnTools(CallLog* log, QObject* parent)
    : HarnTools(parent), CallRecorder(QStringLiteral("HarnTools"), log) {}

const FakeHarnTools::Drive& FakeHarnTools::drive(qint32 address) const {
    for (const Drive& d : drives)
        if (d.address == address)
            return d;
    throw Error(QStringLiteral("There is no CD drive at address %1").arg(address));
}

qint32 FakeHarnTools::DriveAddress(qint32& index) {
    call("DriveAddress", index);
    if (index < 0 || index >= drives.size())
        throw IndexError(QStringLiteral("there is no CD drive number %1").arg(index));
    return drives[index].address;
}

qint32 FakeHarnTools::inquiry(const char* member, qint32 address, QString Drive::*field) {
    m_inquiryText = onDrive(member, address).*field;
    return qint32(m_inquiryText.size());
}

qint32 FakeHarnTools::ReadTrackCount(qint32 address) {
    onDrive("ReadTrackCount", address);
    if (!readError.isEmpty())
        throw Error(readError);
    return trackCount;
}

void FakeHarnTools::ReadDiscInfo(qint32 address, qint32 track) {
    call("ReadDiscInfo", address, track);
    drive(address);
}

qint32 FakeHarnTools::DiscState(qint32 address) {
    onDrive("DiscState", address);
    return discState;
}

void FakeHarnTools::rip(const char* member, qint32 address, const QString& path, qint32 track,
                        qint32 windowHandle) {
    call(member, address, path, track, windowHandle);
    if (!ripError.isEmpty())
        throw Error(ripError);
    if (existing.contains(path) && !overwrite.replace)
        throw OutputExistsError(
            path, QStringLiteral("Cannot write %1: a file of that name exists already").arg(path));
    const int started = ++m_run;
    for (const double value : progressOnRip)
        QMetaObject::invokeMethod(
            this,
            [this, value, started] {
                if (m_run == started)
                    Q_EMIT RipProgress(value);
            },
            Qt::QueuedConnection);
}

void FakeHarnTools::CancelRip() {
    call("CancelRip");
    ++m_run; // what the cancelled rip had still to report is dropped
}

void FakeDiscLookup::LookUpTrackNames(qint32 address) {
    call("LookUpTrackNames", address);
    if (!answer)
        return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (!failure.isEmpty()) {
                Q_EMIT LookUpFailed(failure);
                return;
            }
            QStringList lines;
            for (const Release& release : releases)
                lines << release.description;
            Q_EMIT LookUpDone(lines);
        },
        Qt::QueuedConnection);
}

qint32 FakeMci::mciSendString(const QString& command, QString& reply) {
    call("mciSendString", command);
    const Answer answer = answers.value(command);
    if (answer.code == 0)
        reply = answer.reply;
    return answer.code;
}

qint32 FakeDrives::GetLogicalDriveStrings(QString& buffer) {
    call("GetLogicalDriveStrings", buffer.size());
    const QString strings = roots.join(QChar(u'\0')) + QChar(u'\0');
    if (strings.size() >= buffer.size())
        return qint32(strings.size() + 1);
    buffer.replace(0, strings.size() + 1, strings + QChar(u'\0'));
    return qint32(strings.size());
}

qint32 FakeDrives::GetDriveType(const QString& root) {
    call("GetDriveType", root);
    return types.value(root, NoRootDir);
}
