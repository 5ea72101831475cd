#include "bus/I2cBus.h"

void I2cBus::start() {
    lines_.presetHigh();
    lines_.dataHigh();
    lines_.clockHigh();
    lines_.dataLow();
}

void I2cBus::stop() {
    lines_.dataLow();
    lines_.clockHigh();
    lines_.dataHigh();
    lines_.record(LevelRecorder::Line::Data, true);
    lines_.record(LevelRecorder::Line::Clock, true);
}

void I2cBus::sendOne() {
    lines_.clockLow();
    lines_.dataHigh();
    lines_.clockHigh();
    lines_.clockLow();
}

void I2cBus::sendZero() {
    lines_.clockLow();
    lines_.dataLow();
    lines_.clockHigh();
    lines_.clockLow();
}

bool I2cBus::readBit() {
    lines_.dataHigh();
    lines_.clockLow();
    lines_.clockHigh();
    const bool high = lines_.readData();
    lines_.clockLow();
    return high;
}

bool I2cBus::writeByte(int value) {
    unsigned bits = static_cast<unsigned>(value) & 0xFFu; // higher bits are ignored
    for (int bit = 0; bit < 8; ++bit, bits <<= 1) {
        if (bits & 0x80u)
            sendOne();
        else
            sendZero();
    }
    return !readBit();
}

int I2cBus::readByte(bool acknowledge) {
    int value = 0;
    for (int bit = 0; bit < 8; ++bit)
        value = value * 2 + (readBit() ? 1 : 0);
    if (acknowledge)
        sendZero();
    else
        sendOne();
    return value;
}

int I2cBus::readSequentialByte(bool acknowledge) {
    lines_.dataHigh(); // released for the device's bits
    int value = 0;
    for (int bit = 0; bit < 8; ++bit) {
        lines_.clockHigh();
        value = value * 2 + (lines_.readData() ? 1 : 0);
        lines_.clockLow();
    }
    if (acknowledge)
        lines_.dataLow();
    lines_.clockHigh();
    lines_.clockLow();
    return value;
}
