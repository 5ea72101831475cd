#include "bus/PortDeviceMap.h"

#include <QSettings>

QString PortDeviceMap::platformDefault(int portNumber) {
#ifdef Q_OS_WIN
    return QStringLiteral("COM%1").arg(portNumber);
#else
    return QStringLiteral("/dev/ttyS%1").arg(portNumber - 1);
#endif
}

QString PortDeviceMap::deviceFor(int portNumber) const {
    if (auto it = single_.find(portNumber); it != single_.end())
        return it.value();
    if (!all_.isEmpty())
        return all_;
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
    if (!ok || number < 1 || number > 255 || device.isEmpty())
        return false;
    map(number, device);
    return true;
}

void PortDeviceMap::readSettings(QSettings& settings) {
    settings.beginGroup(QStringLiteral("Devices"));
    for (int n = 1; n <= 4; ++n) {
        const QString device = settings.value(QStringLiteral("Port%1").arg(n)).toString();
        if (!device.isEmpty() && !single_.contains(n) && all_.isEmpty())
            map(n, device);
    }
    settings.endGroup();
}
