#pragma once

#include <QMap>
#include <QString>

class QSettings;

// Which platform device stands behind port number n. By default port n is /dev/ttyS<n-1>
// on Linux and COM<n> on Windows. A USB-serial adapter is reached by mapping a number to
// its device: on the command line (--device PATH for every number, --device N=PATH for one)
// or in the settings store (group "Devices", keys "Port1" to "Port4").
class PortDeviceMap {
public:
    static constexpr int kPorts = 4; // the port numbers a device can be mapped to

    // The path of the device that stands behind port portNumber; a bare name ("ttyUSB0")
    // stands for the device of that name in /dev (on Unix).
    QString deviceFor(int portNumber) const;

    void mapAll(const QString& device) { all_ = device; }
    void map(int portNumber, const QString& device) { single_.insert(portNumber, device); }

    // Applies one --device argument ("PATH", or "N=PATH" with N from 1 to kPorts). Returns
    // false for a malformed one.
    bool applyOption(const QString& value);
    // Reads the "Devices" group of the settings store. Command-line mappings win.
    void readSettings(QSettings& settings);

    static QString platformDefault(int portNumber);

private:
    QString all_;
    QMap<int, QString> single_;
};
