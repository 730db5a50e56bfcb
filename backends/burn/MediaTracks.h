#pragma once

#include "backends/burn/TrackFeed.h"
#include "backends/media/PcmSource.h"

#include <functional>

namespace burning {

// The compilation's files as CD tracks, through the media core: probe() reads a file's header
// (its estimated length at 44.1 kHz and its tags), measure() decodes it to count the frames
// exactly, and each feed decodes its file on the fly, resampled to CD audio, into a pipe that
// the writer's thread reads. Nothing is decoded before the burn and no temporary file is
// written. The count is what the decoder delivers: an MP3's encoder delay and padding, which
// its LAME/Xing header states, are left out, as every gapless player leaves them out.
class MediaTrackOpener final : public TrackOpener {
public:
    // How much decoded audio a feed holds ahead of the writer: 12 MB, about 71 seconds of CD
    // audio. Two feeds fill at a time, the track being written and the next one.
    static constexpr qint64 kBufferFrames = 3 << 20;

    // A file whose header states no length is decoded once to count its frames.
    TrackInfo probe(const QString& path) override;
    qint64 measure(const QString& path, const std::atomic<bool>& stop) override;
    std::unique_ptr<TrackFeed> open(const QString& path) override;
};

// Makes a feed's source when the feed starts; raises Error when it cannot.
using SourceMaker = std::function<std::unique_ptr<PcmSource>()>;

// What open() gives for a file, for any source of CD audio: every frame it delivers. A read
// that gets nothing for stallSeconds while the source should be delivering raises Error naming
// `what`: the writer never waits for ever.
std::unique_ptr<TrackFeed> openFeed(SourceMaker makeSource, const QString& what, int stallSeconds);

} // namespace burning
