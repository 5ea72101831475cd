#include "bus/SettleMeasurement.h"

#include "bus/PortBackend.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace {

using Clock = AdapterTiming::Clock;
using Duration = SettleMeasurement::Duration;

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

// One change of RTS timed: the lag until a read shows it, and the longest stretches the
// program lost while it polled (between two reads, and inside one read).
struct TimedChange {
    bool followed = false;
    Duration lag{0};
    Duration longestGap{0};
    Duration longestRead{0};
};

TimedChange timeChange(PortBackend& port, bool rts, Duration& shortestRead) {
    TimedChange t;
    const Clock::time_point changed = Clock::now();
    Clock::time_point previousEnd = changed;
    for (;;) {
        const Clock::time_point start = Clock::now();
        const bool level = port.dsr();
        const Clock::time_point end = Clock::now();
        t.longestGap = std::max<Duration>(t.longestGap, start - previousEnd);
        t.longestRead = std::max<Duration>(t.longestRead, end - start);
        shortestRead = std::min<Duration>(shortestRead, end - start);
        if (level == rts) { // the first read showing it: no lag at all
            t.followed = true;
            t.lag = previousEnd == changed ? Duration{0} : start - changed;
            return t;
        }
        if (end - changed > SettleMeasurement::kGiveUpAfter)
            return t;
        previousEnd = end;
    }
}

// A change during which the program was held up (another program ran, the machine is busy):
// its lag says nothing about the adapter. Polling leaves no gap of its own worth mentioning,
// and a read takes about as long as the quickest one.
bool heldUp(const TimedChange& t, Duration shortestRead) {
    constexpr std::chrono::microseconds kSlack{50};
    return t.longestGap > kSlack || t.longestRead > 4 * shortestRead + kSlack;
}

} // namespace

SettleMeasurement SettleMeasurement::measure(PortBackend& port, bool rts) {
    SettleMeasurement m;
    const Clock::time_point begin = Clock::now();
    const bool rtsBefore = rts;
    std::uint32_t seed = 1;
    std::vector<TimedChange> timed;
    Duration shortestRead = Duration::max();
    const auto clean = [&] {
        return std::count_if(timed.begin(), timed.end(),
                             [&](const TimedChange& t) { return !heldUp(t, shortestRead); });
    };
    bool gaveUp = false;
    // A change that was held up is made again, up to as many times as there are changes.
    for (int i = 0; i < 2 * kChanges && clean() < kChanges && port.isOpen(); ++i) {
        AdapterTiming::waitUntil(Clock::now() + pauseBefore(seed));
        rts = !rts;
        port.setRts(rts);
        const TimedChange t = timeChange(port, rts, shortestRead);
        if (!t.followed) {
            gaveUp = true;
            break;
        }
        timed.push_back(t);
    }
    if (rts != rtsBefore) // an odd number of changes
        port.setRts(rtsBefore);
    m.took = Clock::now() - begin;
    m.followed = !gaveUp && port.isOpen() && !timed.empty();
    if (!m.followed)
        return m;
    std::vector<Duration> lags;
    for (const TimedChange& t : timed)
        if (!heldUp(t, shortestRead))
            lags.push_back(t.lag);
    if (lags.size() < static_cast<std::size_t>(kChanges)) { // held up again and again: all count
        lags.clear();
        for (const TimedChange& t : timed)
            lags.push_back(t.lag);
    }
    std::sort(lags.begin(), lags.end());
    m.changes = static_cast<int>(lags.size());
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
