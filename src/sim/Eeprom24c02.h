#pragma once

#include "sim/I2cSlave.h"

#include <array>
#include <cstdint>

// A 24C02 serial EEPROM: 256 bytes behind the address bytes 0xA0 (write) and 0xA1 (read),
// address pins tied low.
//
// - Byte and page write: address, word address, then up to eight data bytes into the page
//   buffer of the word address's 8-byte page; the low three bits of the address counter wrap
//   inside the page, so a ninth byte overwrites the first. The stop condition after a whole
//   acknowledged byte starts the self-timed write cycle (kWriteCycleNs of virtual time);
//   a start instead of the stop, or a stop in the middle of a byte, throws the buffer away.
// - During the write cycle the chip acknowledges nothing, not even its address, so a master
//   can poll for the end of the cycle by sending the address until it is acknowledged.
// - Reads return the byte at the address counter and advance it, wrapping from 255 to 0:
//   current-address read, random read (a write of the word address, then a repeated start and
//   the read address) and sequential read as long as the master acknowledges.
//
// A factory-fresh part reads 0xFF everywhere, and so does the board's EEPROM at power-on.
class Eeprom24c02 : public I2cSlave {
public:
    static constexpr std::uint8_t kAddressByte = 0xA0;
    static constexpr std::uint64_t kWriteCycleNs = 5'000'000;
    static constexpr int kPageSize = 8;

    Eeprom24c02();

    std::uint8_t at(int address) const { return memory_[address & 0xFF]; }
    void set(int address, std::uint8_t value) { memory_[address & 0xFF] = value; }
    void fill(std::uint8_t value) { memory_.fill(value); }
    std::uint8_t addressCounter() const { return counter_; }
    void setAddressCounter(std::uint8_t address) { counter_ = address; }
    bool busy(std::uint64_t nowNs) const { return nowNs < busyUntilNs_; }

protected:
    bool acknowledgesAddress(bool read, std::uint64_t nowNs) override;
    void addressed(bool read, std::uint64_t nowNs) override;
    bool byteWritten(std::uint8_t byte, std::uint64_t nowNs) override;
    std::uint8_t byteToRead(std::uint64_t nowNs) override;
    void transferEnded(bool byStop, bool afterWholeByte, std::uint64_t nowNs) override;

private:
    std::array<std::uint8_t, 256> memory_{};
    std::array<std::uint8_t, kPageSize> page_{};
    unsigned pageLoaded_ = 0; // one bit per byte of the page buffer
    std::uint8_t pageBase_ = 0;
    std::uint8_t counter_ = 0;
    bool expectWordAddress_ = false;
    std::uint64_t busyUntilNs_ = 0;
};
