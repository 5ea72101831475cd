#pragma once

#include "bus/I2cBus.h"
#include "eeprom/EepromProgrammer.h"

// A 24Cxx on the I2C bus.
//
// Reading: a random read (the word address written, a repeated start, the read address) and
// one sequential read, restarted at each 256-byte block of a 24C04 to 24C16, whose block is
// part of the device address. Writing: one page write per page (never across a page, where
// the chip would wrap), each followed by acknowledge polling until the chip answers again or
// the datasheet's maximum write cycle time has passed on the port's clock; the acknowledged
// poll goes on as the next page's write. Before the first page (and before a read) the chip
// gets the same time to answer, as it may still be busy with a write from before.
class I2cEepromProgrammer : public EepromProgrammer {
public:
    I2cEepromProgrammer(const EepromChip& chip, PortLines& lines, const Options& options);

protected:
    EepromResult readRange(int from, int count, QByteArray* out, const Progress& progress) override;
    EepromResult writeRange(int from, const QByteArray& data, const Progress& progress) override;
    EepromResult eraseAll(const Progress& progress) override;
    QString chipText() const override;

private:
    int deviceAddress(int address) const;
    // Start and the device address until the chip acknowledges (true: the transfer is open)
    // or the write cycle time has passed (false: the bus is stopped).
    bool waitForAcknowledge(int device);
    bool sendWordAddress(int address);
    // One byte of a sequential read with the fewest line operations the bus allows: data
    // released once, each bit clock high, sample, clock low, then the acknowledge (data low)
    // or not (data stays high) in a ninth clock. 28 line operations (27 for the last byte)
    // where I2cBus::readByte, which releases data and lowers the clock again before every
    // bit, takes 44. Leaves the clock low.
    int readByte(bool acknowledge);
    EepromResult noAcknowledge(const QString& what, int bytes);

    I2cBus bus_;
    int base_; // the device address with the block bits clear
};
