#include "model/DiagnosticTexts.h"

#include "base/Numbers.h"

namespace DiagnosticTexts {

ScanReport scanReport(const DeviceScan::Acknowledged& acknowledged) {
    const DeviceScan::Acknowledged devices = DeviceScan::devices(acknowledged);
    QString decimal;
    QString hex;
    for (int a = 0; a < 256; ++a) {
        if (devices[static_cast<std::size_t>(a)]) {
            decimal += QLatin1Char(' ') + numberText(a);
            hex += QString::number(a, 16).toUpper() + QLatin1Char(' ');
        }
    }
    ScanReport r;
    if (!decimal.isEmpty())
        r.dump = QStringLiteral("Acknowledge Found !\r\nAddres: ") + decimal;
    else if (acknowledged[0]) // every byte acknowledged
        r.dump = QStringLiteral("Device Not Found !");
    else
        r.dump = QStringLiteral("Acknowledge Not Found !");
    r.dump += QStringLiteral("\r\n");
    r.hex = hex;
    return r;
}

QString lineTestMessage(const LineTest::Verdict& verdict) {
    if (verdict.passed)
        return QStringLiteral("Line Probe OK !");
    QString periods;
    for (const LineTest::Miss& miss : verdict.misses)
        periods += numberText(miss.period) + (miss.rise ? QLatin1Char('/') : QLatin1Char('\\'));
    return QStringLiteral("Line Probe Fail !!\r\nSeveral Periods:") + periods;
}

} // namespace DiagnosticTexts
