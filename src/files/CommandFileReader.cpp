#include "files/CommandFileReader.h"

#include "base/Numbers.h"
#include "base/RunTimeError.h"
#include "files/CodePage.h"
#include "files/CommandFile.h"

#include <QBuffer>
#include <QFile>

#include <cmath>
#include <limits>

namespace {

constexpr qint64 kChunkSize = 4096;

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

QByteArray trimmedOfBlanks(const QByteArray& bytes) {
    qsizetype begin = 0;
    qsizetype end = bytes.size();
    while (begin < end && isBlank(bytes[begin]))
        ++begin;
    while (end > begin && isBlank(bytes[end - 1]))
        --end;
    return bytes.mid(begin, end - begin);
}

bool isDigitOf(char c, int base) {
    if (c >= '0' && c <= '9')
        return c - '0' < base;
    return base == 16 && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'));
}

// Whether text is one number and nothing else: "&H" or "&O" with digits, or a sign, digits with
// an optional fraction, and an optional exponent with digits.
bool isNumber(const QByteArray& text) {
    qsizetype i = 0;
    const qsizetype n = text.size();
    auto digits = [&](int base) {
        const qsizetype from = i;
        while (i < n && isDigitOf(text[i], base))
            ++i;
        return i - from;
    };
    if (n >= 2 && text[0] == '&') {
        const char kind = text[1];
        i = 2;
        const int base = (kind == 'H' || kind == 'h') ? 16 : (kind == 'O' || kind == 'o') ? 8 : 0;
        return base != 0 && digits(base) > 0 && i == n;
    }
    if (i < n && (text[i] == '+' || text[i] == '-'))
        ++i;
    qsizetype mantissa = digits(10);
    if (i < n && text[i] == '.') {
        ++i;
        mantissa += digits(10);
    }
    if (mantissa == 0)
        return false;
    if (i < n && (text[i] == 'E' || text[i] == 'e' || text[i] == 'D' || text[i] == 'd')) {
        ++i;
        if (i < n && (text[i] == '+' || text[i] == '-'))
            ++i;
        if (digits(10) == 0)
            return false;
    }
    return i == n;
}

// The number a field holds: an empty unquoted field is 0, a quoted one is no number.
int numberIn(const QByteArray& bytes, bool quoted, double& value) {
    const QByteArray digits = trimmedOfBlanks(bytes);
    if (digits.isEmpty() && !quoted) {
        value = 0;
        return 0;
    }
    if (!isNumber(digits))
        return RunTimeError::TypeMismatch;
    value = numericValue(QString::fromLatin1(digits));
    return 0;
}

double roundedHalfToEven(double value) {
    if (std::fabs(value - std::trunc(value)) == 0.5)
        return 2.0 * std::round(value / 2.0);
    return std::round(value);
}

} // namespace

CommandFileReader::CommandFileReader() = default;

CommandFileReader::CommandFileReader(const QByteArray& bytes) {
    auto buffer = std::make_unique<QBuffer>();
    buffer->setData(bytes);
    buffer->open(QIODevice::ReadOnly);
    device_ = std::move(buffer);
}

CommandFileReader::~CommandFileReader() = default;

int CommandFileReader::open(const QString& path) {
    close();
    if (!notAFileReason(path).isEmpty())
        return RunTimeError::PathFileAccess; // not opened: a pipe or a device could block
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadOnly))
        return RunTimeError::forRead(path, file->error());
    device_ = std::move(file);
    return 0;
}

void CommandFileReader::close() {
    device_.reset();
    chunk_.clear();
    pos_ = 0;
    readError_ = 0;
}

// The byte at the position, or -1 at the end of the file or after a failed read (readError_).
int CommandFileReader::peek() {
    if (pos_ < chunk_.size())
        return static_cast<unsigned char>(chunk_[pos_]);
    if (!device_ || readError_ != 0)
        return -1;
    chunk_ = device_->read(kChunkSize);
    pos_ = 0;
    if (chunk_.isEmpty()) {
        if (const auto* file = qobject_cast<const QFileDevice*>(device_.get());
            file && file->error() != QFileDevice::NoError)
            readError_ = RunTimeError::whileReading(file->error());
        return -1;
    }
    return static_cast<unsigned char>(chunk_[0]);
}

int CommandFileReader::nextField(Field& field) {
    qsizetype taken = 0; // bytes of the file this field has used
    const auto takeOne = [&] {
        advance();
        return ++taken <= kMaxFieldBytes;
    };
    const auto ended = [this] {
        return readError_ != 0 ? readError_ : RunTimeError::InputPastEndOfFile;
    };
    const auto isSeparator = [](int c) { return c == ',' || c == '\r' || c == '\n'; };

    int c = peek();
    for (; c == ' ' || c == '\t'; c = peek())
        if (!takeOne())
            return RunTimeError::OutOfStringSpace;
    if (c < 0)
        return ended();

    Field read;
    if (c == '"') {
        read.quoted = true;
        takeOne();
        for (c = peek(); c != '"'; c = peek()) {
            if (c < 0)
                return ended();
            read.bytes += static_cast<char>(c);
            if (!takeOne())
                return RunTimeError::OutOfStringSpace;
        }
        takeOne();
        for (c = peek(); c >= 0 && !isSeparator(c); c = peek())
            if (!takeOne())
                return RunTimeError::OutOfStringSpace;
    } else {
        for (; c >= 0 && !isSeparator(c); c = peek()) {
            read.bytes += static_cast<char>(c);
            if (!takeOne())
                return RunTimeError::OutOfStringSpace;
        }
        while (read.bytes.endsWith(' '))
            read.bytes.chop(1);
    }
    if (readError_ != 0)
        return readError_;
    takeSeparator(c);
    field = std::move(read);
    return 0;
}

void CommandFileReader::takeSeparator(int c) {
    // The separator belongs to the field before it; CR LF is one line end.
    if (c == '\r') {
        advance();
        if (peek() == '\n')
            advance();
    } else if (c >= 0) {
        advance();
    }
}

int CommandFileReader::text(QString& value) {
    Field field;
    if (const int error = nextField(field))
        return error;
    value = CodePage::decode(field.bytes);
    return 0;
}

int CommandFileReader::number(double& value) {
    Field field;
    if (const int error = nextField(field))
        return error;
    return numberIn(field.bytes, field.quoted, value);
}

int CommandFileReader::byteValue(int& value) {
    double read = 0;
    if (const int error = number(read))
        return error;
    read = roundedHalfToEven(read);
    if (!(read >= 0 && read <= 255))
        return RunTimeError::Overflow;
    value = static_cast<int>(read);
    return 0;
}

int CommandFileReader::wholeNumber(int& value) {
    double read = 0;
    if (const int error = number(read))
        return error;
    read = roundedHalfToEven(read);
    if (!(read >= std::numeric_limits<int>::min() && read <= std::numeric_limits<int>::max()))
        return RunTimeError::Overflow;
    value = static_cast<int>(read);
    return 0;
}

int CommandFileReader::flag(bool& value) {
    Field field;
    if (const int error = nextField(field))
        return error;
    const QByteArray word = trimmedOfBlanks(field.bytes);
    if (!field.quoted && (word == "#TRUE#" || word == "#FALSE#")) {
        value = word == "#TRUE#";
        return 0;
    }
    double number = 0;
    if (const int error = numberIn(field.bytes, field.quoted, number))
        return error;
    value = number != 0;
    return 0;
}
