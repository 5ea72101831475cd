#include "bus/AdapterInfo.h"

#include <QCollator>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSerialPortInfo>

#include <algorithm>

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

#ifndef Q_OS_LINUX
void fillFromListing(AdapterInfo& info, const QSerialPortInfo& port) {
    if (port.hasVendorIdentifier())
        info.vendorId = port.vendorIdentifier();
    if (port.hasProductIdentifier())
        info.productId = port.productIdentifier();
    info.description = port.description();
    info.manufacturer = port.manufacturer();
    info.serialNumber = port.serialNumber();
}
#endif

#ifdef Q_OS_LINUX

QString sysfsText(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).simplified()
                                          : QString();
}

// The USB device a tty hangs from, found by going up from the tty's device to the directory
// with the ids: its ids, product, manufacturer and serial number. Only sysfs is read (the
// platform listing opens every 16550 it finds, to see whether a UART is there).
void fillFromUsbDevice(AdapterInfo& info, const QString& sysRoot) {
    const QString root = QFileInfo(sysRoot).canonicalFilePath();
    QString dir = QFileInfo(sysRoot + QStringLiteral("/class/tty/") +
                            QFileInfo(info.systemDevice).fileName() + QStringLiteral("/device"))
                      .canonicalFilePath();
    for (int up = 0; up < 6 && dir.size() > root.size(); ++up, dir = QFileInfo(dir).path()) {
        bool vendorOk = false;
        bool productOk = false;
        const auto vendor = sysfsText(dir + QStringLiteral("/idVendor")).toUShort(&vendorOk, 16);
        const auto product = sysfsText(dir + QStringLiteral("/idProduct")).toUShort(&productOk, 16);
        if (!vendorOk || !productOk)
            continue;
        info.vendorId = vendor;
        info.productId = product;
        info.description = sysfsText(dir + QStringLiteral("/product"));
        info.manufacturer = sysfsText(dir + QStringLiteral("/manufacturer"));
        info.serialNumber = sysfsText(dir + QStringLiteral("/serial"));
        return;
    }
}

#endif

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
#ifdef Q_OS_LINUX
    fillFromUsbDevice(info, sysRoot);
#else
    for (const QSerialPortInfo& port : QSerialPortInfo::availablePorts())
        if (port.systemLocation() == info.systemDevice)
            fillFromListing(info, port);
#endif
    fillFromSystem(info, sysRoot);
    return info;
}

std::vector<AdapterInfo> AdapterInfo::listPorts(const QString& sysRoot, const QString& byIdDir) {
    std::vector<AdapterInfo> ports;
#ifdef Q_OS_LINUX
    // Every tty with a device behind it (virtual consoles and pseudo-terminals have none),
    // except the UART slots the 8250 driver keeps free: their port type is 0.
    QStringList names = QDir(sysRoot + QStringLiteral("/class/tty"))
                            .entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::System);
    QCollator numeric;
    numeric.setNumericMode(true);
    std::sort(names.begin(), names.end(), numeric);
    for (const QString& name : names) {
        const QString dir = sysRoot + QStringLiteral("/class/tty/") + name;
        if (!QFileInfo::exists(dir + QStringLiteral("/device")) ||
            sysfsText(dir + QStringLiteral("/type")) == u"0")
            continue;
        AdapterInfo info;
        info.device = info.systemDevice = QStringLiteral("/dev/") + name;
        fillFromUsbDevice(info, sysRoot);
        fillFromSystem(info, sysRoot);
        ports.push_back(std::move(info));
    }
#else
    for (const QSerialPortInfo& port : QSerialPortInfo::availablePorts()) {
        AdapterInfo info;
        info.device = info.systemDevice = port.systemLocation();
        fillFromListing(info, port);
        fillFromSystem(info, sysRoot);
        ports.push_back(std::move(info));
    }
#endif
    // The links that keep their names (udev makes them on Linux).
    const QDir byId(byIdDir);
    for (const QString& link : byId.entryList(QDir::Files | QDir::System, QDir::Name)) {
        const QString target = QFileInfo(byId.filePath(link)).symLinkTarget();
        for (AdapterInfo& info : ports)
            if (info.stableName.isEmpty() && info.systemDevice == target)
                info.stableName = byId.filePath(link);
    }
    return ports;
}
