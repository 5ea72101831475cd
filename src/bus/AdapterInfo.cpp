#include "bus/AdapterInfo.h"

#include <QDir>
#include <QFileInfo>
#include <QSerialPortInfo>

namespace {

using Family = AdapterInfo::Family;

struct DriverFamily {
    const char* driver;
    Family family;
};
// The names the Linux drivers register under (/sys/class/tty/<name>/device/driver).
constexpr DriverFamily kDrivers[] = {
    {"ftdi_sio", Family::Ftdi},      {"cp210x", Family::Cp210x},  {"pl2303", Family::Pl2303},
    {"ch341-uart", Family::Ch34x},   {"ch341", Family::Ch34x},    {"cdc_acm", Family::CdcAcm},
    {"serial8250", Family::Native},  {"serial", Family::Native},  {"8250_pci", Family::Native},
    {"exar_serial", Family::Native}, {"8250_dw", Family::Native},
};

QString familyName(Family f) {
    switch (f) {
    case Family::Ftdi:
        return QStringLiteral("FTDI");
    case Family::Cp210x:
        return QStringLiteral("Silicon Labs CP210x");
    case Family::Pl2303:
        return QStringLiteral("Prolific PL2303");
    case Family::Ch34x:
        return QStringLiteral("WCH CH340/CH341");
    case Family::CdcAcm:
        return QStringLiteral("CDC-ACM");
    case Family::Native:
        return QStringLiteral("built-in 16550 UART");
    case Family::PseudoTerminal:
        return QStringLiteral("pseudo-terminal");
    case Family::Unknown:
        break;
    }
    return QStringLiteral("unknown");
}

// The driver of a tty device from sysfs: the last part of where its "driver" link points.
// Since Linux 6.5 a UART's tty sits below the serial core's port and controller devices
// (drivers "port" and "ctrl"); the hardware's own driver is further up.
QString sysfsDriver(const QString& sysRoot, const QString& ttyName) {
    QString dev =
        QFileInfo(sysRoot + QStringLiteral("/class/tty/") + ttyName + QStringLiteral("/device"))
            .canonicalFilePath();
    for (int up = 0; up < 3 && !dev.isEmpty(); ++up) {
        const QFileInfo link(dev + QStringLiteral("/driver"));
        const QString driver =
            link.isSymLink() ? QFileInfo(link.symLinkTarget()).fileName() : QString();
        if (driver != u"port" && driver != u"ctrl")
            return driver;
        dev = QFileInfo(dev).path();
    }
    return {};
}

void fillFromSystem(AdapterInfo& info, const QString& sysRoot) {
    const QString name = QFileInfo(info.systemDevice).fileName();
    info.driver = sysfsDriver(sysRoot, name);
    info.family = AdapterInfo::familyFromDriver(info.driver);
    if (info.family == Family::Unknown && info.systemDevice.startsWith(QLatin1String("/dev/pts/")))
        info.family = Family::PseudoTerminal;
    if (info.family == Family::Unknown && info.vendorId && info.productId)
        info.family = AdapterInfo::familyFromUsbIds(*info.vendorId, *info.productId);
}

void fillFromListing(AdapterInfo& info, const QSerialPortInfo& port) {
    if (port.hasVendorIdentifier())
        info.vendorId = port.vendorIdentifier();
    if (port.hasProductIdentifier())
        info.productId = port.productIdentifier();
    info.description = port.description();
    info.manufacturer = port.manufacturer();
    info.serialNumber = port.serialNumber();
}

} // namespace

Family AdapterInfo::familyFromDriver(const QString& driver) {
    for (const auto& d : kDrivers)
        if (driver == QLatin1String(d.driver))
            return d.family;
    return Family::Unknown;
}

Family AdapterInfo::familyFromUsbIds(std::uint16_t vendor, std::uint16_t product) {
    switch (vendor) {
    case 0x0403:
        return Family::Ftdi;
    case 0x10C4:
        return Family::Cp210x;
    case 0x067B:
        return Family::Pl2303;
    case 0x1A86: // CH340 and CH341; WCH's other chips have drivers of their own
        return product == 0x7523 || product == 0x7522 || product == 0x5523 ? Family::Ch34x
                                                                           : Family::Unknown;
    default:
        return Family::Unknown;
    }
}

QString AdapterInfo::familyText() const {
    if (driver.isEmpty())
        return familyName(family);
    if (family == Family::Unknown)
        return QStringLiteral("unknown (driver %1)").arg(driver);
    return QStringLiteral("%1 (%2)").arg(familyName(family), driver);
}

QString AdapterInfo::usbIdText() const {
    if (!vendorId || !productId)
        return {};
    return QStringLiteral("%1:%2")
        .arg(*vendorId, 4, 16, QLatin1Char('0'))
        .arg(*productId, 4, 16, QLatin1Char('0'));
}

QString AdapterInfo::warning() const {
    switch (family) {
    case Family::CdcAcm:
        return QStringLiteral("%1 is a CDC-ACM device: it always reports CTS as asserted, so the "
                              "data line cannot be read (no acknowledge, no data in). Use an "
                              "adapter with an FTDI, CP210x, PL2303 or CH340 chip.")
            .arg(device);
    case Family::Pl2303:
    case Family::Ch34x:
        return QStringLiteral("%1 is a %2 adapter: it answers reads from a status it refreshes "
                              "about every millisecond, so a read just after a line change can "
                              "be wrong. Set the settle time to \"auto\".")
            .arg(device, familyName(family));
    default:
        return {};
    }
}

AdapterInfo AdapterInfo::identify(const QString& device, const QString& sysRoot) {
    AdapterInfo info;
    info.device = device;
    const QString resolved = QFileInfo(device).canonicalFilePath();
    info.systemDevice = resolved.isEmpty() ? device : resolved;
    for (const QSerialPortInfo& port : QSerialPortInfo::availablePorts())
        if (port.systemLocation() == info.systemDevice)
            fillFromListing(info, port);
    fillFromSystem(info, sysRoot);
    return info;
}

std::vector<AdapterInfo> AdapterInfo::listPorts() {
    std::vector<AdapterInfo> ports;
    for (const QSerialPortInfo& port : QSerialPortInfo::availablePorts()) {
        AdapterInfo info;
        info.device = info.systemDevice = port.systemLocation();
        fillFromListing(info, port);
        fillFromSystem(info, QStringLiteral("/sys"));
        ports.push_back(std::move(info));
    }
    return ports;
}
