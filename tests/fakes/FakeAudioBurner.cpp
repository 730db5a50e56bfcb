#include "tests/fakes/FakeAudioBurner.h"

#include "components/Error.h"

#include <QMetaObject>

FakeAudioBurner::Event FakeAudioBurner::progress(qint32 state, qint32 trackPhase, qint16 percent,
                                                 qint32 writtenBlocks, qint32 totalBlocks,
                                                 qint16 bufferFill) {
    Event e;
    e.state = state;
    e.trackPhase = trackPhase;
    e.percent = percent;
    e.writtenBlocks = writtenBlocks;
    e.totalBlocks = totalBlocks;
    e.bufferFill = bufferFill;
    e.track = 1;
    return e;
}

FakeAudioBurner::Event FakeAudioBurner::burnFinished(qint32 status, const QString& text) {
    Event e;
    e.finished = true;
    e.status = status;
    e.text = text;
    return e;
}

FakeAudioBurner::FakeAudioBurner(CallLog* log, QObject* parent)
    : AudioBurner(parent), CallRecorder(QStringLiteral("AudioBurner"), log) {}

const FakeAudioBurner::Recorder& FakeAudioBurner::current() const {
    static const Recorder none;
    return currentRecorder >= 1 && currentRecorder <= recorders.size()
               ? recorders[currentRecorder - 1]
               : none;
}

void FakeAudioBurner::raise(const Event& event) {
    if (event.finished) {
        m_burning = false;
        Q_EMIT BurnFinished(event.status, event.text);
        return;
    }
    status = event;
    Q_EMIT Progress(event.percent);
}

void FakeAudioBurner::Eject() {
    record(QStringLiteral("Eject"));
}

void FakeAudioBurner::RefreshDisc() {
    record(QStringLiteral("RefreshDisc"));
}

void FakeAudioBurner::StartBurn() {
    record(QStringLiteral("StartBurn"));
    if (!startError.isEmpty())
        throw Error(startError);
    const int run = ++m_run;
    m_burning = true;
    for (const Event& event : burnEvents) {
        if (finishInsideStart)
            raise(event);
        else
            QMetaObject::invokeMethod(
                this,
                [this, event, run] {
                    if (run == m_run)
                        raise(event);
                },
                Qt::QueuedConnection);
    }
}

void FakeAudioBurner::CancelBurn() {
    record(QStringLiteral("CancelBurn"));
    if (!m_burning)
        return;
    const int run = ++m_run;
    QMetaObject::invokeMethod(
        this,
        [this, run] {
            if (run == m_run)
                raise(burnFinished(BurnCancelled, QStringLiteral("The burn was cancelled.")));
        },
        Qt::QueuedConnection);
}

void FakeAudioBurner::AddTrack(const QString& path) {
    record(QStringLiteral("AddTrack"), {path});
    tracks.append(path);
}

void FakeAudioBurner::RemoveTrack() {
    record(QStringLiteral("RemoveTrack"));
    if (selectedTrack < 1 || selectedTrack > tracks.size())
        throw IndexError(QStringLiteral("there is no track number %1").arg(selectedTrack));
    tracks.removeAt(selectedTrack - 1);
}

void FakeAudioBurner::ClearTracks() {
    record(QStringLiteral("ClearTracks"));
    tracks.clear();
}

qint32 FakeAudioBurner::CompilationSize() const {
    record(QStringLiteral("CompilationSize"));
    qint32 sum = 0;
    for (const QString& path : tracks)
        sum += fileBytes.value(path);
    return sum;
}

qint16 FakeAudioBurner::RecorderCount() {
    record(QStringLiteral("RecorderCount"));
    return qint16(recorders.size());
}

qint16 FakeAudioBurner::CurrentRecorder() const {
    record(QStringLiteral("CurrentRecorder"));
    return currentRecorder;
}

void FakeAudioBurner::setCurrentRecorder(qint16 recorder) {
    record(QStringLiteral("setCurrentRecorder"), {QString::number(recorder)});
    currentRecorder = recorder;
    // As the engine: a change of recorder empties the compilation.
    tracks.clear();
}

qint32 FakeAudioBurner::RecorderType() const {
    record(QStringLiteral("RecorderType"));
    return current().type;
}

QString FakeAudioBurner::RecorderVendor() const {
    record(QStringLiteral("RecorderVendor"));
    return current().vendor;
}

