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
    const char* cells[] = {"&hA0", "&h10", "&h54", "&h61", "&h91", "Dump2", "Dump2", "Indicator"};
    for (int i = 0; i < 8; ++i)
        panel.setText(FrontPanel::cell(i / 4 + 1, i % 4 + 1), QString::fromLatin1(cells[i]));
    tester.runs().Go1_Click();
    board->elapse(6'000'000);
    tester.runs().Go2_Click();

    QApplication::processEvents();
    for (int i = 1; i < argc; ++i) {
        const QImage picture = i == 1 ? window.grab().toImage() : explanationPicture();
        if (!picture.save(QString::fromLocal8Bit(argv[i]))) {
            std::fprintf(stderr, "tamsolvix_screenshot: cannot write %s\n", argv[i]);
            return 1;
        }
    }
    return 0;
}
