// brolmet-cli: Tamsolvix without a window, for scripts and machines without a display.
#include "app/BackendOptions.h"
#include "app/ConsoleDialogs.h"
#include "sim/SimulatedBoard.h"
#include "ui/FrontPanel.h"
#include "ui/Tester.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <QSettings>

#include <cstdio>

namespace {

void printState(const FrontPanel& panel, PortBackend& port) {
    std::printf("  power button: %s\n", qPrintable(panel.text(Ctl::PowerG)));
    QStringList panels;
    for (int n = 1; n <= FrontPanel::kPanels; ++n) {
        const Ctl p = FrontPanel::panel(n);
        panels << (QLatin1Char('[') + panel.text(p) + (panel.isEnabled(p) ? "]" : "] (grey)"));
    }
    std::printf("  status bar:   %s\n", qPrintable(panels.join(QLatin1Char(' '))));
    if (auto* sim = dynamic_cast<SimulatedBoard*>(&port)) {
        const BoardWires& w = sim->wires();
        std::printf("  lines:        port %s, DTR (data out) %s, RTS (clock) %s, data line %s\n",
                    sim->isOpen() ? "open" : "closed", w.dtr ? "high" : "low",
                    w.rts ? "high" : "low", w.data ? "high" : "low");
    }
}

// A short tour on the simulated board: power on, the idle levels of the bus, power off.
int demo(FrontPanel& panel, Tester& tester, PortBackend& port) {
    std::printf("%s\n\nAt start-up:\n", qPrintable(panel.text(Ctl::Fo)));
    printState(panel, port);
    tester.TogglePower();
    std::printf("\nPower switched on (I2C idle: data and clock high after a stop condition):\n");
    printState(panel, port);
    tester.TogglePower();
    std::printf("\nPower switched off (the port is closed, the lines drop):\n");
    printState(panel, port);
    return 0;
}

// The device scan, as "Device Detect" runs it, with a grid of the 256 address bytes.
int detect(FrontPanel& panel, Tester& tester) {
    tester.DeviceDetect();
    QString report = panel.text(Ctl::Dump1);
    std::printf("%s", qPrintable(report.replace(QStringLiteral("\r\n"), QStringLiteral("\n"))));
    std::printf("Hex1: %s\n\n     ", qPrintable(panel.text(Ctl::Hex1)));
    const QStringList acknowledged = panel.text(Ctl::Hex1).split(u' ', Qt::SkipEmptyParts);
    for (int column = 0; column < 16; ++column)
        std::printf(" %X ", column);
    for (int a = 0; a < 256; ++a) {
        if (a % 16 == 0)
            std::printf("\n  %02X:", a);
        const bool ack = acknowledged.contains(QString::number(a, 16).toUpper());
        std::printf(ack ? " %02X" : " --", a);
    }
    std::printf("\n");
    return 0;
}

// The line test: 0 when it passed.
int probe(Tester& tester, ConsoleDialogs& dialogs) {
    tester.LineProbe();
    const bool passed =
        !dialogs.messages().isEmpty() && dialogs.messages().back() == u"Line Probe OK !";
    return passed ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    // No window, but the observation picture draws text: the offscreen platform serves.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("brolmet-cli"));
    QCoreApplication::setApplicationVersion(QStringLiteral("3.0.0"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Tamsolvix without a window.\n\nCommands:\n"
        "  demo     power the adapter, show the idle levels and the status panels, power off\n"
        "  detect   try the 256 I2C address bytes and list the acknowledged ones\n"
        "  probe    the adapter's line test (exit status 1 when it fails)"));
    parser.addHelpOption();
    parser.addVersionOption();
    BackendOptions::addTo(parser);
    parser.addPositionalArgument(QStringLiteral("command"),
                                 QStringLiteral("demo, detect or probe"));
    parser.process(app);

    const QStringList args = parser.positionalArguments();
    const QStringList commands{QStringLiteral("demo"), QStringLiteral("detect"),
                               QStringLiteral("probe")};
    if (args.size() != 1 || !commands.contains(args.front())) {
        std::fprintf(stderr, "brolmet-cli: expected a command (demo, detect, probe); see --help\n");
        return 2;
    }
    auto settings = openSettingsStore();
    QString error;
    auto port = BackendOptions::create(parser, *settings, &error);
    if (!port) {
        std::fprintf(stderr, "brolmet-cli: %s\n", qPrintable(error));
        return 2;
    }
    FrontPanel panel;
    ConsoleDialogs dialogs(stderr);
    Tester tester(panel, *port, dialogs);
    tester.startUp(Tester::readSettings(*settings));
    const QString& command = args.front();
    if (command == u"probe") {
        const int status = probe(tester, dialogs);
        QCoreApplication::processEvents();
        return status;
    }
    const int status = command == u"detect" ? detect(panel, tester) : demo(panel, tester, *port);
    QCoreApplication::processEvents();
    return dialogs.messages().isEmpty() ? status : 1;
}
