#pragma once

// Every fake component, for tests that build whole windows.
#include "tests/fakes/CallLog.h"
#include "tests/fakes/FakeAudioBurner.h"
#include "tests/fakes/FakeCdComponents.h"
#include "tests/fakes/FakeCodecs.h"
#include "tests/fakes/FakeDialogs.h"
#include "tests/fakes/FakeFilgraphManager.h"
#include "tests/fakes/FakeMainWindow.h"
#include "tests/fakes/FakeMediaInfo.h"
#include "tests/fakes/FakeMixer.h"
#include "tests/fakes/FakeRecorder.h"
#include "tests/fakes/FakeSettingsStore.h"
#include "tests/fakes/FakeSkin.h"
#include "tests/fakes/FakeSoundCard.h"
#include "tests/fakes/PanelTest.h"
