#pragma once

#include "sim/Eeprom24xx.h"

#include <cstdint>

// The test board's 24C02 serial EEPROM (see Eeprom24xx): 256 bytes in 8-byte pages, a 5 ms
// write cycle, at the address bytes 0xA0 (write) and 0xA1 (read), address pins tied low.
// Like every part, it reads 0xFF everywhere at power-on.
class Eeprom24c02 : public Eeprom24xx {
public:
    static constexpr std::uint8_t kAddressByte = 0xA0;
    static constexpr std::uint64_t kWriteCycleNs = 5'000'000;
    static constexpr int kPageSize = 8;

    Eeprom24c02() : Eeprom24xx(*find(u"24C02"), kAddressByte) {}
};
