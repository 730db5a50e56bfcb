#pragma once

#include <QStringList>

// Every command lives in a module that melvane-cli loads only when one of its commands runs, so
// that the program starts on Qt Core alone and each command loads only the libraries it uses:
// converting, describing, reading and ripping never load Qt Multimedia, PulseAudio or libburn,
// and --version, the help or an unknown command loads neither FFmpeg nor libcdio.

// The modules, by file name without ".so".
inline constexpr char kMediaModule[] = "melvane-cli-media";
inline constexpr char kAudioModule[] = "melvane-cli-audio";
inline constexpr char kBurnModule[] = "melvane-cli-burn";

// What a module exports: runs the command `name` with its arguments (the first one is the
// command's name as typed) and returns its exit code, or kNoSuchCommand.
inline constexpr char kModuleEntry[] = "melvaneCliRun";
inline constexpr int kNoSuchCommand = -1;
using ModuleEntry = int (*)(const char* name, const QStringList& arguments);

// Loads `module` and runs `name` from it. Raises Error when the module cannot be loaded.
int runModuleCommand(const char* module, const char* name, const QStringList& arguments);
