#include "bus/LineTest.h"

#include "base/Numbers.h"

QString LineProbe::Result::message() const {
    if (failed)
        return QStringLiteral("Line Probe Fail !!\r\nSeveral Periods:") + report;
    return QStringLiteral("Line Probe OK !");
}

LineProbe::Result LineProbe::run(PortBackend& port,
                                 const std::function<void(int period)>& progress) {
    Result r;
    port.setRts(true);
    (void)port.dsr(); // the first reading only settles the line
    for (int p = 0; p < 255; ++p) {
        port.setRts(true);
        if (!port.dsr()) {
            r.report += numberText(p) + QLatin1Char('/');
            if (p > 0) // a late first rise alone is no failure
                r.failed = true;
        }
        port.setRts(false);
        if (port.dsr()) {
            r.failed = true;
            r.report += numberText(p) + QLatin1Char('\\');
        }
        if (progress)
            progress(p);
    }
    return r;
}
