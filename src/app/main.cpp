// brolmet: the Tamsolvix main window.
#include "app/BackendOptions.h"
#include "files/FileAssociation.h"
#include "files/ProgramIcons.h"
#include "sim/SimulatedBoard.h"
#include "ui/FrontPanel.h"
#include "ui/MainWindow.h"
#include "ui/QtDialogs.h"
#include "ui/Tester.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QScreen>
#include <QSettings>

#include <cstdio>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("brolmet"));
    // No display name: the window system would add it to every title, which must read exactly
    // as the windows give them. Every window carries the program icon unless it has its own.
    QApplication::setWindowIcon(ProgramIcons::program());
    QApplication::setApplicationVersion(QStringLiteral("3.0.0"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Tamsolvix: drive I2C and Microwire chips through a serial port's "
                       "modem-control lines."));
    parser.addHelpOption();
    parser.addVersionOption();
    BackendOptions::addTo(parser);
    const QCommandLineOption open(FileAssociation::kOpenOption.mid(2),
                                  QStringLiteral("Load the command file PATH, as it is."),
                                  QStringLiteral("PATH"));
    parser.addOption(open);
    parser.addPositionalArgument(
        QStringLiteral("\"FILE\""),
        QStringLiteral("A command file, in double quotes (the first and last characters of the "
                       "command line are dropped)."));
    parser.process(app);

    auto settings = openSettingsStore();
    QString error;
    auto port = BackendOptions::create(parser, *settings, &error);
    if (!port) {
        std::fprintf(stderr, "brolmet: %s\n", qPrintable(error));
        return 2;
    }
    // In the window a user's pause between runs is time on the board too.
    if (auto* sim = dynamic_cast<SimulatedBoard*>(port.get()))
        sim->followWallClock(true);

    FrontPanel panel;
    QtDialogs dialogs;
    Tester tester(panel, *port, dialogs);
    tester.startUp(Tester::readSettings(*settings));

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
        tester.loadAtStartUp(*path);
    return app.exec();
}
