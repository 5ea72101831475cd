#pragma once

#include "sim/I2cSlave.h"

#include <cstdint>

// A PCF8574 8-bit quasi-bidirectional I/O expander at the address bytes 0x40 (write) and
// 0x41 (read), address pins tied low.
//
// Every byte written goes into the output latch. A latch bit of 1 lets the pin float high
// through the chip's weak pull-up, so something outside can still pull it low; a latch bit of
// 0 drives the pin low. A read returns the pin levels, sampled when the chip starts to send the
// byte: a pin reads low when its latch bit is 0 or when something outside pulls it low.
// The latch is 0xFF at power-on (all pins usable as inputs).
class Pcf8574 : public I2cSlave {
public:
    static constexpr std::uint8_t kAddressByte = 0x40;

    Pcf8574() : I2cSlave(kAddressByte) {}

    std::uint8_t latch() const { return latch_; }
    void setLatch(std::uint8_t value) { latch_ = value; }
    // What the outside world does to the pins: a 0 bit pulls that pin low, a 1 bit leaves it.
    void setExternalInputs(std::uint8_t levels) { external_ = levels; }
    std::uint8_t pins() const { return static_cast<std::uint8_t>(latch_ & external_); }

protected:
    void addressed(bool /*read*/, std::uint64_t /*nowNs*/) override {}
    bool byteWritten(std::uint8_t byte, std::uint64_t nowNs) override;
    std::uint8_t byteToRead(std::uint64_t nowNs) override;

private:
    std::uint8_t latch_ = 0xFF;
    std::uint8_t external_ = 0xFF;
};
