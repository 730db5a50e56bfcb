#pragma once

#include "components/FilgraphManager.h"

#include <QObject>
#include <memory>

class QAudioSink;
class PcmDevice;

// The file player's playback graph: a file decoded by the transcoding core and played on the
// default audio output through Qt Multimedia.
class FilterGraph final : public QObject, public FilgraphManager {
    Q_OBJECT
public:
    explicit FilterGraph(QObject* parent = nullptr);
    ~FilterGraph() override;

    void RenderFile(const QString& path) override;
    void Run() override;
    void Pause() override;
    void Stop() override;

    // For the tests: whether the output is currently taking data.
    bool isPlaying() const;
    // How much audio the output has taken since Run, in microseconds.
    qint64 playedUSecs() const;

private:
    void release();

    QString m_path;
    std::unique_ptr<PcmDevice> m_device;
    std::unique_ptr<QAudioSink> m_sink;
};
