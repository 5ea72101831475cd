// Reads a command file from arbitrary bytes as loading does. Checks that every failure is one
// the reader documents, at the line it names, and that a file read without failure and saved
// again reads back to the same values.
#include "base/RunTimeError.h"
#include "files/CommandFile.h"
#include "files/CommandFileReader.h"

#include <cstdint>
#include <cstdlib>

namespace {

bool expected(int error) {
    return error == 0 || error == RunTimeError::Overflow || error == RunTimeError::TypeMismatch ||
           error == RunTimeError::OutOfStringSpace || error == RunTimeError::InputPastEndOfFile ||
           error == RunTimeError::InvalidPropertyValue || error == CommandFile::kNotCompatible;
}

CommandFile::Read readAll(const QByteArray& bytes) {
    CommandFileReader reader(bytes);
    const CommandFile::Read read = CommandFile::read(reader);
    if (!expected(read.error) || (read.error == 0) != (read.lines == 19) || read.lines < 0 ||
        read.lines > 19)
        std::abort();
    return read;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const CommandFile::Read read =
        readAll(QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size)));
    if (read.error != 0 || !read.file.saveProblem().isEmpty())
        return 0;
    const CommandFile::Read back = readAll(read.file.bytes());
    if (back.error != 0 || !(back.file == read.file))
        std::abort();
    return 0;
}
