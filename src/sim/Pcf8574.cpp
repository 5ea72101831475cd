#include "sim/Pcf8574.h"

bool Pcf8574::byteWritten(std::uint8_t byte, std::uint64_t /*nowNs*/) {
    latch_ = byte;
    return true;
}

std::uint8_t Pcf8574::byteToRead(std::uint64_t /*nowNs*/) {
    return pins();
}
