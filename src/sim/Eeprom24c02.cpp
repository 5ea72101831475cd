#include "sim/Eeprom24c02.h"

Eeprom24c02::Eeprom24c02() : I2cSlave(kAddressByte) {
    memory_.fill(0xFF);
}

bool Eeprom24c02::acknowledgesAddress(bool /*read*/, std::uint64_t nowNs) {
    return !busy(nowNs);
}

void Eeprom24c02::addressed(bool read, std::uint64_t /*nowNs*/) {
    expectWordAddress_ = !read;
    pageLoaded_ = 0;
}

bool Eeprom24c02::byteWritten(std::uint8_t byte, std::uint64_t /*nowNs*/) {
    if (expectWordAddress_) {
        expectWordAddress_ = false;
        counter_ = byte;
        pageBase_ = static_cast<std::uint8_t>(byte & ~(kPageSize - 1));
        return true;
    }
    const unsigned offset = counter_ & (kPageSize - 1u);
    page_[offset] = byte;
    pageLoaded_ |= 1u << offset;
    counter_ = static_cast<std::uint8_t>(pageBase_ | ((offset + 1) & (kPageSize - 1u)));
    return true;
}

std::uint8_t Eeprom24c02::byteToRead(std::uint64_t /*nowNs*/) {
    return memory_[counter_++];
}

void Eeprom24c02::transferEnded(bool byStop, bool afterWholeByte, std::uint64_t nowNs) {
    if (byStop && afterWholeByte && pageLoaded_ != 0) {
        for (unsigned i = 0; i < kPageSize; ++i)
            if (pageLoaded_ & (1u << i))
                memory_[pageBase_ | i] = page_[i];
        busyUntilNs_ = nowNs + kWriteCycleNs;
    }
    pageLoaded_ = 0;
    expectWordAddress_ = false;
}
