// Renders the main window on the simulated board after an I2C transfer with analysis on and
// saves it as a PNG: a look at what a user sees. Under Xvfb it uses the real window system:
//   xvfb-run -a build/test/tests/tamsolvix_screenshot window.png [explanation.png]
#include "sim/SimulatedBoard.h"
#include "ui/ExplanationPicture.h"
#include "ui/FrontPanel.h"
#include "ui/MainWindow.h"
#include "ui/QtDialogs.h"
#include "ui/Tester.h"

#include <QApplication>
#include <QPixmap>

#include <cstdio>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: tamsolvix_screenshot WINDOW.png [EXPLANATION.png]\n");
        return 2;
    }
    FrontPanel panel;
    SimulatedBoard board;
    QtDialogs dialogs;
    Tester tester(panel, board, dialogs);
    tester.startUp({});
    MainWindow window(panel, tester);
    window.show();

    // One addressed write on the bus, drawn as a run draws it.
    tester.TogglePower();
    Trace& trace = tester.trace();
    trace.begin(true);
    tester.i2c().start();
    trace.separator();
    tester.i2c().writeByte(0xA0);
    trace.ackMark();
    trace.separator();
    tester.i2c().writeByte(0x10);
    trace.ackMark();
    trace.separator();
    tester.i2c().stop();

    QApplication::processEvents();
    if (!window.grab().save(QString::fromLocal8Bit(argv[1]))) {
        std::fprintf(stderr, "tamsolvix_screenshot: cannot write %s\n", argv[1]);
        return 1;
    }
    if (argc == 3 && !explanationPicture().save(QString::fromLocal8Bit(argv[2]))) {
        std::fprintf(stderr, "tamsolvix_screenshot: cannot write %s\n", argv[2]);
        return 1;
    }
    return 0;
}
