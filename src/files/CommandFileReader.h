#pragma once

#include <QByteArray>
#include <QString>

#include <memory>

class QIODevice;

// Reads the fields of a command file one at a time, each where the previous one ended, so the
// caller can apply each value before reading the next and stop at the first that fails.
//
// Field rules:
//   - fields are separated by a comma or a line end (CR LF, CR or LF);
//   - leading blanks and tabs are skipped;
//   - a field beginning with a double quote is quoted: its value runs to the next double quote
//     (across line ends), and whatever follows up to the next comma or line end is ignored; a
//     file that ends before the closing quote fails with error 62;
//   - otherwise the value runs to the next comma or line end, trailing blanks removed;
//   - a field that is missing because the file ended fails with error 62; a field that is
//     empty (a comma or line end right away) is an empty text, 0 or false;
//   - a field may take at most kMaxFieldBytes bytes of the file, else error 14, so no input
//     makes the reader hold or scan more than that per field.
// Numbers are decimal (sign, fraction, exponent E or D) or &H hexadecimal / &O octal, with
// nothing else in the field but blanks and tabs around them; anything else where a number is
// expected is error 13. A quoted field holding a number counts as that number ("12" is 12),
// and an unquoted field where a text is expected is taken as its characters (12 is "12").
//
// Each read returns 0 and sets value, or returns the run-time error number and leaves value
// alone. After a failure the position in the file is unspecified.
class CommandFileReader {
public:
    static constexpr qsizetype kMaxFieldBytes = qsizetype(1) << 20;

    // A reader with nothing to read.
    CommandFileReader();
    // A reader over bytes already in memory.
    explicit CommandFileReader(const QByteArray& bytes);
    ~CommandFileReader();
    CommandFileReader(const CommandFileReader&) = delete;
    CommandFileReader& operator=(const CommandFileReader&) = delete;

    // Opens the file at path for reading from its start. Returns 0 or the run-time error
    // number: 53 not found, 76 folder not found, 75 a folder or other access failure, 70
    // permission denied, 52 no file name.
    int open(const QString& path);
    void close();

    // Any text (lines 1, 5, 10 to 17 and 19).
    int text(QString& value);
    // An unsigned byte 0 to 255 (lines 2 and 4): a fraction is rounded half to even; a value
    // outside the range is error 6.
    int byteValue(int& value);
    // A whole number of 32 bits (line 3): a fraction is rounded half to even; a value outside
    // -2147483648 to 2147483647 is error 6. The interval's own range is the caller's check
    // (CommandFile::kMaxInterval).
    int wholeNumber(int& value);
    // #TRUE# or #FALSE# (upper case, unquoted), or a number: non-zero is true.
    int flag(bool& value);

private:
    struct Field {
        QByteArray bytes;
        bool quoted = false;
    };
    int nextField(Field& field);
    void takeSeparator(int c); // c: the byte at the position, -1 at the end
    int number(double& value);
    int peek();
    void advance() { ++pos_; }

    std::unique_ptr<QIODevice> device_;
    QByteArray chunk_;
    qsizetype pos_ = 0;
    int readError_ = 0;
};
