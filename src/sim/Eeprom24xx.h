#pragma once

#include "sim/I2cSlave.h"

#include <QString>

#include <bitset>
#include <cstdint>
#include <span>
#include <vector>

// A 24Cxx serial EEPROM, modelled from the family's datasheets.
//
// Addressing: the device address is 1010 A2 A1 A0 R/W. The small parts (24C01 to 24C16) take
// one word address byte; the 24C04, 24C08 and 24C16 have more than 256 bytes and use the low
// device address bits as block bits (the high bits of the memory address) instead of address
// pins: 24C04 bit 1, 24C08 bits 2..1, 24C16 bits 3..1, so a 24C16 answers at every address
// byte 0xA0 to 0xAE. The 24C32 to 24C512 take two word address bytes, high byte first; the
// bits above the part's size are ignored.
//
// - Byte and page write: address, word address, then data bytes into the page buffer of the
//   word address's page; the low address bits wrap inside the page, so a byte past the page's
//   end overwrites its first byte. The stop condition after a whole acknowledged byte starts
//   the self-timed write cycle (the datasheet's maximum write cycle time, or what
//   setWriteCycleNs() gives); a start instead of the stop, or a stop in the middle of a byte,
//   throws the buffer away.
// - During the write cycle the chip acknowledges nothing, not even its address, so a master
//   can poll for the end of the cycle by sending the address until it is acknowledged.
// - Reads return the byte at the address counter and advance it over the whole memory
//   (wrapping from the last byte to 0, across blocks): current-address read (the block bits of
//   a read's address byte are ignored), random read (a write of the word address, then a
//   repeated start and the read address) and sequential read as long as the master
//   acknowledges.
//
// A factory-fresh part reads 0xFF everywhere.
class Eeprom24xx : public I2cSlave {
public:
    struct Part {
        const char* name;           // "24C02"
        int size;                   // bytes
        int pageSize;               // bytes per page write
        int addressBytes;           // word address bytes: 1 or 2
        std::uint64_t writeCycleNs; // the datasheet's maximum write cycle time
    };
    // 24C01, 24C02, 24C04, 24C08, 24C16, 24C32, 24C64, 24C128, 24C256, 24C512.
    static std::span<const Part> parts();
    // The part of that name (any case), or nullptr.
    static const Part* find(QAnyStringView name);
    // The device address bits a part reads as block bits (0x0E for a 24C16).
    static std::uint8_t blockBits(const Part& part);

    // addressByte: where the chip answers with its address pins (the block bits are ignored).
    Eeprom24xx(const Part& part, std::uint8_t addressByte);

    const Part& part() const { return part_; }
    int size() const { return part_.size; }
    std::uint8_t at(int address) const { return memory_[index(address)]; }
    void set(int address, std::uint8_t value) { memory_[index(address)] = value; }
    void fill(std::uint8_t value);
    // The whole memory, for keeping it in a file.
    std::vector<std::uint8_t>& memory() { return memory_; }
    int addressCounter() const { return counter_; }
    void setAddressCounter(int address) { counter_ = address & (part_.size - 1); }
    bool busy(std::uint64_t nowNs) const { return nowNs < busyUntilNs_; }
    // A slow or worn part: every write cycle from now on lasts this long.
    void setWriteCycleNs(std::uint64_t ns) { writeCycleNs_ = ns; }

protected:
    bool acknowledgesAddress(bool read, std::uint64_t nowNs) override;
    void addressed(bool read, std::uint64_t nowNs) override;
    bool byteWritten(std::uint8_t byte, std::uint64_t nowNs) override;
    std::uint8_t byteToRead(std::uint64_t nowNs) override;
    void transferEnded(bool byStop, bool afterWholeByte, std::uint64_t nowNs) override;

private:
    static constexpr int kMaxPage = 128;
    std::size_t index(int address) const {
        return static_cast<std::size_t>(address & (part_.size - 1));
    }

    const Part& part_;
    std::vector<std::uint8_t> memory_;
    std::vector<std::uint8_t> page_;
    std::bitset<kMaxPage> pageLoaded_;
    int pageBase_ = 0;
    int counter_ = 0;
    int addressBytesDue_ = 0; // word address bytes still expected in this write transfer
    int wordAddress_ = 0;
    std::uint64_t writeCycleNs_;
    std::uint64_t busyUntilNs_ = 0;
};
