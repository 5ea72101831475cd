// brolmet-cli: Tamsolvix without a window, for scripts and machines without a display.
#include "actions/Tester.h"
#include "app/BackendOptions.h"
#include "app/CliArguments.h"
#include "app/CliEeprom.h"
#include "app/CliPorts.h"
#include "app/CliReport.h"
#include "app/CliRun.h"
#include "app/ConsoleDialogs.h"
#include "base/LineEnds.h"
#include "base/Version.h"
#include "model/FrontPanel.h"
#include "sim/SimulatedBoard.h"

#include <QCommandLineParser>
#include <QFile>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QSettings>
#include <QThread>

#include <cstdio>

namespace {

void printState(const FrontPanel& panel, const SimulatedBoard* board) {
    std::printf("  power button: %s\n", qPrintable(panel.text(Ctl::PowerG)));
    std::printf("  status bar:   %s\n", qPrintable(CliReport::statusBar(panel)));
    if (board) {
        const BoardWires& w = board->wires();
        std::printf("  lines:        port %s, DTR (data out) %s, RTS (clock) %s, data line %s\n",
                    board->isOpen() ? "open" : "closed", w.dtr ? "high" : "low",
                    w.rts ? "high" : "low", w.data ? "high" : "low");
    }
}

// A short tour on the simulated board: power on, the idle levels of the bus, power off.
void demo(FrontPanel& panel, Tester& tester, const SimulatedBoard* board) {
    std::printf("%s\n\nAt start-up:\n", qPrintable(panel.text(Ctl::Fo)));
    printState(panel, board);
    tester.power().TogglePower();
    std::printf("\nPower switched on (I2C idle: data and clock high after a stop condition):\n");
    printState(panel, board);
    tester.power().TogglePower();
    std::printf("\nPower switched off (the port is closed, the lines drop):\n");
    printState(panel, board);
}

// What "Device Detect" showed, with a grid of the 256 address bytes in which every
// acknowledged one stands (even when the report says "Device Not Found !").
void printDetected(const FrontPanel& panel, const DeviceScan::Acknowledged& devices) {
    std::printf("%s", qPrintable(withLineFeeds(panel.text(Ctl::Dump1))));
    std::printf("Hex1: %s\n\n     ", qPrintable(panel.text(Ctl::Hex1)));
    for (int column = 0; column < 16; ++column)
        std::printf(" %X ", column);
    for (int a = 0; a < 256; ++a) {
        if (a % 16 == 0)
            std::printf("\n  %02X:", a);
        std::printf(devices[static_cast<std::size_t>(a)] ? " %02X" : " --", a);
    }
    std::printf("\n");
}

int usageError(QString why) {
    while (why.endsWith(u'.'))
        why.chop(1);
    std::fprintf(stderr, "brolmet-cli: %s; see --help\n", qPrintable(why));
    return 2;
}

void addOptions(QCommandLineParser& parser) {
    parser.setApplicationDescription(QStringLiteral(
        "Tamsolvix without a window.\n\nCommands:\n"
        "  demo     power the adapter, show the idle levels and the status panels, power off\n"
        "  detect   try the 256 I2C address bytes and list the acknowledged ones\n"
        "  probe    the adapter's line test (exit status 1 when it fails)\n"
        "  ports    list the machine's serial devices and the port numbers that open them\n"
        "           (nothing is opened)\n"
        "  run FILE.scm [FILE2.scm ...]\n"
        "           load each command file as Open Commands does, switch the power on and run\n"
        "           it; then show the status panels, read-outs, indicator and cells\n"
        "  eeprom read|write|verify|erase --chip CHIP [--address 0xA0] [--org 8|16] [FILE]\n"
        "           a whole serial EEPROM into FILE, FILE into it (read back unless\n"
        "           --no-verify), chip against FILE, or every byte 0xFF; FILE: .hex Intel HEX,\n"
        "           .txt a hex dump (read only), anything else binary\n"
        "  transfer MESSAGE...\n"
        "           one combined I2C transfer as i2ctransfer types it: w2@0x50 0x00 0x10 r4@0x50\n"
        "           (7-bit addresses); the bytes read are printed in hex\n"
        "  dump ADDRESS\n"
        "           the 256 bytes of the device at a 7-bit address as a table\n\n"
        "An existing file is kept unless --force is given; a named pipe, a terminal or\n"
        "/dev/stdout is written in place. A file name that begins with '-' goes after '--'.\n\n"
        "On a serial port, what is found about the adapter (its family, a warning, the\n"
        "settle time measured) goes to standard error when the port opens.\n\n"
        "Exit status: 0 when no message box was shown, 1 when one was (probe: when the line\n"
        "test failed) or an output file could not be written (eeprom, transfer, dump: when\n"
        "the chip did not answer, a verify failed or a file could not be read or written),\n"
        "2 for a usage error."));
    // "-dash.scm" is one unknown option, not seven.
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.addHelpOption();
    parser.addVersionOption();
    BackendOptions::addTo(parser);
    parser.addOption({QStringLiteral("json"),
                      QStringLiteral("Print one JSON object with the whole state on standard "
                                     "output instead of text.")});
    CliRun::addOptions(parser);
    CliEeprom::addOptions(parser);
    parser.addPositionalArgument(
        QStringLiteral("command"),
        QStringLiteral("demo, detect, probe, ports, run, eeprom, transfer or dump"));
    parser.addPositionalArgument(
        QStringLiteral("arguments"),
        QStringLiteral("run: command files; eeprom: the operation and FILE; transfer: the "
                       "messages; dump: the address"),
        QStringLiteral("[ARGUMENTS ...]"));
}

// What the command line asks for.
struct Command {
    QString name;                           // demo, detect, probe, ports or run
    std::optional<CliRun::Options> options; // run's
    bool json = false;
    CliEeprom::Tool tool; // eeprom, transfer, dump
};

// The command and its arguments; nothing and the reason for a usage error.
std::optional<Command> parseCommand(const QCommandLineParser& parser, QString* why) {
    QStringList args = parser.positionalArguments();
    const QStringList commands =
        QStringList{QStringLiteral("demo"), QStringLiteral("detect"), QStringLiteral("probe"),
                    QStringLiteral("ports"), QStringLiteral("run")} +
        CliEeprom::commands();
    if (args.isEmpty() || !commands.contains(args.front())) {
        *why = QStringLiteral("expected a command (%1)").arg(commands.join(u", "));
        return std::nullopt;
    }
    Command command{args.takeFirst(), std::nullopt, parser.isSet(QStringLiteral("json")), {}};
    if (CliEeprom::commands().contains(command.name)) {
        command.tool = CliEeprom::parse(parser, command.name, args, command.json, why);
        if (!command.tool)
            return std::nullopt;
    } else if (CliEeprom::anyOptionSet(parser)) {
        *why = QStringLiteral("--chip, --address, --org and --no-verify belong to eeprom");
        return std::nullopt;
    } else if (command.name == u"run") {
        command.options = CliRun::parse(parser, args, why);
        if (!command.options)
            return std::nullopt;
    } else if (!args.isEmpty()) {
        *why = command.name + QStringLiteral(" takes no arguments");
        return std::nullopt;
    } else if (CliRun::anyOptionSet(parser)) {
        *why = QStringLiteral("--sequence, --repeat, --slider, --bmp, --vcd, --save and "
                              "--force belong to run");
        return std::nullopt;
    }
    return command;
}

// Carries out the command and reports it; the exit status.
int execute(const Command& command, Tester& tester, ConsoleDialogs& dialogs,
            SimulatedBoard* board) {
    FrontPanel& panel = tester.panel();
    int status = 0;
    DeviceScan::Acknowledged devices{};
    if (command.name == u"probe") {
        status = tester.diagnostics().LineProbe().passed ? 0 : 1;
    } else if (command.name == u"detect") {
        devices = tester.diagnostics().DeviceDetect();
        if (!command.json)
            printDetected(panel, devices);
    } else if (command.name == u"demo") {
        if (command.json) {
            tester.power().TogglePower();
            tester.power().TogglePower();
        } else {
            demo(panel, tester, board);
        }
    } else {
        const auto wait = [board](int ms) {
            if (board)
                board->elapse(static_cast<std::uint64_t>(ms) * 1'000'000);
            else
                QThread::msleep(static_cast<unsigned long>(ms));
        };
        const bool written = CliRun(tester, dialogs, wait).execute(*command.options);
        if (!command.json)
            CliReport(panel, tester, dialogs.messages()).printText(stdout);
        status = written ? 0 : 1;
    }
    QCoreApplication::processEvents();
    if (command.name != u"probe" && !dialogs.messages().isEmpty())
        status = 1;

    if (command.json) {
        QJsonObject report = CliReport(panel, tester, dialogs.messages()).json();
        if (command.name == u"detect")
            report.insert(QStringLiteral("acknowledged"), CliReport::acknowledged(devices));
        std::fputs(QJsonDocument(report).toJson(QJsonDocument::Indented).constData(), stdout);
    }
    return status;
}

// --help and --version end the program here.
void showHelpOrVersion(QCommandLineParser& parser) {
    if (parser.isSet(QStringLiteral("help")) || parser.isSet(QStringLiteral("help-all")))
        parser.showHelp(0);
    if (parser.isSet(QStringLiteral("version")))
        parser.showVersion();
}

// The adapter's timing; on a real port, what its opening finds goes to standard error.
void tellAboutTheAdapter(Tester& tester, const BackendOptions::Backend& backend) {
    tester.adapter().setTiming(backend.timing);
    if (!backend.board)
        tester.adapter().setAnnouncer([](const QStringList& notes) {
            for (const QString& note : notes)
                std::fprintf(stderr, "brolmet-cli: %s\n", qPrintable(note));
        });
}

} // namespace

