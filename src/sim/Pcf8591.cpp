#include "sim/Pcf8591.h"

void Pcf8591::addressed(bool read, std::uint64_t /*nowNs*/) {
    expectControl_ = !read;
}

bool Pcf8591::byteWritten(std::uint8_t byte, std::uint64_t /*nowNs*/) {
    if (expectControl_) {
        expectControl_ = false;
        control_ = byte;
        channel_ = byte & 3;
    } else {
        dac_ = byte;
    }
    return true;
}

std::uint8_t Pcf8591::byteToRead(std::uint64_t nowNs) {
    const std::uint8_t previous = lastConversion_;
    const AnalogInput& input = inputs_[static_cast<std::size_t>(channel_)];
    lastConversion_ = input ? input(nowNs) : 0;
    if (control_ & kAutoIncrement)
        channel_ = (channel_ + 1) & 3;
    return previous;
}
