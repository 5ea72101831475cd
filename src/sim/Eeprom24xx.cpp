#include "sim/Eeprom24xx.h"

#include <algorithm>
#include <array>

namespace {

// Page sizes and maximum write cycle times of the AT24C family datasheets (24C01A to 24C16A:
// 5 ms; 24C32 and 24C64: 10 ms; 24C128 to 24C512: 5 ms).
constexpr std::array<Eeprom24xx::Part, 10> kParts{{
    {"24C01", 128, 8, 1, 5'000'000},
    {"24C02", 256, 8, 1, 5'000'000},
    {"24C04", 512, 16, 1, 5'000'000},
    {"24C08", 1024, 16, 1, 5'000'000},
    {"24C16", 2048, 16, 1, 5'000'000},
    {"24C32", 4096, 32, 2, 10'000'000},
    {"24C64", 8192, 32, 2, 10'000'000},
    {"24C128", 16384, 64, 2, 5'000'000},
    {"24C256", 32768, 64, 2, 5'000'000},
    {"24C512", 65536, 128, 2, 5'000'000},
}};

} // namespace

std::span<const Eeprom24xx::Part> Eeprom24xx::parts() {
    return kParts;
}

const Eeprom24xx::Part* Eeprom24xx::find(QAnyStringView name) {
    for (const Part& part : kParts)
        if (QAnyStringView::compare(name, QLatin1StringView(part.name), Qt::CaseInsensitive) == 0)
            return &part;
    return nullptr;
}

std::uint8_t Eeprom24xx::blockBits(const Part& part) {
    if (part.addressBytes != 1 || part.size <= 256)
        return 0;
    return static_cast<std::uint8_t>(((part.size / 256) - 1) << 1);
}

Eeprom24xx::Eeprom24xx(const Part& part, std::uint8_t addressByte)
    : I2cSlave(addressByte, blockBits(part)), part_(part),
      memory_(static_cast<std::size_t>(part.size), 0xFF),
      page_(static_cast<std::size_t>(part.pageSize), 0xFF), writeCycleNs_(part.writeCycleNs) {}

void Eeprom24xx::fill(std::uint8_t value) {
    std::fill(memory_.begin(), memory_.end(), value);
}

bool Eeprom24xx::acknowledgesAddress(bool /*read*/, std::uint64_t nowNs) {
    return !busy(nowNs);
}

void Eeprom24xx::addressed(bool read, std::uint64_t /*nowNs*/) {
    addressBytesDue_ = read ? 0 : part_.addressBytes;
    // The block bits are the high bits of the word address.
    wordAddress_ = (receivedAddress() & blockBits(part_)) >> 1;
    pageLoaded_.reset();
}

bool Eeprom24xx::byteWritten(std::uint8_t byte, std::uint64_t /*nowNs*/) {
    if (addressBytesDue_ > 0) {
        wordAddress_ = (wordAddress_ << 8) | byte;
        if (--addressBytesDue_ == 0) {
            counter_ = static_cast<int>(index(wordAddress_));
            pageBase_ = counter_ & ~(part_.pageSize - 1);
        }
        return true;
    }
    const int offset = counter_ & (part_.pageSize - 1);
    page_[static_cast<std::size_t>(offset)] = byte;
    pageLoaded_.set(static_cast<std::size_t>(offset));
    counter_ = pageBase_ | ((offset + 1) & (part_.pageSize - 1));
    return true;
}

std::uint8_t Eeprom24xx::byteToRead(std::uint64_t /*nowNs*/) {
    const std::uint8_t byte = memory_[static_cast<std::size_t>(counter_)];
    counter_ = static_cast<int>(index(counter_ + 1));
    return byte;
}

void Eeprom24xx::transferEnded(bool byStop, bool afterWholeByte, std::uint64_t nowNs) {
    if (byStop && afterWholeByte && pageLoaded_.any()) {
        for (int i = 0; i < part_.pageSize; ++i)
            if (pageLoaded_.test(static_cast<std::size_t>(i)))
                memory_[static_cast<std::size_t>(pageBase_ | i)] =
                    page_[static_cast<std::size_t>(i)];
        busyUntilNs_ = nowNs + writeCycleNs_;
    }
    pageLoaded_.reset();
    addressBytesDue_ = 0;
}
