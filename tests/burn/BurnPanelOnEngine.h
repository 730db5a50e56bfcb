#pragma once

// The burn panel on the real burning engine: the recorders libburn finds (virtual ones in the
// tests that load them), then the image recorder; files decoded by the media core.
#include "backends/burn/Burner.h"
#include "backends/burn/ImageFiles.h"
#include "backends/burn/MediaTracks.h"
#include "tests/burn/BurnPanelFixture.h"

inline std::unique_ptr<burning::Burner> makeRealBurner(CallLog&) {
    return std::make_unique<burning::Burner>(std::make_unique<burning::MediaTrackOpener>(),
                                             std::make_unique<burning::ImageFiles>());
}

struct PanelOnEngine : BurnPanelOn<burning::Burner, makeRealBurner> {
    PanelOnEngine() { panel.show(); }

    // Picks the recorder whose product is named so; false when there is none.
    bool choose(const QString& product) {
        auto* drives = child<QComboBox>(QStringLiteral("driveCombo"));
        for (int i = 0; i < drives->count(); ++i) {
            if (drives->itemText(i).contains(QStringLiteral("  %1  ").arg(product))) {
                pickRecorder(i);
                return engine.RecorderProduct() == product;
            }
        }
        return false;
    }
};
