#pragma once

#include <QString>

// Every file the program writes (conversions, rips, recordings, burn images) goes through this:
// it appears complete under its name, or not at all.
//
// The data is written to an unnamed file in the target folder (O_TMPFILE) and linked under its
// name by commit(). Where the file system cannot do that, it goes to a hidden temporary file
// ".melvane-<pid>-<random>.part" instead, renamed into place by commit(); every OutputFile
// created in a folder removes such files left there by processes that no longer run (a killed
// job). commit() flushes the data to the disk first and replaces an older file of the name only
// then; an OutputFile destroyed without commit() leaves nothing, and the older file as it was.
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

    // Creates the temporary file. Raises Error when the folder does not exist, is not a folder,
    // is not writable, or path names a folder.
    explicit OutputFile(const QString& path, Temporary temporary = Temporary::Unnamed);
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
    // Puts the finished file in place under its name. Raises Error; the file is then discarded.
    void commit();
    // Removes the temporary file now (harmless when done or committed).
    void discard() noexcept;

    // "Cannot write <path>: <reason>".
    QString error(const QString& reason) const;

private:
    [[noreturn]] void fail(const QString& reason);
    [[noreturn]] void failErrno(int err);
    void createNamed(const QString& folder);
    void removeStale(const QString& folder) const;
    void linkInPlace();

    QString m_path;
    QString m_temporary;
    int m_fd = -1;
    qint64 m_unsynced = 0; // bytes written since write-back was last started
    bool m_finished = false;
    bool m_committed = false;
};
