#pragma once

#include "bus/AdapterInfo.h"
#include "bus/AdapterTiming.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <vector>

class PortBackend;

// What the adapter's timing dialog and the list of the machine's serial devices show.
namespace AdapterTexts {

inline const QString kTimingTitle = QStringLiteral("Adapter Timing.");

// The two questions of "Adapter Timing...", with the value in effect and, in the first, what
// is known of the adapter opened last (AdapterInfo and the settle measurement, one line each).
QString settlePrompt(const AdapterTiming& timing, const QStringList& adapterNotes);
QString minChangePrompt(const AdapterTiming& timing);
// An answer that is no settle time (or minimum time): nothing changes.
QString badSettle(const QString& answer);
QString badMinChange(const QString& answer);

// A serial device of the machine and the port numbers that open it (none: not mapped).
struct ListedPort {
    AdapterInfo info;
    QList<int> portNumbers;
};
std::vector<ListedPort> listedPorts(std::vector<AdapterInfo> devices, const PortBackend& port);

// "/dev/ttyUSB0: FT232R USB UART, FTDI (ftdi_sio), USB 0403:6001, port 2", and the name that
// stays on a second, indented line.
QString portLine(const ListedPort& listed);
// The list of "Serial Devices...", and how to give a device a port number (the detail).
QString portList(const std::vector<ListedPort>& ports);
QString mappingHelp(const std::vector<ListedPort>& ports);

} // namespace AdapterTexts
