#include "bus/PortDeviceMap.h"

#include <QSettings>

QString PortDeviceMap::platformDefault(int portNumber) {
#ifdef Q_OS_WIN
    return QStringLiteral("COM%1").arg(portNumber);
#else
    return QStringLiteral("/dev/ttyS%1").arg(portNumber - 1);
#endif
}

namespace {

// The device the platform opens for a name. On Unix a bare name ("ttyUSB0") stands for the
// device of that name in /dev, as serial ports are named; a path ("/dev/ttyUSB0",
// "./adapter") stands for itself. So every message names the path really tried.
QString devicePath(const QString& name) {
#ifdef Q_OS_WIN
    return name;
#else
    if (name.startsWith(u'/') || name.startsWith(u"./") || name.startsWith(u"../"))
        return name;
    return QStringLiteral("/dev/") + name;
#endif
}

} // namespace

QString PortDeviceMap::deviceFor(int portNumber) const {
    if (auto it = single_.find(portNumber); it != single_.end())
        return devicePath(it.value());
    if (!all_.isEmpty())
        return devicePath(all_);
    return platformDefault(portNumber);
}

bool PortDeviceMap::applyOption(const QString& value) {
    const qsizetype eq = value.indexOf(u'=');
    if (eq < 0) {
        if (value.isEmpty())
            return false;
        mapAll(value);
        return true;
    }
    bool ok = false;
    const int number = value.left(eq).toInt(&ok);
    const QString device = value.mid(eq + 1);
    if (!ok || number < 1 || number > kPorts || device.isEmpty())
        return false;
    map(number, device);
    return true;
}

void PortDeviceMap::readSettings(QSettings& settings) {
    settings.beginGroup(QStringLiteral("Devices"));
    for (int n = 1; n <= kPorts; ++n) {
        const QString device = settings.value(QStringLiteral("Port%1").arg(n)).toString();
        if (!device.isEmpty() && !single_.contains(n) && all_.isEmpty())
            map(n, device);
    }
    settings.endGroup();
}
