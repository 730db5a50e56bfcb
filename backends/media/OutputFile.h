#pragma once

#include "components/OverwriteRule.h"

#include <QString>

// Every file the program writes (conversions, rips, recordings, burn images) goes through this:
// it appears complete under its name, or not at all.
//
// The data is written to an unnamed file in the target folder (O_TMPFILE) and linked under its
// name by commit(). Where the file system cannot do that, it goes to a hidden temporary file
// ".melvane-<pid>-<random>.part" instead, renamed into place by commit(); every OutputFile
// created in a folder removes such files left there by processes that no longer run (a killed
// job). commit() flushes the data to the disk first; an OutputFile destroyed without commit()
// leaves nothing, and an older file of the name as it was.
//
// What is already at the path is judged by the OverwriteRule, at once and again at commit():
// a folder, a device, a pipe or a socket, and the rule's sources, are never written over; any
// other file (a dangling symbolic link too) only when the rule allows replacing, otherwise
// OutputExistsError. A new file never replaces one that appeared meanwhile: it is put in place
// with renameat2(RENAME_NOREPLACE), or where the file system lacks that (exFAT, FAT, many FUSE
// and network file systems) with an exclusive hard link, or where it has no hard links either
// by claiming the name with an exclusive create and renaming over that claim.
//
// A name holding characters that the folder's file system refuses (':' or '?' on exFAT) is
// refused at once, naming them. The environment variable MELVANE_OUTPUT_FS, for tests, makes
// the helper act as on a file system without unnamed files and RENAME_NOREPLACE ("links"), or
// without hard links as well ("nolinks").
//
// Errors raise Error "Cannot write <path>: <why>", the why in plain words ("No space left on
// device", "File too large"). Writing beyond the process's file size limit fails like that too:
// the media core ignores SIGXFSZ, which would otherwise end the program.
//
// Not thread-safe; one thread writes, not necessarily the one that created it.
class OutputFile {
public:
    enum class Temporary {
        Unnamed, // O_TMPFILE where the file system has it, else Named
        Named,   // always the hidden temporary name
    };

    // Checks what is at path and creates the temporary file. Raises Error when the folder does
    // not exist, is not a folder or is not writable, when path may not be written over, and
    // OutputExistsError when the rule does not allow replacing the file there.
    explicit OutputFile(const QString& path, const OverwriteRule& rule = {},
                        Temporary temporary = Temporary::Unnamed);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    QString path() const { return m_path; }
    // The hidden temporary file's path; empty while the file is unnamed.
    QString temporaryPath() const { return m_temporary; }
    // The open file, for writers that need a descriptor (seeking, FFmpeg's I/O callbacks).
    int fd() const { return m_fd; }

    // Writes all of data at the current position. Raises Error.
    void write(const void* data, qint64 size);
    // The same without raising, for C callbacks: 0, or the errno of the failure.
    int writeAll(const void* data, size_t size) noexcept;

    // Flushes the data to the disk. Raises Error. Slow; commit() does it when it was not done.
    void finish();
    // Puts the finished file in place under its name, as the rule allows. Raises Error (or
    // OutputExistsError, when a file of the name appeared meanwhile); the file is then
    // discarded.
    void commit();
    // The same under another name in the same folder (an image recorder's next free name).
    // Raises OutputExistsError when that name is taken too, and the file is kept for a
    // further try.
    void commitAs(const QString& path);
    // Removes the temporary file now (harmless when done or committed).
    void discard() noexcept;

    // "Cannot write <path>: <reason>".
    QString error(const QString& reason) const;

private:
    [[noreturn]] void fail(const QString& reason);
    [[noreturn]] void failErrno(int err);
    void checkTarget() const;
    void checkName(const QString& folder) const;
    void createNamed(const QString& folder);
    void removeStale(const QString& folder) const;
    void placeNew();
    void placeOver();
    bool linkNamed(const QByteArray& target);
    void claimAndRename(const QByteArray& target);
    [[noreturn]] void failPlacing(int err);

    QString m_path;
    OverwriteRule m_rule;
    QString m_temporary;
    int m_fd = -1;
    qint64 m_unsynced = 0; // bytes written since write-back was last started
    bool m_finished = false;
    bool m_committed = false;
};
