#include "bus/SettleMeasurement.h"

#include "bus/PortBackend.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

using Clock = AdapterTiming::Clock;

// Pauses between the changes, irregular so that the changes fall at every phase of an
// adapter's status refresh (about 1 ms on the USB adapters that cache it, whatever its exact
// period): 0 to 2 ms to the nanosecond, from a fixed pseudo-random sequence.
std::chrono::nanoseconds pauseBefore(std::uint32_t& seed) {
    seed = seed * 1'103'515'245u + 12'345u;
    return std::chrono::nanoseconds((seed >> 8) % 2'000'000u);
}

QString usText(std::chrono::nanoseconds d) {
    return QString::number(std::chrono::duration_cast<std::chrono::microseconds>(d).count());
}

} // namespace

SettleMeasurement SettleMeasurement::measure(PortBackend& port, bool rts) {
    SettleMeasurement m;
    const Clock::time_point begin = Clock::now();
    const bool rtsBefore = rts;
    std::uint32_t seed = 1;
    std::vector<Duration> lags;
    lags.reserve(kChanges);
    for (int i = 0; i < kChanges && port.isOpen(); ++i) {
        AdapterTiming::waitUntil(Clock::now() + pauseBefore(seed));
        rts = !rts;
        port.setRts(rts);
        const Clock::time_point changed = Clock::now();
        Clock::time_point read = changed;
        while (port.dsr() != rts) {
            read = Clock::now();
            if (read - changed > kGiveUpAfter)
                break;
        }
        if (read - changed > kGiveUpAfter)
            break;
        lags.push_back(read - changed);
    }
    if (rts != rtsBefore) // it gave up after an odd number of changes
        port.setRts(rtsBefore);
    m.took = Clock::now() - begin;
    m.changes = static_cast<int>(lags.size());
    m.followed = m.changes == kChanges;
    if (!m.followed)
        return m;
    std::sort(lags.begin(), lags.end());
    m.worst = lags.back();
    m.median = lags[lags.size() / 2];
    // Twice the worst lag. On an adapter that caches the status the lag of one change is
    // spread evenly over the refresh period (after a fixed delay) by where the change falls
    // in it. The largest of 32 such lags is below the middle of that spread only with a
    // chance of 1 in 2^32, so twice it covers the whole period and the delay with room for
    // the timer's jitter. An adapter that reads live shows lags of 0 and gets no settle time.
    m.settle = 2 * m.worst;
    return m;
}

QString SettleMeasurement::summary() const {
    if (!followed)
        return QStringLiteral("DSR does not follow RTS (is the adapter's DSR strapped to RTS?): "
                              "no settle time could be measured");
    if (settle == Duration{0})
        return QStringLiteral("DSR follows RTS at once (%1 changes): no settle time needed")
            .arg(changes);
    return QStringLiteral("DSR follows RTS within %1 us (median %2 us, %3 changes): settle "
                          "time %4 us")
        .arg(usText(worst), usText(median))
        .arg(changes)
        .arg(usText(settle));
}
