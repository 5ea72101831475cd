// Reads the 19 fields of a command file from arbitrary bytes, going on past failures. Checks
// that every failure is one the reader documents, and that a file read without failure and
// saved again reads back to the same values.
#include "base/RunTimeError.h"
#include "files/CommandFile.h"
#include "files/CommandFileReader.h"

#include <cstdint>
#include <cstdlib>

namespace {

bool expected(int error) {
    return error == 0 || error == RunTimeError::Overflow || error == RunTimeError::TypeMismatch ||
           error == RunTimeError::OutOfStringSpace || error == RunTimeError::InputPastEndOfFile;
}

// Reads every field; the number of failures.
int readAll(CommandFileReader& reader, CommandFile& file) {
    int failures = 0;
    const auto count = [&](int error) {
        if (!expected(error))
            std::abort();
        failures += error != 0;
    };
    QString header;
    int port = 0;
    int reset = 0;
    count(reader.text(header));
    count(reader.byteValue(port));
    count(reader.wholeNumber(file.interval));
    count(reader.byteValue(reset));
    count(reader.text(file.title));
    count(reader.flag(file.startBit));
    count(reader.flag(file.microwire));
    count(reader.flag(file.startBitAgain));
    count(reader.flag(file.noffSelected));
    for (QString& cell : file.cells)
        count(reader.text(cell));
    count(reader.flag(file.analysis));
    count(reader.text(file.note));
    if (port < 0 || port > 255 || reset < 0 || reset > 255)
        std::abort();
    file.port = static_cast<std::uint8_t>(port);
    file.resetValue = static_cast<std::uint8_t>(reset);
    return failures;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    CommandFileReader reader(
        QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    CommandFile read;
    if (readAll(reader, read) != 0 || !read.saveProblem().isEmpty())
        return 0;
    CommandFileReader again(read.bytes());
    CommandFile back;
    if (readAll(again, back) != 0 || !(back == read))
        std::abort();
    return 0;
}
