#include "backends/audio/SoundRecorder.h"

#include "backends/audio/AudioCapture.h"
#include "backends/audio/CaptureDevices.h"
#include "backends/audio/GrowingRecording.h"
#include "backends/audio/RecordingSpool.h"
#include "backends/media/EncodedSink.h"
#include "backends/media/MediaJob.h"
#include "backends/media/PcmPipe.h"
#include "components/Error.h"

#include <QDir>
#include <QFileInfo>
#include <chrono>
#include <cmath>
#include <csignal>
#include <future>

namespace {

constexpr int kMp3Bitrates[] = {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};
// How much audio waits for the encoder before the capture starts dropping it.
constexpr int kPipeSeconds = 30;
constexpr qint64 kChunkFrames = 2048;
// At shutdown, how long a recording may take to be saved.
constexpr auto kSaveWait = std::chrono::seconds(10);

OutputCodec mp3Encoder(const QString& library) {
    if (library.compare(QLatin1String("lame_enc.dll"), Qt::CaseInsensitive) == 0)
        return OutputCodec::Mp3Lame;
    if (library.compare(QLatin1String("bladeenc.dll"), Qt::CaseInsensitive) == 0)
        return OutputCodec::Mp3Shine;
    throw Error(QStringLiteral("Cannot record: the MP3 encoder \"%1\" is unknown; the "
                               "encoders are lame_enc.dll (LAME) and bladeenc.dll (shine).")
                    .arg(library));
}

// Makes the "Recordings" folder a recording goes into when it is missing; any other missing
// folder is an error the output file reports.
void makeRecordingsFolder(const QString& path) {
    const QDir folder = QFileInfo(path).absoluteDir();
    if (folder.exists() || folder.dirName() != QLatin1String("Recordings"))
        return;
    if (!QDir().mkpath(folder.absolutePath()))
        throw Error(QStringLiteral("Cannot record into %1: the folder %2 cannot be made.")
                        .arg(path, folder.absolutePath()));
}

// What the job's sink leaves for the recorder to read once the job has reported (the queued
// signal orders the writes before the reads).
struct RecordingOutcome {
    qint64 frames = 0;      // written into the file
    double keptSeconds = 0; // of a recording that failed, kept under its name
    QString keepFailure;    // why a failed recording's audio could not be kept
};

// The job's sink: the file, written to the disk every second under its visible ".recording"
// name, plus the PCM kept aside for playing along. A recording that fails after audio came in
// keeps what reached the disk; one that got no audio leaves nothing. Its end (committed or
// given up) is announced to whoever waits at shutdown.
class RecordingSink final : public PcmSink {
public:
    RecordingSink(std::unique_ptr<EncodedSink> file, std::shared_ptr<RecordingSpool> spool,
                  std::shared_ptr<RecordingOutcome> outcome, std::promise<void> gone)
        : m_file(std::move(file)), m_spool(std::move(spool)), m_outcome(std::move(outcome)),
          m_gone(std::move(gone)), m_growing(m_file->fd(), m_file->path()),
          m_flushFrames(m_file->format().sampleRate) {}
    ~RecordingSink() override {
        const QString path = m_file->path();
        m_file.reset();
        if (!m_committed && m_outcome->frames > 0) {
            try {
                m_outcome->keptSeconds = m_growing.keepAs(path);
            } catch (const Error& e) {
                m_outcome->keepFailure = e.message();
            }
        } else {
            m_growing.remove();
        }
        m_gone.set_value();
    }