int main(int argc, char** argv) {
    qInstallMessageHandler(CliArguments::qtMessage);
    // No window, but the observation picture draws text: the offscreen platform serves.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("brolmet-cli"));
    QCoreApplication::setApplicationVersion(QString::fromLatin1(Version::kText));

    QCommandLineParser parser;
    addOptions(parser);
    if (const QString why = CliArguments::undecodable(argc, argv); !why.isEmpty())
        return usageError(why);
    if (!parser.parse(QCoreApplication::arguments()))
        return usageError(parser.unknownOptionNames().isEmpty()
                              ? parser.errorText()
                              : CliArguments::unknownOption(parser, QCoreApplication::arguments()));
    showHelpOrVersion(parser);
    QString why;
    const std::optional<Command> command = parseCommand(parser, &why);
    if (!command)
        return usageError(why);

    auto settings = openSettingsStore();
    auto backend = BackendOptions::create(parser, *settings, &why);
    if (!backend.port)
        return usageError(why);
    for (const QString& problem : backend.settingsProblems)
        std::fprintf(stderr, "brolmet-cli: %s\n", qPrintable(problem));
    if (command->name == u"ports")
        return CliPorts::print(*backend.port, command->json, stdout);
    FrontPanel panel;
    ConsoleDialogs dialogs(stderr);
    Tester tester(panel, *backend.port, dialogs);
    tellAboutTheAdapter(tester, backend);
    // As the window starts; the settings are never written back.
    tester.startUp(Tester::readSettings(*settings));
    int status = command->tool ? command->tool(tester, dialogs)
                               : execute(*command, tester, dialogs, backend.board);
    if (!SimBoardOptions::saveState(backend.board, backend.simState, &why)) {
        std::fprintf(stderr, "brolmet-cli: %s\n", qPrintable(why));
        status = std::max(status, 1);
    }
    return status;
}