QString FakeAudioBurner::RecorderProduct() const {
    record(QStringLiteral("RecorderProduct"));
    return current().product;
}

QString FakeAudioBurner::RecorderRevision() const {
    record(QStringLiteral("RecorderRevision"));
    return current().revision;
}

qint16 FakeAudioBurner::MaxReadSpeed() const {
    record(QStringLiteral("MaxReadSpeed"));
    return current().maxReadSpeed;
}

qint16 FakeAudioBurner::MaxWriteSpeed() const {
    record(QStringLiteral("MaxWriteSpeed"));
    return current().maxWriteSpeed;
}

qint32 FakeAudioBurner::BufferSize() const {
    record(QStringLiteral("BufferSize"));
    return current().bufferSize;
}

qint16 FakeAudioBurner::BufferFill() const {
    record(QStringLiteral("BufferFill"));
    return status.bufferFill;
}

bool FakeAudioBurner::BurnProofFlag() const {
    record(QStringLiteral("BurnProofFlag"));
    return current().burnProof;
}

qint32 FakeAudioBurner::State() const {
    record(QStringLiteral("State"));
    return status.state;
}

bool FakeAudioBurner::RecorderSupported() const {
    record(QStringLiteral("RecorderSupported"));
    return current().supported;
}

qint32 FakeAudioBurner::MediaType() const {
    record(QStringLiteral("MediaType"));
    return mediaType;
}

qint32 FakeAudioBurner::MediaStatus() const {
    record(QStringLiteral("MediaStatus"));
    return mediaStatus;
}

qint32 FakeAudioBurner::MediaUsedSize() const {
    record(QStringLiteral("MediaUsedSize"));
    return mediaUsedSize;
}

qint16 FakeAudioBurner::SelectedTrack() const {
    record(QStringLiteral("SelectedTrack"));
    return selectedTrack;
}

void FakeAudioBurner::setSelectedTrack(qint16 track) {
    record(QStringLiteral("setSelectedTrack"), {QString::number(track)});
    selectedTrack = track;
}

qint16 FakeAudioBurner::WriteSpeed() const {
    record(QStringLiteral("WriteSpeed"));
    return writeSpeed;
}

void FakeAudioBurner::setWriteSpeed(qint16 factor) {
    record(QStringLiteral("setWriteSpeed"), {QString::number(factor)});
    writeSpeed = acceptSpeed ? acceptSpeed(factor) : factor;
}

qint32 FakeAudioBurner::BurnMethod() const {
    record(QStringLiteral("BurnMethod"));
    return burnMethod;
}

void FakeAudioBurner::setBurnMethod(qint32 method) {
    record(QStringLiteral("setBurnMethod"), {QString::number(method)});
    burnMethod = method;
}

bool FakeAudioBurner::RealBurn() const {
    record(QStringLiteral("RealBurn"));
    return realBurn;
}

void FakeAudioBurner::setRealBurn(bool real) {
    record(QStringLiteral("setRealBurn"), {boolText(real)});
    realBurn = real;
}

bool FakeAudioBurner::KeepDiscOpen() const {
    record(QStringLiteral("KeepDiscOpen"));
    return keepDiscOpen;
}

void FakeAudioBurner::setKeepDiscOpen(bool open) {
    record(QStringLiteral("setKeepDiscOpen"), {boolText(open)});
    keepDiscOpen = open;
}

qint32 FakeAudioBurner::TotalBlocks() const {
    record(QStringLiteral("TotalBlocks"));
    return status.totalBlocks;
}

qint32 FakeAudioBurner::WrittenBlocks() const {
    record(QStringLiteral("WrittenBlocks"));
    return status.writtenBlocks;
}

qint32 FakeAudioBurner::TrackPhase() const {
    record(QStringLiteral("TrackPhase"));
    return status.trackPhase;
}

qint16 FakeAudioBurner::CurrentTrack() const {
    record(QStringLiteral("CurrentTrack"));
    return status.track;
}

bool FakeAudioBurner::VerifyAfterBurning() const {
    record(QStringLiteral("VerifyAfterBurning"));
    return verifyAfterBurning;
}

void FakeAudioBurner::setVerifyAfterBurning(bool verify) {
    record(QStringLiteral("setVerifyAfterBurning"),
           {verify ? QStringLiteral("true") : QStringLiteral("false")});
    verifyAfterBurning = verify;
}
