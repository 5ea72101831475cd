#pragma once

#include "base/SafeSave.h"

#include <QByteArray>
#include <QString>

// Files of EEPROM contents, the format chosen by the file's extension:
//   .hex .ihx .ihex   Intel HEX: data (00), end of file (01), extended segment (02) and
//                     extended linear (04) address records; start address records (03, 05)
//                     are read and ignored. Written with 16 data bytes a record.
//   .txt .dump        the hex-and-ASCII dump (the form of `hexdump -C -v`): an 8-digit
//                     offset, 16 bytes in two groups of 8, the bytes as ASCII between bars
//                     (a dot for anything not printable), and the end offset on a line of its
//                     own. A read-out only: it is written, not read.
//   anything else     raw binary, the first byte at the chip's address 0
class EepromImage {
public:
    enum class Format {
        Binary,
        IntelHex,
        Dump
    };

    static Format formatOf(const QString& path);

    // Reads path for a chip of chipSize bytes: bytes from address *from on (a binary file:
    // from 0; a HEX file: from its lowest to its highest address, the gaps between its records
    // 0xFF). False with a one-line reason when the file cannot be read, is larger than the
    // chip, is a dump, or is a HEX file with a bad line, a bad checksum, a record outside the
    // chip or no end-of-file record; then bytes and from are not changed.
    static bool load(const QString& path, int chipSize, QByteArray* bytes, int* from,
                     QString* whyNot);
    static bool parseIntelHex(const QByteArray& text, int chipSize, QByteArray* bytes, int* from,
                              QString* whyNot);

    // bytes at address from on, in each format.
    static QByteArray intelHex(const QByteArray& bytes, int from = 0);
    static QByteArray dump(const QByteArray& bytes, int from = 0);
    // Writes bytes (from address from) in the format of the extension, beside the file and
    // renamed over it only when every byte is written: a failed save leaves the file as it
    // was. False with a one-line reason. A named pipe or a standard stream (/dev/stdout) is
    // written in place only when streams says so.
    static bool save(const QString& path, const QByteArray& bytes, int from, QString* whyNot,
                     Streams streams = Streams::Refuse);
};
