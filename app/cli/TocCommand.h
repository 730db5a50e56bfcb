#pragma once

#include <QStringList>

// melvane-cli toc DRIVE: the table of contents of the disc in a drive (a number from
// 'melvane-cli drives', a device path, or a CUE sheet's path): one line per track with its
// number, start, length (mm:ss:ff), sectors, size and kind; then the disc's length and its
// AccurateRip, MusicBrainz and CDDB disc IDs and what the disc tells of itself; with --lookup
// the MusicBrainz releases of the disc. Exit status 1, with the reason, when the disc cannot be
// read.
int runTocCommand(const QStringList& arguments);