    PcmFormat format() const override { return m_file->format(); }
    void write(const qint16* buffer, qint64 frames) override {
        m_file->write(buffer, frames);
        m_spool->append(buffer, frames);
        m_outcome->frames += frames;
        m_unflushed += frames;
        if (m_unflushed >= m_flushFrames) {
            m_unflushed = 0;
            m_file->flush();
            m_growing.syncName();
        }
    }
    void finish() override {
        if (m_outcome->frames > 0)
            m_file->finish();
    }
    void commit() override {
        if (m_outcome->frames == 0 || m_committed)
            return; // nothing came in: no file
        m_file->commit();
        m_committed = true;
        m_growing.remove();
    }

private:
    std::unique_ptr<EncodedSink> m_file;
    std::shared_ptr<RecordingSpool> m_spool;
    std::shared_ptr<RecordingOutcome> m_outcome;
    std::promise<void> m_gone;
    GrowingRecording m_growing;
    const qint64 m_flushFrames;
    qint64 m_unflushed = 0;
    bool m_committed = false;
};

// A message without its closing full stop, to go inside a sentence.
QString withoutEnd(const QString& message) {
    return message.endsWith(u'.') ? message.chopped(1) : message;
}

} // namespace

struct SoundRecorder::Run {
    QString path;
    QString deviceName;
    PcmFormat format;
    MediaJob* job = nullptr;
    AudioCapture* capture = nullptr; // lives on the capture thread until end() is invoked
    std::shared_ptr<CaptureCounters> counters = std::make_shared<CaptureCounters>();
    std::shared_ptr<RecordingOutcome> outcome = std::make_shared<RecordingOutcome>();
    std::future<void> saved;
    bool stopping = false;
    QString lostReason;
};

SoundRecorder::SoundRecorder(QObject* parent)
    : Record(parent), m_captureAnchor(std::make_unique<QObject>()) {
    m_captureThread.setObjectName(QStringLiteral("capture"));
    m_captureAnchor->moveToThread(&m_captureThread);
    // Past a file size limit a write must fail and the recording keep what it has, not the
    // program end: the sound server's shared memory meets such a limit before our file does.
    std::signal(SIGXFSZ, SIG_IGN);
}

SoundRecorder::~SoundRecorder() {
    // Shutdown is the one time to wait for workers: the recording must not be lost, and the
    // capture must have let go of its device.
    if (m_run) {
        endCapture();
        if (!m_run->stopping)
            m_run->job->stop();
        m_run->saved.wait_for(kSaveWait);
    }
    if (m_captureThread.isRunning()) {
        QMetaObject::invokeMethod(
            m_captureAnchor.get(), [] {}, Qt::BlockingQueuedConnection);
        m_captureThread.quit();
        m_captureThread.wait();
    }
}

bool SoundRecorder::IsRecording() const {
    return m_run && !m_run->stopping;
}

bool SoundRecorder::IsPaused() const {
    return IsRecording() && m_run->counters->paused;
}

double SoundRecorder::RecordedTime() const {
    if (!m_run)
        return m_lastRecordedTime;
    return double(m_run->counters->frames) * 1000.0 / m_run->format.sampleRate;
}

qint64 SoundRecorder::capturedFrames() const {
    return m_run ? m_run->counters->frames.load() : 0;
}

qint64 SoundRecorder::droppedFrames() const {
    return m_run ? m_run->counters->dropped.load() : 0;
}

