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

qint32 FakeHarnTools::DriveCount() {
    record(QStringLiteral("DriveCount"));
    return qint32(drives.size());
}

qint32 FakeHarnTools::DriveAddress(qint32& index) {
    record(QStringLiteral("DriveAddress"), {QString::number(index)});
    if (index < 0 || index >= drives.size())
        throw IndexError(QStringLiteral("there is no CD drive number %1").arg(index));
    return drives[index].address;
}

qint32 FakeHarnTools::inquiry(const QString& member, qint32 address, QString Drive::*field) {
    record(member, {QString::number(address)});
    m_inquiryText = drive(address).*field;
    return qint32(m_inquiryText.size());
}

qint32 FakeHarnTools::DriveVendor(qint32 address) {
    return inquiry(QStringLiteral("DriveVendor"), address, &Drive::vendor);
}

qint32 FakeHarnTools::DriveProduct(qint32 address) {
    return inquiry(QStringLiteral("DriveProduct"), address, &Drive::product);
}

qint32 FakeHarnTools::DriveRevision(qint32 address) {
    return inquiry(QStringLiteral("DriveRevision"), address, &Drive::revision);
}

QString FakeHarnTools::InquiryText() const {
    record(QStringLiteral("InquiryText"));
    return m_inquiryText;
}

void FakeHarnTools::SelectDrive(qint32 address) {
    record(QStringLiteral("SelectDrive"), {QString::number(address)});
    drive(address);
}

qint32 FakeHarnTools::ReadTrackCount(qint32 address) {
    record(QStringLiteral("ReadTrackCount"), {QString::number(address)});
    drive(address);
    if (!readError.isEmpty())
        throw Error(readError);
    return trackCount;
}

void FakeHarnTools::ReadDiscInfo(qint32 address, qint32 track) {
    record(QStringLiteral("ReadDiscInfo"), {QString::number(address), QString::number(track)});
    drive(address);
}

qint32 FakeHarnTools::DiscType() const {
    record(QStringLiteral("DiscType"));
    return discType;
}

qint32 FakeHarnTools::TrackCount() const {
    record(QStringLiteral("TrackCount"));
    return trackCount;
}

void FakeHarnTools::EjectDrive(qint32 address) {
    record(QStringLiteral("EjectDrive"), {QString::number(address)});
    drive(address);
}

qint32 FakeHarnTools::DiscState(qint32 address) {
    record(QStringLiteral("DiscState"), {QString::number(address)});
    drive(address);
    return discState;
}

void FakeHarnTools::setMp3Bitrate(double bitsPerSecond) {
    record(QStringLiteral("setMp3Bitrate"), {QString::number(bitsPerSecond)});
    m_mp3Bitrate = bitsPerSecond;
}

double FakeHarnTools::Mp3Bitrate() const {
    record(QStringLiteral("Mp3Bitrate"));
    return m_mp3Bitrate;
}

void FakeHarnTools::setMp3Option(qint16 value) {
    record(QStringLiteral("setMp3Option"), {QString::number(value)});
    m_mp3Option = value;
}

qint16 FakeHarnTools::Mp3Option() const {
    record(QStringLiteral("Mp3Option"));
    return m_mp3Option;
}

void FakeHarnTools::setOverwrite(const OverwriteRule& rule) {
    write("setOverwrite", overwrite, rule);
}

OverwriteRule FakeHarnTools::Overwrite() const {
    return read("Overwrite", overwrite);
}

void FakeHarnTools::rip(const QString& member, qint32 address, const QString& path, qint32 track,
                        qint32 windowHandle) {
    record(member,
           {QString::number(address), path, QString::number(track), QString::number(windowHandle)});
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
    record(QStringLiteral("CancelRip"));
    ++m_run; // what the cancelled rip had still to report is dropped
}

void FakeHarnTools::RipTrackToWav(qint32 address, const QString& path, qint32 track,
                                  qint32 windowHandle) {
    rip(QStringLiteral("RipTrackToWav"), address, path, track, windowHandle);
}

void FakeHarnTools::RipTrackToMp3(qint32 address, const QString& path, qint32 track,
                                  qint32 windowHandle) {
    rip(QStringLiteral("RipTrackToMp3"), address, path, track, windowHandle);
}

void FakeHarnTools::RipTrackToWma(qint32 address, const QString& path, qint32 track,
                                  qint32 windowHandle) {
    rip(QStringLiteral("RipTrackToWma"), address, path, track, windowHandle);
}

qint32 FakeHarnTools::CurrentSector() const {
    record(QStringLiteral("CurrentSector"));
    return currentSector;
}

qint32 FakeHarnTools::TotalSectors() const {
    record(QStringLiteral("TotalSectors"));
    return totalSectors;
}

void FakeHarnTools::setTrackTitle(const QString& title) {
    record(QStringLiteral("setTrackTitle"), {title});
}

void FakeHarnTools::setRipLog(bool on) {
    write("setRipLog", ripLog, on);
}

bool FakeHarnTools::RipLog() const {
    return read("RipLog", ripLog);
}

void FakeHarnTools::EndRipJob() {
    record(QStringLiteral("EndRipJob"));
}

void FakeDiscLookup::LookUpTrackNames(qint32 address) {
    record(QStringLiteral("LookUpTrackNames"), {QString::number(address)});
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

QStringList FakeDiscLookup::ChooseRelease(qint32 index) {
    record(QStringLiteral("ChooseRelease"), {QString::number(index)});
    return releases.value(index).names;
}

void FakeDiscLookup::CancelLookUp() {
    record(QStringLiteral("CancelLookUp"));
}

qint32 FakeMci::mciSendString(const QString& command, QString& reply) {
    record(QStringLiteral("mciSendString"), {command});
    const Answer answer = answers.value(command);
    if (answer.code == 0)
        reply = answer.reply;
    return answer.code;
}

qint32 FakeDrives::GetLogicalDriveStrings(QString& buffer) {
    record(QStringLiteral("GetLogicalDriveStrings"), {QString::number(buffer.size())});
    const QString strings = roots.join(QChar(u'\0')) + QChar(u'\0');
    if (strings.size() >= buffer.size())
        return qint32(strings.size() + 1);
    buffer.replace(0, strings.size() + 1, strings + QChar(u'\0'));
    return qint32(strings.size());
}

qint32 FakeDrives::GetDriveType(const QString& root) {
    record(QStringLiteral("GetDriveType"), {root});
    return types.value(root, NoRootDir);
}
