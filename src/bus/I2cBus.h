#pragma once

#include "bus/PortLines.h"

// I2C conditions, bits and bytes, each a fixed sequence of the five line operations, most
// significant bit first, without any delay. The system is always the master; a device answers
// only by pulling data low. The clock is only driven, never read back: no clock stretching,
// no arbitration.
//
// One addressed write, for reference (D data, C clock, R read):
//   start D1 C1 D0 | each bit C0 D(bit) C1 C0 | acknowledge D1 C0 C1 R C0 | stop D0 C1 D1
class I2cBus {
public:
    explicit I2cBus(PortLines& lines) : lines_(lines) {}

    // Data falls while the clock is high. Leaves clock high, data low.
    void start();
    // Data rises while the clock is high. Leaves both lines high (idle). While analysis is
    // on, one more high record for each line draws the idle after the stop.
    void stop();
    // The data line changes while the clock is low; the device samples it on the rising edge.
    // Both leave the clock low and data at the bit's level.
    void sendOne();
    void sendZero();
    // Releases data, clocks once and samples while the clock is high. Leaves clock low.
    bool readBit();
    // Sends the low eight bits of value and returns the acknowledge bit of the ninth clock:
    // true when the device acknowledged (held data low).
    bool writeByte(int value);
    // Reads eight bits, then acknowledges (a 0 bit: more to come) or not (a 1 bit: the last).
    int readByte(bool acknowledge);
    // One byte of a sequential read (the bytes after a read address, read in a row) with the
    // fewest line operations the bus allows: data released once (it is low after the master's
    // acknowledge of the byte before), then for each bit clock high, sample, clock low; then
    // the acknowledge (data low: more to come) or not (data stays high: the last) in a ninth
    // clock. 28 line operations, 27 for the last byte, where readByte, which releases data and
    // lowers the clock again before every bit, takes 44. Starts and leaves the clock low, as
    // the acknowledge of the read address and every byte's ninth clock leave it.
    int readSequentialByte(bool acknowledge);

private:
    PortLines& lines_;
};
