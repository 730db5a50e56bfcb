#pragma once

#include "backends/burn/ImageSink.h"

namespace burning {

// The image recorder's files through the output-file helper: the .bin is written unnamed in
// the image folder and both files are linked into place only when the burn completes, the .bin
// first and the .cue, which makes the image, last. A burn that fails or is cancelled leaves
// neither, and an existing file is never replaced.
class ImageFiles final : public ImageOutput {
public:
    std::unique_ptr<ImageSink> create(const QString& folder, const QString& baseName) override;
};

} // namespace burning
