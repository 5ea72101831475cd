#pragma once

#include "bus/I2cBus.h"

#include <QByteArray>

#include <vector>

// A combined I2C transfer as the command-line I2C tools type it: messages in a row, each a
// start (the first) or a repeated start (the ones after it), the 7-bit address with the
// direction bit, then the bytes written or read; one stop at the end. The bytes of a read
// message come in one sequential read (I2cBus::readSequentialByte), every byte acknowledged
// but the message's last.
struct I2cMessage {
    int address = 0; // 7-bit, 0x00 to 0x7F
    bool read = false;
    int length = 0;  // bytes to read (a write's length is data.size())
    QByteArray data; // bytes to write
};

struct I2cTransferResult {
    // The first message that was not acknowledged (-1: all were), and which of its bytes
    // (-1: its address). The transfer stopped there.
    int failedMessage = -1;
    int failedByte = -1;
    std::vector<QByteArray> reads; // the bytes of each read message done, in order

    bool ok() const { return failedMessage < 0; }
};

namespace I2cTransfer {

I2cTransferResult run(I2cBus& bus, const std::vector<I2cMessage>& messages);

} // namespace I2cTransfer
