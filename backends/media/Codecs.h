#pragma once

// The codec and media-information components, on FFmpeg. app/ and the command-line tool create
// them with std::make_unique<...>() and use them through the interfaces in components/.

#include "backends/media/CodecRunner.h"
#include "components/HarnMediaUtils.h"
#include "components/MDec.h"
#include "components/MEnc.h"
#include "components/WAEnc.h"
#include "components/WMAFile.h"
#include "components/WaDec.h"

#include <type_traits>

// WAV (or anything FFmpeg decodes) to MP3 at a constant bit rate; EncoderSwitch 1 = shine,
// anything else LAME.
class Mp3Encoder final : public MEnc {
    Q_OBJECT
public:
    explicit Mp3Encoder(QObject* parent = nullptr);
    ~Mp3Encoder() override;

    void setEncoderSwitch(qint16 value) override { m_encoderSwitch = value; }
    qint16 EncoderSwitch() const override { return m_encoderSwitch; }
    void setBitrate(double bitsPerSecond) override { m_bitrate = bitsPerSecond; }
    double Bitrate() const override { return m_bitrate; }
    void setInputFile(const QString& path) override { m_inputFile = path; }
    QString InputFile() const override { return m_inputFile; }
    void setOutputFile(const QString& path) override { m_outputFile = path; }
    QString OutputFile() const override { return m_outputFile; }
    void Encode() override;
    void setOverwrite(const OverwriteRule& rule) override { m_overwrite = rule; }
    OverwriteRule Overwrite() const override { return m_overwrite; }
    void Cancel() override;
    void setCores(qint32 cores) override { m_cores = cores; }

private:
    qint16 m_encoderSwitch = 0;
    qint32 m_cores = 0;
    double m_bitrate = 128000.0;
    QString m_inputFile;
    QString m_outputFile;
    OverwriteRule m_overwrite;
    CodecRunner m_runner;
};

// WAV (or anything FFmpeg decodes) to WMA version 2 in an ASF file.
class WmaEncoder final : public WAEnc {
    Q_OBJECT
public:
    explicit WmaEncoder(QObject* parent = nullptr);
    ~WmaEncoder() override;

    void setBitrate(double bitsPerSecond) override { m_bitrate = bitsPerSecond; }
    double Bitrate() const override { return m_bitrate; }
    void Encode(const QString& input, const QString& output) override;
    void setOverwrite(const OverwriteRule& rule) override { m_overwrite = rule; }
    OverwriteRule Overwrite() const override { return m_overwrite; }
    void Cancel() override;

private:
    double m_bitrate = 128000.0;
    OverwriteRule m_overwrite;
    CodecRunner m_runner;
};

// Any file FFmpeg decodes to a 16-bit WAV file at the source's rate and channels. The MP3 and
// the WMA decoder differ only in their interface and the type of their percentage.
template <class Interface, class Percent> class FileDecoder : public Interface {
public:
    explicit FileDecoder(QObject* parent = nullptr)
        : Interface(parent),
          m_runner(
              this,
              std::is_integral_v<Percent> ? CodecRunner::Resolution::WholePercent
                                          : CodecRunner::Resolution::TenthPercent,
              [this](double p) { Q_EMIT this->Progress(Percent(p)); },
              [this](const QString& message) { Q_EMIT this->Failed(message); }) {}

    void setInputFile(const QString& path) override { m_inputFile = path; }
    QString InputFile() const override { return m_inputFile; }
    void setOutputFile(const QString& path) override { m_outputFile = path; }
    QString OutputFile() const override { return m_outputFile; }
    void Decode() override {
        EncodedSink::Options options{OutputCodec::Wav, 0, {}};
        options.overwrite = m_overwrite;
        m_runner.start(m_inputFile, m_outputFile, options);
    }
    void setOverwrite(const OverwriteRule& rule) override { m_overwrite = rule; }
    OverwriteRule Overwrite() const override { return m_overwrite; }
    void Cancel() override { m_runner.cancel(); }

private:
    QString m_inputFile;
    QString m_outputFile;
    OverwriteRule m_overwrite;
    CodecRunner m_runner;
};

class Mp3Decoder final : public FileDecoder<MDec, qint32> {
public:
    using FileDecoder::FileDecoder;
};

class WmaDecoder final : public FileDecoder<WaDec, double> {
public:
    using FileDecoder::FileDecoder;
};

// Duration and size of a file. The three Read...Info calls read any audio file FFmpeg opens (the
// names only say which pair of properties is set). A call that raises leaves its pair at 0.
class MediaInfo final : public HarnMediaUtils {
public:
    void ReadWmaInfo(const QString& path) override;
    float WmaDuration() const override { return m_wmaDuration; }
    float WmaSizeMB() const override { return m_wmaSizeMB; }
    void ReadMp3Info(const QString& path) override;
    float Mp3Duration() const override { return m_mp3Duration; }
    float Mp3SizeMB() const override { return m_mp3SizeMB; }
    void ReadWavInfo(const QString& path) override;
    float WavDuration() const override { return m_wavDuration; }
    float WavSizeMB() const override { return m_wavSizeMB; }

private:
    static void read(const QString& path, float& duration, float& sizeMB);

    float m_wmaDuration = 0;
    float m_wmaSizeMB = 0;
    float m_mp3Duration = 0;
    float m_mp3SizeMB = 0;
    float m_wavDuration = 0;
    float m_wavSizeMB = 0;
};

// Tags and stream facts of an ASF (WMA) file. A failed Open leaves every property empty.
class WmaFileReader final : public WMAFile {
public:
    void Open(const QString& path) override;
    QString Title() const override { return m_title; }
    QString Author() const override { return m_author; }
    QString Album() const override { return m_album; }
    double Duration() const override { return m_duration; }
    qint32 Bitrate() const override { return m_bitrate; }
    qint32 SampleRate() const override { return m_sampleRate; }
    qint32 Channels() const override { return m_channels; }

private:
    QString m_title;
    QString m_author;
    QString m_album;
    double m_duration = 0;
    qint32 m_bitrate = 0;
    qint32 m_sampleRate = 0;
    qint32 m_channels = 0;
};
