#include "model/AdapterTexts.h"

#include "bus/PortBackend.h"
#include "bus/PortDeviceMap.h"

#include <QFileInfo>

namespace AdapterTexts {

namespace {

// The device a path stands for: a link (/dev/serial/by-id/...) is followed, even to a device
// that is not plugged in.
QString resolved(const QString& path) {
    const QFileInfo info(path);
    const QString canonical = info.canonicalFilePath();
    return !canonical.isEmpty() ? canonical : info.isSymLink() ? info.symLinkTarget() : path;
}

} // namespace

QString settlePrompt(const AdapterTiming& timing, const QStringList& adapterNotes) {
    QString prompt = QStringLiteral("Settle time before each read of CTS and DSR, in microseconds "
                                    "(0: off),\r\nor auto to measure it when the port opens.\r\n"
                                    "Actual: ") +
                     timing.settleText();
    if (!adapterNotes.isEmpty())
        prompt += QStringLiteral("\r\n\r\nThe port opened last:\r\n") +
                  adapterNotes.join(QStringLiteral("\r\n"));
    return prompt;
}

QString minChangePrompt(const AdapterTiming& timing) {
    return QStringLiteral("Minimum time per line change, in microseconds (0: off).\r\nActual: ") +
           timing.minChangeText();
}

QString badSettle(const QString& answer) {
    return QStringLiteral("'%1' is not a settle time: give %2. Nothing was changed.")
        .arg(answer, AdapterTiming::settleRule());
}

QString badMinChange(const QString& answer) {
    return QStringLiteral("'%1' is not a minimum time per line change: give %2. Nothing was "
                          "changed.")
        .arg(answer, AdapterTiming::minChangeRule());
}

std::vector<ListedPort> listedPorts(std::vector<AdapterInfo> devices, const PortBackend& port) {
    std::vector<ListedPort> listed;
    for (AdapterInfo& info : devices)
        listed.push_back({std::move(info), {}});
    for (int n = 1; n <= PortDeviceMap::kPorts; ++n) {
        const QString device = port.deviceFor(n);
        const QString target = resolved(device);
        for (ListedPort& l : listed)
            if (!device.isEmpty() && l.info.systemDevice == target)
                l.portNumbers << n;
    }
    return listed;
}

QString portLine(const ListedPort& listed) {
    const AdapterInfo& info = listed.info;
    QStringList parts;
    if (!info.description.isEmpty())
        parts << info.description;
    parts << info.familyText();
    if (!info.usbIdText().isEmpty())
        parts << QStringLiteral("USB ") + info.usbIdText();
    QStringList numbers;
    for (const int n : listed.portNumbers)
        numbers << QString::number(n);
    parts << (numbers.isEmpty()
                  ? QStringLiteral("no port number")
                  : (numbers.size() == 1 ? QStringLiteral("port ") : QStringLiteral("ports ")) +
                        numbers.join(QStringLiteral(", ")));
    QString line = info.device + QStringLiteral(": ") + parts.join(QStringLiteral(", "));
    if (!info.stableName.isEmpty())
        line += QStringLiteral("\r\n    ") + info.stableName;
    return line;
}

QString portList(const std::vector<ListedPort>& ports) {
    if (ports.empty())
        return QStringLiteral("No serial devices found.");
    QStringList lines{QStringLiteral("Serial devices found:")};
    for (const ListedPort& p : ports)
        lines << portLine(p);
    return lines.join(QStringLiteral("\r\n"));
}

QString mappingHelp(const std::vector<ListedPort>& ports) {
    QString example = QStringLiteral("/dev/ttyUSB0");
    for (const ListedPort& p : ports) {
        if (p.portNumbers.isEmpty()) {
            example = p.info.stableName.isEmpty() ? p.info.device : p.info.stableName;
            break;
        }
    }
    return QStringLiteral("Port n opens %1 unless another device is given for it: on the "
                          "command line with --device N=PATH, or in the settings store under "
                          "[Devices], for example Port2=%2. A name under /dev/serial/by-id "
                          "stays the same whichever order the adapters are plugged in.")
#ifdef Q_OS_WIN
        .arg(QStringLiteral("COMn"), example);
#else
        .arg(QStringLiteral("/dev/ttyS<n-1>"), example);
#endif
}

} // namespace AdapterTexts
