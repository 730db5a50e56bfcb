#pragma once

#include "components/AudioBurner.h"
#include "components/CommonDialog.h"
#include "components/DiscLookup.h"
#include "components/Drives.h"
#include "components/FilgraphManager.h"
#include "components/FolderBrowse.h"
#include "components/HarnMediaUtils.h"
#include "components/HarnTools.h"
#include "components/MDec.h"
#include "components/MEnc.h"
#include "components/Mci.h"
#include "components/MessageBox.h"
#include "components/Mixer.h"
#include "components/Player.h"
#include "components/Record.h"
#include "components/SettingsStore.h"
#include "components/Skin.h"
#include "components/SoundCard.h"
#include "components/WAEnc.h"
#include "components/WMAFile.h"
#include "components/WaDec.h"

#include <QString>
#include <functional>
#include <memory>

// Everything the main window works with, handed over by whoever builds it: the real backends
// from app/main.cpp, fakes from the tests. The window never creates a backend itself.
struct Form1Components {
    std::unique_ptr<Skin> skin;
    std::unique_ptr<MessageBox> messageBox;
    std::unique_ptr<SettingsStore> settings;
    std::unique_ptr<CommonDialog> comd;         // open dialog of the convert panel
    std::unique_ptr<CommonDialog> commonDialog; // open dialog of the burn panel
    std::unique_ptr<MEnc> mEnc;
    std::unique_ptr<MDec> mDec;
    std::unique_ptr<WAEnc> waEnc;
    std::unique_ptr<WaDec> waDec;
    std::unique_ptr<WMAFile> wmaFile1;
    std::unique_ptr<HarnMediaUtils> x; // duration and size of the files in the convert list
    std::unique_ptr<Mixer> mixer;      // the machine's mixers, for the volume control
    // The sound recorder's: its recorder, player, input-line mixer and save dialog.
    std::unique_ptr<Record> record;
    std::unique_ptr<Player> player;
    std::unique_ptr<SoundCard> soundCard;
    std::unique_ptr<CommonDialog> saveDialog;
    std::unique_ptr<AudioBurner> audioBurner1; // the burning engine of the burn panel
    // The rip panel's: the CD tools (drives, disc kind, eject, rips; also the burn panel's
    // blank test), the media control interface for the table of contents and playback, and
    // the drive roots.
    std::unique_ptr<HarnTools> test;
    std::unique_ptr<Mci> mci;
    std::unique_ptr<Drives> drives;
    // The rip panel's track-name lookup on MusicBrainz.
    std::unique_ptr<DiscLookup> lookup;

    // Made during start-up, not before: the folder picker and the player's filter graph.
    std::function<std::unique_ptr<FolderBrowse>()> makeFolderBrowser;
    std::function<std::unique_ptr<FilgraphManager>()> makeFilterGraph;

    // The folder that holds melvane.skn; the executable's folder in the real program.
    QString applicationFolder;
};
