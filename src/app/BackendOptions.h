#pragma once

#include "app/SimBoardOptions.h"
#include "bus/AdapterTiming.h"
#include "bus/PortBackend.h"

#include <QString>
#include <QStringList>

#include <memory>

class QCommandLineParser;
class QSettings;
class SimulatedBoard;

// The command-line options that choose what stands behind the port, shared by the window and
// the command-line tool:
//   --board sim[:VARIANT]   the simulated adapter and test board (VARIANT: a fault)
//   --device PATH           a real serial device for every port number
//   --device N=PATH         a real serial device for port N (may be repeated)
//   --settle auto|US        the adapter's settle time, --min-change US its minimum time per
//                           line change (over the settings group "Adapter")
// Without them, port n is the platform's n-th serial port (/dev/ttyS<n-1>, COM<n>), unless
// the settings store maps it ("Devices/Port1" to "Devices/Port4"). With --board sim, the
// board's socket and state file (SimBoardOptions: --socket, --sim-state).
namespace BackendOptions {

// What stands behind the port.
struct Backend {
    std::unique_ptr<PortBackend> port; // nullptr after a bad option
    SimulatedBoard* board = nullptr;   // port itself, when it is the simulated board
    // The adapter's timing from the settings and the options (for Tester::adapter()), and
    // what could not be read from the settings (0 was taken instead).
    AdapterTiming timing{};
    QStringList settingsProblems{};
    std::optional<SimBoardOptions::Socket> socket = std::nullopt; // --socket
    QString simState = {};                                        // --sim-state
};

void addTo(QCommandLineParser& parser);
// Builds the backend the options ask for; no port and a message for a bad option.
Backend create(const QCommandLineParser& parser, QSettings& settings, QString* error);
Backend create(const QString& board, const QStringList& devices, QSettings& settings,
               QString* error);

} // namespace BackendOptions

// The per-user settings store of the tool: application "Pellucor".
std::unique_ptr<QSettings> openSettingsStore();
