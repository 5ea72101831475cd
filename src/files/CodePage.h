#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

// The 8-bit character set of command files: Windows-1252, the code page in which files of the
// tool's earlier versions were written on Western European systems. Bytes 0x00 to 0x7F and
// 0xA0 to 0xFF are the Latin-1 characters; 0x80 to 0x9F carry the typographic characters (€,
// curly quotes, dashes, Š, Ž, Œ, Ÿ ...); the five bytes that code page leaves unassigned
// (0x81, 0x8D, 0x8F, 0x90, 0x9D) stand for the control characters of the same number, as
// Windows itself decodes them. So every byte decodes to one character, and exactly those 256
// characters encode back to the same byte.
namespace CodePage {

// The position of the first character of text that the code page cannot hold, or -1.
qsizetype firstUnheld(QStringView text);
// The text's bytes; a character the code page cannot hold becomes '?'.
QByteArray encode(QStringView text);
QString decode(QByteArrayView bytes);

} // namespace CodePage