void SoundRecorder::StartRecording() {
    if (IsRecording())
        return;
    if (m_run)
        throw Error(QStringLiteral("Cannot record yet: the last recording, %1, is still being "
                                   "saved. Try again in a moment.")
                        .arg(m_run->path));
    OutputCodec codec = OutputCodec::Wav;
    if (m_outputFormat == 1) {
        codec = mp3Encoder(m_encoderDLL);
        if (m_mp3Bitrate <= 0)
            throw Error(QStringLiteral("Cannot record: %1 kbit/s is not an MP3 bit rate.")
                            .arg(m_mp3Bitrate));
    } else if (m_outputFormat != 0) {
        throw Error(QStringLiteral("Cannot record: the output format %1 is unknown; it must be 1 "
                                   "(MP3) or 0 (WAVE).")
                        .arg(m_outputFormat));
    }
    if (m_fileName.isEmpty())
        throw Error(QStringLiteral("Cannot record: no output file has been chosen."));
    m_fileName = recordingFileName(m_fileName, m_outputFormat);

    const std::optional<QAudioDevice> device = findCaptureDevice(m_device);
    if (!device)
        throw Error(m_device.isEmpty()
                        ? QStringLiteral("Cannot record: this computer has no capture device.")
                        : QStringLiteral("Cannot record: the capture device \"%1\" is not there.")
                              .arg(m_device));
    const std::vector<CaptureFormat> formats = captureFormats(*device);
    if (m_pcmFormat < 0 || m_pcmFormat >= qint32(formats.size()))
        throw Error(QStringLiteral("Cannot record: the device \"%1\" takes %2 PCM formats, "
                                   "numbered 0 to %3; format %4 is not one of them.")
                        .arg(device->description())
                        .arg(formats.size())
                        .arg(qsizetype(formats.size()) - 1)
                        .arg(m_pcmFormat));
    const CaptureFormat format = formats[size_t(m_pcmFormat)];
    if (codec == OutputCodec::Wav && format.bits == 8)
        codec = OutputCodec::Wav8;

    makeRecordingsFolder(m_fileName);
    EncodedSink::Options options;
    options.codec = codec;
    options.bitRate = qint64(m_mp3Bitrate) * 1000;
    // Whether a take may replace an older file is the recorder window's question.
    options.overwrite.replace = true;
    // In real time: one encoder, each frame written as soon as it is made.
    options.cores = 1;
    auto file = std::make_unique<EncodedSink>(m_fileName, options, format.pcm());
    auto spool = std::make_shared<RecordingSpool>(format.pcm());
    auto pipe = std::make_shared<PcmPipe>(format.pcm(), qint64(kPipeSeconds) * format.sampleRate,
                                          kChunkFrames);

    auto run = std::make_unique<Run>();
    run->path = m_fileName;
    run->deviceName = device->description();
    run->format = format.pcm();
    std::promise<void> saved;
    run->saved = saved.get_future();
    run->job = new MediaJob(this);
    MediaJob::Options jobOptions;
    jobOptions.progressSteps = 0;
    jobOptions.pieceFrames = kChunkFrames;
    jobOptions.readAhead = false;
    run->job->start(
        std::make_unique<PipeSource>(pipe),
        std::make_unique<RecordingSink>(std::move(file), spool, run->outcome, std::move(saved)),
        jobOptions);
    connect(run->job, &MediaJob::finished, this, [this] { onEnded({}); });
    connect(run->job, &MediaJob::failed, this, &SoundRecorder::onEnded);

    if (m_maximumSeconds > 0 && std::isfinite(m_maximumSeconds))
        run->counters->limit = qint64(m_maximumSeconds * format.sampleRate + 0.5);
    run->capture = new AudioCapture(*device, format, pipe, run->counters);
    run->capture->moveToThread(&m_captureThread);
    connect(run->capture, &AudioCapture::lost, this, &SoundRecorder::onLost);
    connect(run->capture, &AudioCapture::filled, this, [this] {
        if (IsRecording() && sender() == m_run->capture)
            StopRecording();
    });
    if (!m_captureThread.isRunning())
        m_captureThread.start();
    QMetaObject::invokeMethod(run->capture, &AudioCapture::begin, Qt::QueuedConnection);

    RecordingSpool::publish(m_fileName, spool);
    m_run = std::move(run);
}

void SoundRecorder::PauseRecording() {
    if (!IsRecording() || m_run->counters->paused)
        return;
    m_run->counters->paused = true;
    QMetaObject::invokeMethod(m_run->capture, &AudioCapture::suspend, Qt::QueuedConnection);
}

void SoundRecorder::ResumeRecording() {
    if (!IsPaused())
        return;
    m_run->counters->paused = false;
    QMetaObject::invokeMethod(m_run->capture, &AudioCapture::resume, Qt::QueuedConnection);
}

void SoundRecorder::StopRecording() {
    if (!IsRecording())
        return;
    endCapture();
    m_run->stopping = true;
    m_run->job->stop();
}

void SoundRecorder::endCapture() {
    if (!m_run->capture)
        return;
    QMetaObject::invokeMethod(m_run->capture, &AudioCapture::end, Qt::QueuedConnection);
    m_run->capture = nullptr;
}

