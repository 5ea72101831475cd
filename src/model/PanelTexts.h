#pragma once

#include <QString>

// The texts of the window that follow the state: the title, the Power button, the status bar
// panels, the Start labels' tooltips and the note label. Each is built here and nowhere else.
namespace PanelTexts {

// The application's name: the title of every message box.
inline const QString kApplicationTitle = QStringLiteral("Tamsolvix");

// The window's title: "I2C/Microwire Tamsolvix V 3. 0. 0 : No Title".
QString title(const QString& fileTitle);
// The Power button: "Power ON" / "Power OFF".
QString power(bool on);
// Panel 1: "Port: 1".
QString port(int number);
// Panels 2 and 3: "Sequence 1: Run" while the sequence runs, "Sequence 1: Stop" otherwise.
QString sequence(int sequence, bool running);
// Panels 2 and 3 during the device scan.
inline const QString kDeviceDetect = QStringLiteral("Device Detect");
// Panels 4 to 7: an acknowledged command (I2C), and every command of a Microwire run.
inline const QString kAcknowledged = QStringLiteral("A");
inline const QString kNotAcknowledged = QStringLiteral("NA");
// Panel 8: the non-stop timer's interval, " 1000mS".
QString interval(int ms);
// Panel 9: "I2C" / "Microwire".
QString busMode(bool microwire);
// Panel 10: "S:ON" / "S:OFF"; the Start labels' tooltip.
QString startBit(bool on);
QString startBitToolTip(bool on);
// The Microwire reset time of a reset tension (1 to 9): "3750.00" for 9 in the reset dialog,
// "3750.00 uS" in panel 11.
QString resetTimeDigits(int resetTension);
QString resetTime(int resetTension);
// The note label: "Note: " and the note.
QString note(const QString& text);

} // namespace PanelTexts
