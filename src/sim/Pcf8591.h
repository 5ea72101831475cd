#pragma once

#include "sim/I2cSlave.h"

#include <array>
#include <cstdint>
#include <functional>

// A PCF8591 8-bit A/D and D/A converter at the address bytes 0x90 (write) and 0x91 (read),
// address pins tied low, with VREF = VDD so that one code step is VDD/256.
//
// Writing: the first byte after the address is the control byte
//   bit 6    analog output enable (AOUT drives the DAC value; otherwise AOUT is off)
//   bits 5-4 analog input programming: the board wires AIN0..AIN3 as four single-ended
//            inputs; the differential modes are stored but convert as single-ended inputs
//   bit 2    auto-increment: the channel advances after every conversion (3 wraps to 0)
//   bits 1-0 the A/D channel
// and every further byte of the same transfer goes into the DAC.
//
// Reading: a conversion runs while a byte is sent, so the first byte of a read transfer is the
// result of the previous conversion (0x80 after power-on). Every byte the chip starts to send
// converts the selected channel (then auto-increments); the master sees that result with the
// next byte it reads.
//
// The analog inputs are functions of the virtual time, wired by the board (0 V by default).
class Pcf8591 : public I2cSlave {
public:
    static constexpr std::uint8_t kAddressByte = 0x90;
    static constexpr std::uint8_t kOutputEnable = 0x40;
    static constexpr std::uint8_t kAutoIncrement = 0x04;
    using AnalogInput = std::function<std::uint8_t(std::uint64_t nowNs)>;

    Pcf8591() : I2cSlave(kAddressByte) {}

    // The level at AINn as an 8-bit code (VDD/256 per step).
    void setInput(int channel, AnalogInput input) { inputs_[channel & 3] = std::move(input); }
    std::uint8_t dac() const { return dac_; }
    bool analogOutputEnabled() const { return (control_ & kOutputEnable) != 0; }
    int channel() const { return channel_; }
    // The result the next read transfer starts with.
    std::uint8_t lastConversion() const { return lastConversion_; }

protected:
    void addressed(bool read, std::uint64_t nowNs) override;
    bool byteWritten(std::uint8_t byte, std::uint64_t nowNs) override;
    std::uint8_t byteToRead(std::uint64_t nowNs) override;

private:
    std::array<AnalogInput, 4> inputs_;
    std::uint8_t control_ = 0;
    std::uint8_t dac_ = 0;
    std::uint8_t lastConversion_ = 0x80;
    int channel_ = 0;
    bool expectControl_ = false;
};