void SoundRecorder::onLost(const QString& reason) {
    if (!IsRecording() || sender() != m_run->capture)
        return;
    m_run->lostReason = reason;
    StopRecording();
}

void SoundRecorder::onEnded(const QString& failure) {
    if (!m_run)
        return;
    const std::unique_ptr<Run> run = std::move(m_run);
    if (run->capture)
        QMetaObject::invokeMethod(run->capture, &AudioCapture::end, Qt::QueuedConnection);
    const RecordingOutcome& outcome = *run->outcome;
    m_lastRecordedTime = failure.isEmpty()
                             ? double(outcome.frames) * 1000.0 / run->format.sampleRate
                             : outcome.keptSeconds * 1000.0;
    RecordingSpool::withdraw(run->path);
    run->job->deleteLater();
    const QString device = QStringLiteral("the capture device \"%1\"").arg(run->deviceName);
    // "Cannot write <file>: <why>" from the file: the why is enough here.
    const QString prefix = QStringLiteral("Cannot write %1: ").arg(run->path);
    const QString why =
        withoutEnd(failure.startsWith(prefix) ? failure.mid(prefix.size()) : failure);
    if (outcome.frames == 0 && !run->lostReason.isEmpty())
        Q_EMIT Failed(QStringLiteral("Nothing was recorded into %1: %2 %3, and no audio had come "
                                     "from it, so no file was made.")
                          .arg(run->path, device, run->lostReason));
    else if (outcome.frames == 0)
        Q_EMIT Failed(QStringLiteral("Nothing was recorded into %1: the recording ended before "
                                     "any audio came from %2, so no file was made.%3")
                          .arg(run->path, device, failure.isEmpty() ? QString() : u' ' + failure));
    else if (!failure.isEmpty() && outcome.keptSeconds > 0)
        Q_EMIT Failed(QStringLiteral("The recording into %1 stopped because the file could not be "
                                     "written: %2. What was recorded until then (%3 seconds) is "
                                     "kept in %1.")
                          .arg(run->path, why, QString::number(outcome.keptSeconds, 'f', 1)));
    else if (!failure.isEmpty())
        Q_EMIT Failed(QStringLiteral("The recording into %1 failed and was not kept: %2 (%3).")
                          .arg(run->path, why,
                               outcome.keepFailure.isEmpty()
                                   ? QStringLiteral("none of it had reached the disk")
                                   : withoutEnd(outcome.keepFailure)));
    else if (!run->lostReason.isEmpty())
        Q_EMIT Failed(QStringLiteral("The recording ended because %1 %2. What was recorded until "
                                     "then is kept in %3.")
                          .arg(device, run->lostReason, run->path));
    Q_EMIT RecordingStopped();
}

QStringList SoundRecorder::InterruptedRecordings(const QString& folder) {
    return GrowingRecording::interrupted(folder);
}

QString SoundRecorder::RecoverRecording(const QString& path) {
    return GrowingRecording::recover(path);
}

void SoundRecorder::ListDevices() {
    const std::vector<CaptureDevice> devices = captureDevices();
    for (const CaptureDevice& device : devices)
        if (device.isDefault)
            Q_EMIT DeviceListed(QStringLiteral("Default (%1)").arg(device.name), QString());
    for (const CaptureDevice& device : devices)
        Q_EMIT DeviceListed(device.name, device.id);
}

void SoundRecorder::ListBitrates() {
    for (const int kbps : kMp3Bitrates)
        Q_EMIT BitrateListed(QString::number(kbps));
}

void SoundRecorder::ListFormats(const QString& deviceId) {
    const std::optional<QAudioDevice> device = findCaptureDevice(deviceId);
    if (!device)
        return;
    const std::vector<CaptureFormat> formats = captureFormats(*device);
    for (size_t i = 0; i < formats.size(); ++i)
        Q_EMIT FormatListed(qint32(i), formats[i].name());
}

QString SoundRecorder::DefaultDevice() const {
    return defaultCaptureDevice();
}
