#pragma once

#include "bus/I2cBus.h"
#include "eeprom/EepromProgrammer.h"

// A 24Cxx on the I2C bus.
//
// Reading: a random read (the word address written, a repeated start, the read address) and
// one sequential read (I2cBus::readSequentialByte), restarted at each 256-byte block of a
// 24C04 to 24C16, whose block is part of the device address. Writing: one page write per
// page (never across a page, where the chip would wrap), each followed by acknowledge
// polling until the chip answers again or the datasheet's maximum write cycle time has
// passed on the port's clock; the acknowledged poll goes on as the next page's write. Before
// the first page (and before a read) the chip gets the same time to answer, as it may still
// be busy with a write from before.
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
    EepromResult noAcknowledge(const QString& what, int bytes);

    I2cBus bus_;
    int base_; // the device address with the block bits clear
};
