#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <span>

// A serial EEPROM the programmers know: what its datasheet says about its size, its pages,
// its addressing and its write cycle.
//
//   I2C        24C01 24C02 24C04 24C08 24C16 (one word address byte; the 24C04 to 24C16 select
//              256-byte blocks with the low bits of the device address), 24C32 24C64 24C128
//              24C256 24C512 (two word address bytes)
//   Microwire  93C46 93C56 93C66, each in the x8 and the x16 organisation
struct EepromChip {
    enum class Bus {
        I2c,
        Microwire
    };

    const char* name; // "24C02"
    Bus bus;
    int size;                      // bytes
    int pageSize;                  // bytes written in one write cycle (Microwire: one word)
    int addressBytes;              // I2C: word address bytes (1 or 2); Microwire: 0
    int addressBits;               // Microwire: address bits of a command; I2C: 0
    int org;                       // bits per word: 8, or 16 for a 93Cxx in x16
    std::uint64_t writeCycleMaxNs; // the datasheet's maximum write (programming) cycle

    // Every chip, the 93Cxx once per organisation.
    static std::span<const EepromChip> all();
    // The chip of that name (any case); org chooses the organisation of a 93Cxx (8 or 16)
    // and must be 8 for a 24Cxx.
    static std::optional<EepromChip> find(QAnyStringView name, int org = 8);
    // "24C02", "93C46 x16".
    QString title() const;
    // 24C04 to 24C16: the device address bits that select a 256-byte block (0x0E for a 24C16).
    std::uint8_t blockBits() const;
};
