#include "base/Numbers.h"

#include <charconv>
#include <cmath>
#include <string>

namespace {

bool ignorable(QChar c) {
    return c == u' ' || c == u'\t' || c == u'\n';
}

// Walks the text, skipping the ignorable characters.
class Reader {
public:
    explicit Reader(QStringView text) : text_(text) { skip(); }
    QChar peek() const { return pos_ < text_.size() ? text_[pos_] : QChar(); }
    void next() {
        ++pos_;
        skip();
    }

private:
    void skip() {
        while (pos_ < text_.size() && ignorable(text_[pos_]))
            ++pos_;
    }
    QStringView text_;
    qsizetype pos_ = 0;
};

int digitValue(QChar c, int base) {
    int v = -1;
    if (c >= u'0' && c <= u'9')
        v = c.unicode() - u'0';
    else if (c >= u'a' && c <= u'f')
        v = c.unicode() - u'a' + 10;
    else if (c >= u'A' && c <= u'F')
        v = c.unicode() - u'A' + 10;
    return v < base ? v : -1;
}

double readRadix(Reader& r, int base) {
    double value = 0;
    for (int d; (d = digitValue(r.peek(), base)) >= 0; r.next())
        value = value * base + d; // reaches infinity on its own for absurd lengths
    return value;
}

bool isDigit(QChar c) {
    return c >= u'0' && c <= u'9';
}

// An exponent ("E", "e", "D" or "d", an optional sign, digits): appended to number as "e"
// and its value, which is returned; 0 when there is none.
long long readExponent(Reader& r, std::string& number) {
    const QChar e = r.peek().toUpper();
    if (e != u'E' && e != u'D')
        return 0;
    r.next();
    bool negative = false;
    if (r.peek() == u'+' || r.peek() == u'-') {
        negative = r.peek() == u'-';
        r.next();
    }
    std::string digits;
    for (; isDigit(r.peek()); r.next())
        if (digits.size() < 12) // beyond this any exponent is absurd either way
            digits += static_cast<char>(r.peek().unicode());
    if (digits.empty())
        return 0;
    const long long exponent = std::stoll(digits) * (negative ? -1 : 1);
    number += 'e';
    number += std::to_string(exponent);
    return exponent;
}

} // namespace

double numericValue(QStringView text) {
    Reader r(text);
    if (r.peek() == u'&') {
        r.next();
        const QChar kind = r.peek().toUpper();
        if (kind == u'H' || kind == u'O') {
            r.next();
            return readRadix(r, kind == u'H' ? 16 : 8);
        }
        return 0;
    }

    // Collect the decimal number's characters, then let from_chars do the rounding.
    std::string number;
    if (r.peek() == u'+' || r.peek() == u'-') {
        if (r.peek() == u'-')
            number += '-';
        r.next();
    }
    qsizetype significant = 0; // integer digits after leading zeros: the order of magnitude
    bool anyDigit = false;
    for (; isDigit(r.peek()); r.next()) {
        anyDigit = true;
        if (significant > 0 || r.peek() != u'0')
            ++significant;
        number += static_cast<char>(r.peek().unicode());
    }
    if (r.peek() == u'.') {
        number += '.';
        for (r.next(); isDigit(r.peek()); r.next()) {
            anyDigit = true;
            number += static_cast<char>(r.peek().unicode());
        }
    }
    if (!anyDigit)
        return 0;
    const long long exponent = readExponent(r, number);

    double value = 0;
    const auto [ptr, ec] = std::from_chars(number.data(), number.data() + number.size(), value);
    (void)ptr;
    if (ec == std::errc::result_out_of_range) {
        const bool negative = number.front() == '-';
        if (significant + exponent > 0)
            return negative ? -HUGE_VAL : HUGE_VAL;
        return negative ? -0.0 : 0.0;
    }
    return value;
}

QString numberText(long long value) {
    return value < 0 ? QString::number(value) : QLatin1Char(' ') + QString::number(value);
}
