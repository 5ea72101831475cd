#include "bus/LineTest.h"

LineTest::Verdict LineTest::run(PortBackend& port,
                                const std::function<void(int period)>& progress) {
    Verdict v;
    bool failed = false;
    port.setRts(true);
    (void)port.dsr(); // the first reading only settles the line
    for (int p = 0; p < 255; ++p) {
        port.setRts(true);
        if (!port.dsr()) {
            v.misses.push_back({p, true});
            if (p > 0) // a late first rise alone is no failure
                failed = true;
        }
        port.setRts(false);
        if (port.dsr()) {
            failed = true;
            v.misses.push_back({p, false});
        }
        if (progress)
            progress(p);
    }
    v.passed = !failed;
    return v;
}
