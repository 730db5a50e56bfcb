#include "core/ConvertRules.h"

#include "components/Error.h"
#include "components/HarnMediaUtils.h"

namespace ConvertRules {

namespace {

constexpr qsizetype kPanelNameLength = 50;

// The offset in UTF-16 units where character number count (0-based) of text begins, counting
// from the start (count >= 0) or, for a negative count, back from the end. Stops at the ends.
qsizetype characterOffset(QStringView text, qsizetype count) {
    const auto pairAt = [&](qsizetype i) {
        return i + 1 < text.size() && text[i].isHighSurrogate() && text[i + 1].isLowSurrogate();
    };
    qsizetype offset = 0;
    if (count >= 0) {
        for (; count > 0 && offset < text.size(); --count)
            offset += pairAt(offset) ? 2 : 1;
        return offset;
    }
    offset = text.size();
    for (; count < 0 && offset > 0; ++count)
        offset -= offset >= 2 && pairAt(offset - 2) ? 2 : 1;
    return offset;
}

} // namespace

FileType typeOf(const QString& path) {
    const QString ending = path.right(3).toLower();
    if (ending == u"wma")
        return FileType::Wma;
    if (ending == u"mp3")
        return FileType::Mp3;
    if (ending == u"wav")
        return FileType::Wav;
    return FileType::Unknown;
}

QString typeText(FileType type) {
    switch (type) {
    case FileType::Wma:
        return QStringLiteral("WMA");
    case FileType::Mp3:
        return QStringLiteral("MP3");
    case FileType::Wav:
        return QStringLiteral("WAV");
    case FileType::Unknown:
        break;
    }
    return {};
}

InfoOperations infoOperations(FileType type) {
    switch (type) {
    case FileType::Wma:
        return {&HarnMediaUtils::ReadWmaInfo, &HarnMediaUtils::WmaDuration,
                &HarnMediaUtils::WmaSizeMB};
    case FileType::Mp3:
        return {&HarnMediaUtils::ReadMp3Info, &HarnMediaUtils::Mp3Duration,
                &HarnMediaUtils::Mp3SizeMB};
    case FileType::Wav:
        return {&HarnMediaUtils::ReadWavInfo, &HarnMediaUtils::WavDuration,
                &HarnMediaUtils::WavSizeMB};
    case FileType::Unknown:
        break;
    }
    throw Error(QStringLiteral("Cannot read the information of a file whose type is unknown"));
}

QString sizeText(float megabytes) {
    return QString::number(double(megabytes), 'f', 2) + QStringLiteral(" mb");
}

QString fileNameOf(const QString& path) {
    return path.mid(path.lastIndexOf(u'/') + 1);
}

QString cutName(const QString& name) {
    return name.left(characterOffset(name, kPanelNameLength));
}

QString outputName(const QString& name, const QString& extension) {
    return name.left(characterOffset(name, -3)) + extension;
}

} // namespace ConvertRules
