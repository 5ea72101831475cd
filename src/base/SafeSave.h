#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

class QIODevice;

// What a save finds at its path, and so how it writes there.
enum class SaveTarget {
    NewFile,  // nothing yet
    File,     // a regular file, also behind a symbolic link (which stays a link)
    Stream,   // a named pipe, a terminal or another character device, or a standard stream
              // named through /dev/stdout or /dev/fd/N: written in place, never replaced
    Unusable, // a folder, a socket, a block device: never written
};
SaveTarget saveTarget(const QString& path);

// Whether a save may write a Stream target in place. The command-line tool may (its
// outputs can go down a pipe); the window may not, as a pipe without a reader would hold it.
enum class Streams {
    Refuse,
    Write
};

// Writes what write(device) puts out to path; write returns false when a write failed. A new
// or regular file is written beside the target and renamed over it only when every byte is
// written and flushed, so that a failed save leaves an existing file as it was. Returns 0, or
// the run-time error number of the failure and, in why, its reason in words.
int saveWith(const QString& path, const std::function<bool(QIODevice&)>& write,
             Streams streams = Streams::Refuse, QString* why = nullptr);
int saveWhole(const QString& path, const QByteArray& content, Streams streams = Streams::Refuse,
              QString* why = nullptr);
