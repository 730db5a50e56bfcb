#pragma once

#include "backends/burn/ImageSink.h"

namespace burning {

// The image recorder's files through the output-file helper: the .bin is written unnamed in
// the image folder and both files are linked into place only when the burn completes, the .bin
// first and the .cue, which makes the image, last, each by an exclusive link, so an image never
// replaces an existing file: a name taken (a dangling symbolic link included), also one taken
// while the burn ran, is passed over for the next, "<base> (2)" and on. A burn that fails or is
// cancelled leaves neither file.
class ImageFiles final : public ImageOutput {
public:
    std::unique_ptr<ImageSink> create(const QString& folder, const QString& baseName) override;
};

} // namespace burning
