#pragma once

#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

// What stands behind a serial device: the adapter family where the platform tells (on Linux the
// kernel driver in sysfs, elsewhere the USB vendor and product id), and what that means for
// the tool.
struct AdapterInfo {
    enum class Family {
        Unknown,
        Ftdi,           // ftdi_sio: lines set and read by a transfer the call waits for
        Cp210x,         // cp210x: the same
        Pl2303,         // pl2303: reads answered from a cached status
        Ch34x,          // ch341: reads answered from a cached status
        CdcAcm,         // cdc_acm: CTS always reported asserted
        Native,         // 8250/16550 UART: register accesses, microseconds
        PseudoTerminal, // no modem lines at all
    };

    QString device;       // the device as given (a /dev/serial/by-id link, COM3, ...)
    QString systemDevice; // what it resolves to (/dev/ttyUSB0); the same when it is no link
    QString driver;       // the kernel driver, empty where the platform does not tell
    std::optional<std::uint16_t> vendorId;
    std::optional<std::uint16_t> productId;
    // From the port listing (empty otherwise).
    QString description;
    QString manufacturer;
    QString serialNumber;
    // A name under /dev/serial/by-id that stands for the same device and keeps its name
    // whichever order the adapters were plugged in (from the port listing; empty otherwise).
    QString stableName;
    Family family = Family::Unknown;

    // "FTDI (ftdi_sio)", "Prolific PL2303 (pl2303)", "unknown (driver xyz)".
    QString familyText() const;
    // "0403:6001", empty without ids.
    QString usbIdText() const;
    // The adapter answers reads from a cached status: it needs a settle time.
    bool needsSettle() const { return family == Family::Pl2303 || family == Family::Ch34x; }
    // What the user must know before using it; empty when there is nothing.
    QString warning() const;

    static Family familyFromDriver(const QString& driver);
    static Family familyFromUsbIds(std::uint16_t vendor, std::uint16_t product);

    // Identifies the adapter behind a device path without opening it. `sysRoot` is where
    // sysfs is mounted (a test gives a tree of its own).
    static AdapterInfo identify(const QString& device,
                                const QString& sysRoot = QStringLiteral("/sys"));
    // The machine's serial devices, as the platform lists them. Nothing is opened: on Linux
    // the listing comes from sysfs alone (a UART slot without a UART behind it is left out),
    // elsewhere from QSerialPortInfo.
    static std::vector<AdapterInfo>
    listPorts(const QString& sysRoot = QStringLiteral("/sys"),
              const QString& byIdDir = QStringLiteral("/dev/serial/by-id"));
};
