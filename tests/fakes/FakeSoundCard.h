#pragma once

#include "components/SoundCard.h"
#include "tests/fakes/CallLog.h"

#include <QMap>
#include <QStringList>

// A sound card mixer answered from a table: mixers maps a device name to its mixer id and
// lines. A device the table does not hold has no mixer (FindMixer gives -1).
class FakeSoundCard final : public SoundCard, public CallRecorder {
public:
    struct Mixer {
        qint32 id = 0;
        QStringList lines;
    };

    explicit FakeSoundCard(CallLog* log = nullptr)
        : CallRecorder(QStringLiteral("SoundCard"), log) {}

    qint32 FindMixer(const QString& deviceName, qint32& mixerId) override {
        record(QStringLiteral("FindMixer"), {deviceName});
        if (!mixers.contains(deviceName))
            return -1;
        mixerId = mixers.value(deviceName).id;
        return 0;
    }
    void setMixerId(qint32 v) override { write("setMixerId", m_mixerId, v); }
    void setOpenMixer(bool v) override {
        write("setOpenMixer", m_open, v);
        m_lines.clear();
        for (const Mixer& mixer : std::as_const(mixers))
            if (mixer.id == m_mixerId)
                m_lines = mixer.lines;
    }
    qint32 LineCount() const override { return read("LineCount", qint32(m_lines.size() - 1)); }
    void setLineIndex(qint32 v) override { write("setLineIndex", m_lineIndex, v); }
    QString LineName() const override { return read("LineName", m_lines.value(m_lineIndex)); }
    void setLineSelected(bool v) override {
        write("setLineSelected", m_selected, v);
        if (v)
            selectedLine = m_lineIndex;
    }

    QMap<QString, Mixer> mixers;
    // The line last made the recording input, -1 before any.
    qint32 selectedLine = -1;

private:
    qint32 m_mixerId = -1;
    bool m_open = false;
    qint32 m_lineIndex = -1;
    bool m_selected = false;
    QStringList m_lines;
};
