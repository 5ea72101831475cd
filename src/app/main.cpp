// brolmet: the Tamsolvix main window.
#include "actions/Tester.h"
#include "app/BackendOptions.h"
#include "base/Version.h"
#include "files/FileAssociation.h"
#include "files/ProgramIcons.h"
#include "model/FrontPanel.h"
#include "sim/SimulatedBoard.h"
#include "ui/MainWindow.h"
#include "ui/QtDialogs.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QScreen>
#include <QSettings>

#include <cstdio>

namespace {

// The options and arguments of the window's program, --open among them.
void addOptions(QCommandLineParser& parser, const QCommandLineOption& open) {
    parser.setApplicationDescription(
        QStringLiteral("Tamsolvix: drive I2C and Microwire chips through a serial port's "
                       "modem-control lines."));
    parser.addHelpOption();
    parser.addVersionOption();
    BackendOptions::addTo(parser);
    parser.addOption(open);
    parser.addPositionalArgument(
        QStringLiteral("\"FILE\""),
        QStringLiteral("A command file, in double quotes (the first and last characters of the "
                       "command line are dropped)."));
}

// On the simulated board the EEPROM window offers the board's socket.
void offerSocket(Tester& tester, const BackendOptions::Backend& backend) {
    if (!backend.board)
        return;
    tester.eeprom().setSocketHook(
        [board = backend.board](const std::optional<EepromChip>& chip, int address, QString* why) {
            return SimBoardOptions::plug(*board, chip, address, why);
        },
        backend.socket ? std::optional(backend.socket->chip) : std::nullopt);
    if (backend.socket)
        tester.eeprom().setAddress(backend.socket->addressByte);
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("brolmet"));
    // No display name: the window system would add it to every title, which must read exactly
    // as the windows give them. Every window carries the program icon unless it has its own.
    QApplication::setWindowIcon(ProgramIcons::program());
    QApplication::setApplicationVersion(QString::fromLatin1(Version::kText));

    QCommandLineParser parser;
    const QCommandLineOption open(FileAssociation::kOpenOption.mid(2),
                                  QStringLiteral("Load the command file PATH, as it is."),
                                  QStringLiteral("PATH"));
    addOptions(parser, open);
    parser.process(app);

    auto settings = openSettingsStore();
    QString error;
    auto backend = BackendOptions::create(parser, *settings, &error);
    if (!backend.port) {
        std::fprintf(stderr, "brolmet: %s\n", qPrintable(error));
        return 2;
    }
    // In the window a user's pause between runs is time on the board too.
    if (backend.board)
        backend.board->followWallClock(true);

    FrontPanel panel;
    QtDialogs dialogs;
    Tester tester(panel, *backend.port, dialogs);
    tester.adapter().setTiming(backend.timing);
    tester.startUp(Tester::readSettings(*settings));
    offerSocket(tester, backend);

    MainWindow window(panel, tester);
    QObject::connect(&window, &MainWindow::closing, &tester,
                     [&tester, &settings] { tester.shutDown(*settings); });
    dialogs.setParent(&window);
    window.show();
    if (const QScreen* screen = window.screen()) // opens centred on the screen
        window.move(screen->availableGeometry().center() - window.rect().center());

    // The last step of the start-up: a command file named on the command line.
    const QStringList fileArguments =
        parser.isSet(open) ? QStringList{FileAssociation::kOpenOption, parser.value(open)}
                           : parser.positionalArguments();
    if (const auto path = FileAssociation::commandFilePath(fileArguments))
        tester.files().loadAtStartUp(*path);
    const int status = app.exec();
    if (!SimBoardOptions::saveState(backend.board, backend.simState, &error)) {
        std::fprintf(stderr, "brolmet: %s\n", qPrintable(error));
        return 1;
    }
    return status;
}
