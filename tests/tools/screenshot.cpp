// Renders the main window on the simulated board after an I2C transfer with analysis on and
// saves it as a PNG: a look at what a user sees. Under Xvfb it uses the real window system:
//   xvfb-run -a build/test/tests/tamsolvix_screenshot window.png [explanation.png]
#include "actions/Tester.h"
#include "model/FrontPanel.h"
#include "sim/SimulatedBoard.h"
#include "ui/ExplanationPicture.h"
#include "ui/MainWindow.h"
#include "ui/QtDialogs.h"

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
    auto board = SimulatedBoard::fromVariant(QString());
    QtDialogs dialogs;
    Tester tester(panel, *board, dialogs);
    tester.startUp({});
    MainWindow window(panel, tester);
    window.show();

    // A scan, two bytes written into the EEPROM, then a read of the ADC: what a first session
    // on the test board looks like.
    tester.diagnostics().DeviceDetect();
    const char* seq1[] = {"&hA0", "&h10", "&h54", "&h61"};
    const char* seq2[] = {"&h91", "Dump2", "Dump2", "Indicator"};
    for (int k = 1; k <= 4; ++k) {
        panel.setText(FrontPanel::cell(1, k), QString::fromLatin1(seq1[k - 1]));
        panel.setText(FrontPanel::cell(2, k), QString::fromLatin1(seq2[k - 1]));
    }
    tester.runs().Go1_Click();
    board->elapse(6'000'000);
    tester.runs().Go2_Click();

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
