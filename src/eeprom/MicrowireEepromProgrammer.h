#pragma once

#include "bus/MicrowireBus.h"
#include "eeprom/EepromProgrammer.h"

#include <cstdint>

// A 93Cxx on the Microwire bus, selected by the board's reset circuit: each reset character
// on TXD raises the chip select at once and holds it for n bit times at 2400 baud (n = the
// reset value), and a new character drops it briefly first. Every command therefore gets one
// chip select window of its own, from the reset pulse on.
//
// The window is measured on the port's clock: a command counts only when its last bit (for a
// read: each word's last sample) came before the window's end. A READ goes on word by word
// while one more word still fits, and a long read takes as many windows as it needs. A command
// that does not fit into a window at all ends the work with a message: a slow adapter gets no
// wrong data, and no command that the chip could have seen cut off.
//
// Writing: EWEN, then one WRITE per word, each followed by windows that read the ready/busy
// status until the chip is ready or the datasheet's maximum programming time has passed;
// EWDS at the end, also after a failure or a cancel. Erasing: EWEN, ERAL, the status, EWDS.
// In x16 a word is two bytes, the high one first; writes must cover whole words.
class MicrowireEepromProgrammer : public EepromProgrammer {
public:
    MicrowireEepromProgrammer(const EepromChip& chip, PortLines& lines, const Options& options);

    // The chip select window of a reset value, in nanoseconds (n bit times at 2400 baud).
    static std::uint64_t windowNs(int resetValue);

protected:
    EepromResult readRange(int from, int count, QByteArray* out, const Progress& progress) override;
    EepromResult writeRange(int from, const QByteArray& data, const Progress& progress) override;
    EepromResult eraseAll(const Progress& progress) override;
    QString chipText() const override;

private:
    enum class Wait {
        Ready,
        TimedOut,
        TooSlow
    };

    std::uint64_t now() const;
    // A new chip select window: the reset pulse (data ends low, clock high).
    void select();
    bool inWindow() const { return now() - windowStartNs_ <= windowNs_; }
    // Start bit, opcode, address.
    void command(unsigned opcode, unsigned address);
    void writeBits(unsigned value, int count);
    unsigned readBits(int count);
    // The write-enable or -disable command in a window of its own; false when it did not fit.
    bool enable(bool on);
    // Reads the ready/busy status in fresh windows until ready.
    Wait waitReady();
    EepromResult tooSlow(const QString& what, std::uint64_t operations, int bytes);
    // The result of a programming command's wait, EWDS sent.
    EepromResult finishProgramming(Wait wait, const QString& what, int bytes);

    MicrowireBus bus_;
    std::uint64_t windowNs_;
    std::uint64_t windowStartNs_ = 0;
};
