#pragma once

#include "base/SafeSave.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <cstdint>

class CommandFileReader;

// What a command file (.scm) keeps: everything the user set up for a test. The file is 19 lines
// of Windows-1252 text (CodePage), each ending in CR LF: the header, then the values below in
// this order. Texts stand in double quotes, numbers in plain decimal, flags as #TRUE# / #FALSE#.
//
// The format has no escape: a text holding a double quote cannot be read back as it was, and
// neither can one holding a character outside the code page. Such a file is never written:
// saveProblem() names the text at fault and save() refuses.
struct CommandFile {
    static inline const QString kHeader = QStringLiteral("Tamsolvix file V2");
    // The largest interval the non-stop timer accepts; a file with a larger one (or a negative
    // one) fails with RunTimeError::InvalidPropertyValue when it is read.
    static constexpr int kMaxInterval = 65535;
    // The longest text the writer stores (the reader takes more, see CommandFileReader).
    static constexpr qsizetype kMaxTextLength = 65535;
    // save()'s answer when saveProblem() is not empty: nothing was written.
    static constexpr int kRefused = -1;
    // read()'s error when the first line is not kHeader: not a command file of this version.
    static constexpr int kNotCompatible = -2;

    std::uint8_t port = 1;                      // line 2
    int interval = 1000;                        // line 3, milliseconds
    std::uint8_t resetTension = 9;              // line 4
    QString title = QStringLiteral("No Title"); // line 5: the file's name when it was saved
    bool startBit = false;                      // line 6
    bool microwire = false;                     // line 7
    bool startBitAgain = false; // line 8: the start bit once more, applied after the mode
    bool noffSelected = true;   // line 9: the non-stop option "Off"
    // lines 10 to 17: the cells C1, C2, C3, C4, D1, D2, D3, D4
    std::array<QString, 8> cells = {QStringLiteral("Stop"), QStringLiteral("Stop"),
                                    QStringLiteral("Stop"), QStringLiteral("Stop"),
                                    QStringLiteral("Stop"), QStringLiteral("Stop"),
                                    QStringLiteral("Stop"), QStringLiteral("Stop")};
    bool analysis = true;               // line 18
    QString note = QStringLiteral(" "); // line 19

    bool operator==(const CommandFile&) const = default;

    // Why these values cannot be saved so that they read back unchanged, as a message for the
    // user naming the file title, cell or note at fault; empty when they can.
    QString saveProblem() const;
    // The file's bytes. Meaningful only when saveProblem() is empty.
    QByteArray bytes() const;
    // Writes the file at path through a temporary file in the same folder that replaces the
    // old file only when complete, so a failed save leaves an existing file as it was. Returns
    // 0, the run-time error number of the failure (and in why its reason), or kRefused (see
    // saveProblem()). Streams: see saveWith.
    int save(const QString& path, Streams streams = Streams::Refuse, QString* why = nullptr) const;

    // "C1" ... "C4", "D1" ... "D4" for cells 0 to 7.
    static QString cellName(int index);

    // A command file as far as it could be read.
    struct Read;
    // Reads the 19 lines in order and stops at the first that fails: the header, the values
    // (each within what its field holds; an interval outside 0 to kMaxInterval is
    // RunTimeError::InvalidPropertyValue), how many lines were read and the error of the one
    // that failed (kNotCompatible for a first line that is not the header).
    static Read read(CommandFileReader& reader);
};

struct CommandFile::Read {
    CommandFile file; // lines after the last one read keep their defaults
    int lines = 0;    // lines read and found good: 19 for a whole file
    int error = 0;    // 0, or the run-time error number of line lines + 1, or kNotCompatible
};

// Whether a directory lookup of path finds a file whose name equals, case-sensitively, the
// last part of path. A directory is not a file; on a file system that ignores letter case, a
// name typed in another case than the file's is not found.
bool existsWithExactName(const QString& path);

// Why something that is there at path is not a command file to read: "'PATH' is a named pipe,
// not a file." (a pipe would wait for a writer, a device might never end, a folder has no
// lines). Empty for a regular file or a link to one, where nothing is, and for a path without
// a file name. Every reader of
// command files asks this before it opens one.
QString notAFileReason(const QString& path);
