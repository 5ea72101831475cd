#include "bus/DeviceScan.h"

#include "base/Numbers.h"

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

DeviceScan::Report DeviceScan::report(const Acknowledged& acknowledged) {
    QString decimal;
    QString hex;
    bool someSilent = false;
    for (int a = 0; a < 256; ++a) {
        if (acknowledged[static_cast<std::size_t>(a)]) {
            decimal += QLatin1Char(' ') + numberText(a);
            hex += QString::number(a, 16).toUpper() + QLatin1Char(' ');
        } else {
            someSilent = true;
        }
    }
    Report r;
    if (decimal.isEmpty()) {
        r.dump = QStringLiteral("Acknowledge Not Found !");
    } else if (!someSilent) {
        // The data line never rose: that is no device at all, not 256 of them.
        r.dump = QStringLiteral("Device Not Found !");
        hex.clear();
    } else {
        r.dump = QStringLiteral("Acknowledge Found !\r\nAddres: ") + decimal;
    }
    r.dump += QStringLiteral("\r\n");
    r.hex = hex;
    return r;
}
