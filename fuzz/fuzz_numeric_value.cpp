// Reads a number out of arbitrary text, the bytes taken as Latin-1 and, for an even count, as
// UTF-16. Checks that the result is never NaN and that blanks, tabs and line feeds make no
// difference wherever they stand.
#include "base/Numbers.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace {

void check(const QString& text) {
    const double value = numericValue(text);
    if (std::isnan(value))
        std::abort();
    QString packed = text;
    packed.remove(u' ').remove(u'\t').remove(u'\n');
    if (numericValue(packed) != value)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto* bytes = reinterpret_cast<const char*>(data);
    check(QString::fromLatin1(bytes, static_cast<qsizetype>(size)));
    if (size % 2 == 0)
        check(QString(reinterpret_cast<const QChar*>(data), static_cast<qsizetype>(size / 2)));
    return 0;
}
