#pragma once

#include "sim/Eeprom93xx.h"

// The test board's 93C46 Microwire serial EEPROM (see Eeprom93xx) in the x8 organisation:
// 128 bytes, 7 address bits; it powers up write-disabled and reads 0xFF everywhere.
class Eeprom93c46 : public Eeprom93xx {
public:
    static constexpr int kSize = 128;

    Eeprom93c46() : Eeprom93xx(*find(u"93C46"), 8) {}
};
