#include "bus/I2cTransfer.h"

namespace I2cTransfer {

I2cTransferResult run(I2cBus& bus, const std::vector<I2cMessage>& messages) {
    I2cTransferResult result;
    const auto failed = [&](int message, int byte) {
        bus.stop();
        result.failedMessage = message;
        result.failedByte = byte;
        return result;
    };
    for (int m = 0; m < static_cast<int>(messages.size()); ++m) {
        const I2cMessage& message = messages[static_cast<std::size_t>(m)];
        bus.start();
        if (!bus.writeByte((message.address << 1) | (message.read ? 1 : 0)))
            return failed(m, -1);
        if (message.read) {
            QByteArray bytes;
            bytes.reserve(message.length);
            for (int i = 0; i < message.length; ++i)
                bytes.append(static_cast<char>(bus.readSequentialByte(i + 1 < message.length)));
            result.reads.push_back(bytes);
            continue;
        }
        for (int i = 0; i < message.data.size(); ++i)
            if (!bus.writeByte(static_cast<std::uint8_t>(message.data[i])))
                return failed(m, i);
    }
    bus.stop();
    return result;
}

} // namespace I2cTransfer
