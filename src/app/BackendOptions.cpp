#include "app/BackendOptions.h"

#include "bus/SerialPortBackend.h"
#include "sim/SimulatedBoard.h"

#include <QCommandLineParser>
#include <QSettings>

namespace BackendOptions {

void addTo(QCommandLineParser& parser) {
    parser.addOption({QStringLiteral("board"),
                      QStringLiteral("Use the simulated adapter and test board: sim, or "
                                     "sim:VARIANT with a fault (%1).")
                          .arg(SimulatedBoard::variantNames().join(QStringLiteral(", "))),
                      QStringLiteral("sim[:VARIANT]")});
    parser.addOption({QStringLiteral("device"),
                      QStringLiteral("Use this serial device for every port number (PATH), or "
                                     "for port N, 1 to 4 (N=PATH); may be repeated. A bare name "
                                     "(ttyUSB0) is a device in /dev."),
                      QStringLiteral("PATH|N=PATH")});
    SimBoardOptions::addTo(parser);
}

Backend create(const QCommandLineParser& parser, QSettings& settings, QString* error) {
    Backend backend = create(parser.value(QStringLiteral("board")),
                             parser.values(QStringLiteral("device")), settings, error);
    if (backend.port &&
        !SimBoardOptions::apply(parser, backend.board, &backend.socket, &backend.simState, error))
        return {};
    return backend;
}

Backend create(const QString& board, const QStringList& devices, QSettings& settings,
               QString* error) {
    if (!board.isEmpty()) {
        if (!devices.isEmpty()) {
            *error = QStringLiteral("--board and --device exclude each other");
            return {};
        }
        const QString variant = board.section(u':', 1);
        if (board.section(u':', 0, 0) != u"sim") {
            *error = QStringLiteral("unknown board '%1' (the simulated board is 'sim')").arg(board);
            return {};
        }
        auto sim = SimulatedBoard::fromVariant(variant);
        if (!sim)
            *error = QStringLiteral("unknown board variant '%1' (known: %2)")
                         .arg(variant, SimulatedBoard::variantNames().join(QStringLiteral(", ")));
        SimulatedBoard* simulated = sim.get();
        return {std::move(sim), simulated};
    }
    PortDeviceMap map;
    for (const QString& d : devices) {
        if (!map.applyOption(d)) {
            *error = QStringLiteral("bad --device '%1' (PATH, or N=PATH with N from 1 to %2)")
                         .arg(d)
                         .arg(PortDeviceMap::kPorts);
            return {};
        }
    }
    map.readSettings(settings);
    return {std::make_unique<SerialPortBackend>(map), nullptr};
}

} // namespace BackendOptions

std::unique_ptr<QSettings> openSettingsStore() {
    return std::make_unique<QSettings>(QSettings::NativeFormat, QSettings::UserScope,
                                       QStringLiteral("Pellucor"));
}
