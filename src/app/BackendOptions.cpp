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
    parser.addOption({QStringLiteral("settle"),
                      QStringLiteral("Before each read of CTS and DSR, wait until US "
                                     "microseconds after the last line change (0: off), or "
                                     "measure the time the adapter needs when the port opens "
                                     "(auto). Needed on PL2303 and CH340 adapters."),
                      QStringLiteral("auto|US")});
    parser.addOption({QStringLiteral("min-change"),
                      QStringLiteral("Keep line changes at least US microseconds apart (0: off; "
                                     "5 keeps a fast built-in port within 100 kHz)."),
                      QStringLiteral("US")});
    SimBoardOptions::addTo(parser);
}

namespace {

// The settings' timing with the options over it; false and a message for a bad option.
bool readTiming(const QCommandLineParser& parser, QSettings& settings, Backend& backend,
                QString* error) {
    backend.timing = AdapterTiming::readSettings(settings, &backend.settingsProblems);
    const struct {
        const char* option;
        decltype(&AdapterTiming::withSettle) read;
        QString rule;
    } options[] = {{"settle", &AdapterTiming::withSettle, AdapterTiming::settleRule()},
                   {"min-change", &AdapterTiming::withMinChange, AdapterTiming::minChangeRule()}};
    for (const auto& o : options) {
        const QString name = QLatin1String(o.option);
        if (!parser.isSet(name))
            continue;
        const auto timing = o.read(backend.timing, parser.value(name));
        if (!timing) {
            *error = QStringLiteral("bad --%1 '%2' (%3)").arg(name, parser.value(name), o.rule);
            return false;
        }
        backend.timing = *timing;
    }
    return true;
}

} // namespace

Backend create(const QCommandLineParser& parser, QSettings& settings, QString* error) {
    Backend backend = create(parser.value(QStringLiteral("board")),
                             parser.values(QStringLiteral("device")), settings, error);
    if (backend.port &&
        (!readTiming(parser, settings, backend, error) ||
         !SimBoardOptions::apply(parser, backend.board, &backend.socket, &backend.simState, error)))
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
