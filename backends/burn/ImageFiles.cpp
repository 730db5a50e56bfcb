#include "backends/burn/ImageFiles.h"

#include "backends/media/OutputFile.h"
#include "components/Error.h"

#include <QFile>
#include <sys/stat.h>

namespace burning {

namespace {

// Names tried before giving up: far more images than any folder holds of one second.
constexpr int kMostNames = 1000;

// Any entry of the name, a dangling symbolic link too.
bool taken(const QString& path) {
    struct stat st {};
    return ::lstat(QFile::encodeName(path).constData(), &st) == 0;
}

QString numbered(const QString& stem, int n) {
    return n == 1 ? stem : stem + QStringLiteral(" (%1)").arg(n);
}

// The first number from n on whose .bin and .cue are both free; 0 when there is none.
int firstFree(const QString& folder, const QString& stem, int n) {
    for (; n <= kMostNames; ++n) {
        const QString path = folder + u'/' + numbered(stem, n);
        if (!taken(path + QStringLiteral(".bin")) && !taken(path + QStringLiteral(".cue")))
            return n;
    }
    return 0;
}

QString binPath(const QString& folder, const QString& stem, int n) {
    if (n == 0)
        throw Error(QStringLiteral("Cannot write an image into %1: every name from \"%2\" to "
                                   "\"%3\" is taken.")
                        .arg(folder, stem, numbered(stem, kMostNames)));
    return folder + u'/' + numbered(stem, n) + QStringLiteral(".bin");
}

class ImageFileSink final : public ImageSink {
public:
    ImageFileSink(const QString& folder, const QString& stem)
        : m_folder(folder), m_stem(stem), m_number(firstFree(folder, stem, 1)),
          m_bin(binPath(folder, stem, m_number)) {}

    void writeSectors(const char* data, qint64 bytes) override { m_bin.write(data, bytes); }

    QString commit(const CueText& cueText) override {
        m_bin.finish();
        for (int n = m_number; (n = firstFree(m_folder, m_stem, n)) != 0; ++n) {
            const QString base = numbered(m_stem, n);
            const QString bin = m_folder + u'/' + base + QStringLiteral(".bin");
            const QByteArray text = cueText(base + QStringLiteral(".bin"));
            OutputFile cue(m_folder + u'/' + base + QStringLiteral(".cue"));
            cue.write(text.constData(), text.size());
            cue.finish();
            // The exclusive link decides: a name taken since the look is passed over.
            try {
                m_bin.commitAs(bin);
            } catch (const OutputExistsError&) {
                continue;
            }
            try {
                cue.commit();
            } catch (...) {
                // A .bin without its sheet is no image.
                QFile::remove(bin);
                throw;
            }
            return base;
        }
        binPath(m_folder, m_stem, 0); // raises
        return {};
    }

private:
    QString m_folder;
    QString m_stem;
    int m_number;
    OutputFile m_bin;
};

} // namespace

std::unique_ptr<ImageSink> ImageFiles::create(const QString& folder, const QString& baseName) {
    return std::make_unique<ImageFileSink>(folder, baseName);
}

} // namespace burning
