#include "files/CodePage.h"

#include <array>

namespace CodePage {

namespace {

// The characters of bytes 0x80 to 0x9F.
constexpr std::array<char16_t, 32> kHighControls = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

// The byte of character c, or -1 when the code page has none.
int byteOf(char16_t c) {
    if (c < 0x80 || (c >= 0xA0 && c <= 0xFF))
        return c;
    for (std::size_t i = 0; i < kHighControls.size(); ++i)
        if (kHighControls[i] == c)
            return static_cast<int>(0x80 + i);
    return -1;
}

} // namespace

qsizetype firstUnheld(QStringView text) {
    for (qsizetype i = 0; i < text.size(); ++i)
        if (byteOf(text[i].unicode()) < 0)
            return i;
    return -1;
}

QByteArray encode(QStringView text) {
    QByteArray bytes;
    bytes.reserve(text.size());
    for (const QChar c : text) {
        const int b = byteOf(c.unicode());
        bytes.append(b < 0 ? '?' : static_cast<char>(b));
    }
    return bytes;
}

QString decode(QByteArrayView bytes) {
    QString text;
    text.reserve(bytes.size());
    for (const char b : bytes) {
        const auto u = static_cast<unsigned char>(b);
        text.append(u >= 0x80 && u < 0xA0 ? QChar(kHighControls[u - 0x80]) : QChar(u));
    }
    return text;
}

} // namespace CodePage
