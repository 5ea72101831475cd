#include "bus/DeviceScan.h"

#include <algorithm>

DeviceScan::Acknowledged DeviceScan::run(I2cBus& bus,
                                         const std::function<void(int address)>& progress) {
    Acknowledged acknowledged{};
    for (int a = 0; a < 256; ++a) {
        bus.start();
        if (progress)
            progress(a);
        acknowledged[static_cast<std::size_t>(a)] = bus.writeByte(a);
        bus.stop();
    }
    return acknowledged;
}

DeviceScan::Acknowledged DeviceScan::devices(const Acknowledged& acknowledged) {
    if (std::all_of(acknowledged.begin(), acknowledged.end(), [](bool ack) { return ack; }))
        return {};
    return acknowledged;
}
