#pragma once

#include "bus/PortLines.h"

// I2C conditions, bits and bytes made of the five line operations, most significant bit
// first. The system is always the master; a device answers only by pulling data low. The
// clock is only driven, never read back: no clock stretching, no arbitration.
class I2cBus {
public:
    explicit I2cBus(PortLines& lines) : lines_(lines) {}

    // Stop condition: data rises while the clock is high. Leaves both lines high (idle).
    // While analysis is on, one more high record for each line draws the idle after the stop.
    void stop();

private:
    PortLines& lines_;
};
