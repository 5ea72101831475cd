// Renders the main window on the simulated board after an I2C transfer with analysis on and
// saves it as a PNG: a look at what a user sees. Under Xvfb it uses the real window system:
//   xvfb-run -a build/test/tests/tamsolvix_screenshot window.png [explanation.png]
//   xvfb-run -a build/test/tests/tamsolvix_screenshot --eeprom eeprom.png
// (the EEPROM programmer's window after a write and a verify that found a difference).
#include "actions/Tester.h"
#include "model/FrontPanel.h"
#include "sim/SimulatedBoard.h"
#include "ui/EepromWindow.h"
#include "ui/ExplanationPicture.h"
#include "ui/MainWindow.h"
#include "ui/QtDialogs.h"

#include <QApplication>
#include <QPixmap>
#include <QPushButton>

#include <cstdio>

namespace {

// Message boxes answered Yes at once, for a picture without them.
class YesDialogs : public QtDialogs {
public:
    Answer message(const QString&, Buttons, Icon, const QString&) override { return Answer::Yes; }
};

int eepromShot(const char* path) {
    FrontPanel panel;
    auto board = SimulatedBoard::fromVariant(QString());
    YesDialogs dialogs;
    Tester tester(panel, *board, dialogs);
    tester.startUp({});
    EepromActions& eeprom = tester.eeprom();
    eeprom.setSocketHook(
        [&board](const std::optional<EepromChip>& chip, int address, QString* why) {
            board->removeSocketChip();
            return !chip ||
                   board->addSocketChip(QLatin1StringView(chip->name), address, chip->org, why);
        },
        std::nullopt);
    eeprom.PlugSocket(EepromChip::find(u"24C16"));
    const QByteArray text = "Tamsolvix EEPROM programmer: 24C16 in the socket of the simulated "
                            "board, 2048 bytes in 16-byte pages. ";
    for (int i = 0; i < 2048; ++i)
        eeprom.setByte(i, i < 2 * text.size() ? text[i % text.size()] : i * 7);
    eeprom.write(0, eeprom.buffer(), false);
    eeprom.setByte(0x4B, 'X');
    EepromWindow window(tester, nullptr);
    window.resize(window.sizeHint());
    window.show();
    eeprom.Read(); // the chip into the buffer, then a byte changed and verified
    eeprom.setByte(0x4B, 'X');
    QApplication::processEvents();
    window.findChildren<QPushButton*>().at(2)->click(); // Verify
    QApplication::processEvents();
    if (!window.grab().save(QString::fromLocal8Bit(path))) {
        std::fprintf(stderr, "tamsolvix_screenshot: cannot write %s\n", path);
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    if (argc == 3 && QByteArray(argv[1]) == "--eeprom")
        return eepromShot(argv[2]);
    if (argc != 2 && argc != 3) {
        std::fprintf(stderr, "usage: tamsolvix_screenshot WINDOW.png [EXPLANATION.png]\n"
                             "       tamsolvix_screenshot --eeprom EEPROM.png\n");
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
