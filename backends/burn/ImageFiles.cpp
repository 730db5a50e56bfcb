#include "backends/burn/ImageFiles.h"

#include "backends/media/OutputFile.h"

#include <QFile>

namespace burning {

namespace {

class ImageFileSink final : public ImageSink {
public:
    explicit ImageFileSink(const QString& base)
        : m_bin(base + QStringLiteral(".bin")), m_cuePath(base + QStringLiteral(".cue")) {}

    void writeSectors(const char* data, qint64 bytes) override { m_bin.write(data, bytes); }

    void commit(const QByteArray& cueText) override {
        OutputFile cue(m_cuePath);
        cue.write(cueText.constData(), cueText.size());
        cue.finish();
        m_bin.finish();
        m_bin.commitNew();
        try {
            cue.commitNew();
        } catch (...) {
            // A .bin without its sheet is no image.
            QFile::remove(m_bin.path());
            throw;
        }
    }

private:
    OutputFile m_bin;
    QString m_cuePath;
};

} // namespace

std::unique_ptr<ImageSink> ImageFiles::create(const QString& folder, const QString& baseName) {
    return std::make_unique<ImageFileSink>(folder + u'/' + baseName);
}

} // namespace burning
