#pragma once

// The Qt implementations of the window-system components, for the one place that creates them.
#include "backends/qt/FileDialog.h"
#include "backends/qt/FolderDialog.h"
#include "backends/qt/QssSkin.h"
#include "backends/qt/QtMessageBox.h"
#include "backends/qt/QtSettingsStore.h"
