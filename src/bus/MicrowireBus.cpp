#include "bus/MicrowireBus.h"

std::uint8_t MicrowireBus::resetCharacter(int resetTension) {
    if (resetTension < 1 || resetTension > 9)
        return 0x00;
    return static_cast<std::uint8_t>(0xFF00u >> (resetTension - 1));
}

void MicrowireBus::writeBit(bool bit) {
    lines_.clockLow();
    if (bit) {
        lines_.dataHigh();
        lines_.clockHigh();
    } else {
        lines_.dataLow();
        lines_.clockHigh();
        lines_.dataHigh();
    }
}

bool MicrowireBus::readBit() {
    lines_.clockLow();
    const bool high = lines_.readData();
    lines_.clockHigh();
    return high;
}

void MicrowireBus::writeByte(int value) {
    unsigned bits = static_cast<unsigned>(value) & 0xFFu; // higher bits are ignored
    for (int bit = 0; bit < 8; ++bit, bits <<= 1)
        writeBit((bits & 0x80u) != 0);
}

int MicrowireBus::readByte() {
    int value = 0;
    for (int bit = 0; bit < 8; ++bit)
        value = value * 2 + (readBit() ? 1 : 0);
    return value;
}

void MicrowireBus::end() {
    lines_.clockHigh();
    lines_.dataHigh();
    lines_.clockHigh();
    lines_.dataHigh();
}

void MicrowireBus::resetPulse(int resetTension) {
    lines_.presetHigh();
    lines_.sendCharacter(resetCharacter(resetTension)); // nothing after a failed power-on
    lines_.dataHigh();
    lines_.clockHigh();
    lines_.dataLow();
    if (yield_)
        yield_();
}
