#include "backends/media/Codecs.h"

using Resolution = CodecRunner::Resolution;

Mp3Encoder::Mp3Encoder(QObject* parent)
    : MEnc(parent),
      m_runner(
          this, Resolution::WholePercent, [this](double p) { Q_EMIT Progress(qint32(p)); },
          [this](const QString& message) { Q_EMIT Failed(message); }) {}

Mp3Encoder::~Mp3Encoder() = default;

void Mp3Encoder::Encode() {
    EncodedSink::Options options;
    options.codec = m_encoderSwitch == 1 ? OutputCodec::Mp3Shine : OutputCodec::Mp3Lame;
    options.bitRate = checkedBitRate(m_bitrate, m_outputFile);
    options.overwrite = m_overwrite;
    options.cores = m_cores;
    m_runner.start(m_inputFile, m_outputFile, options);
}

void Mp3Encoder::Cancel() {
    m_runner.cancel();
}

WmaEncoder::WmaEncoder(QObject* parent)
    : WAEnc(parent), m_runner(
                         this, Resolution::TenthPercent, [this](double p) { Q_EMIT Progress(p); },
                         [this](const QString& message) { Q_EMIT Failed(message); }) {}

WmaEncoder::~WmaEncoder() = default;

void WmaEncoder::Encode(const QString& input, const QString& output) {
    EncodedSink::Options options{OutputCodec::Wma, checkedBitRate(m_bitrate, output), {}};
    options.overwrite = m_overwrite;
    m_runner.start(input, output, options);
}

void WmaEncoder::Cancel() {
    m_runner.cancel();
}
