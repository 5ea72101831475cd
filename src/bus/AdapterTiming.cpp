#include "bus/AdapterTiming.h"

#include <QSettings>

#ifdef Q_OS_UNIX
#include <time.h>

#include <cerrno>
#else
#include <thread>
#endif

namespace {

// The longest time a wait spends polling the clock: below it a sleep's overshoot (the timer
// slack and the wake-up, tens of microseconds) would be longer than the wait itself.
constexpr std::chrono::microseconds kPollAtMost{300};
// No settle or minimum beyond a second: longer is a typing mistake, not an adapter.
constexpr long kMaxMicroseconds = 1'000'000;

std::optional<std::chrono::nanoseconds> microseconds(const QString& text) {
    bool ok = false;
    const long us = text.trimmed().toLong(&ok);
    if (!ok || us < 0 || us > kMaxMicroseconds)
        return std::nullopt;
    return std::chrono::microseconds(us);
}

QString microsecondsText(std::chrono::nanoseconds d) {
    return QString::number(std::chrono::duration_cast<std::chrono::microseconds>(d).count());
}

} // namespace

std::optional<AdapterTiming> AdapterTiming::withSettle(AdapterTiming timing, const QString& text) {
    if (text.trimmed().compare(QLatin1String("auto"), Qt::CaseInsensitive) == 0) {
        timing.autoSettle = true;
        timing.settle = Duration{0}; // until it is measured
        return timing;
    }
    const auto settle = microseconds(text);
    if (!settle)
        return std::nullopt;
    timing.autoSettle = false;
    timing.settle = *settle;
    return timing;
}

std::optional<AdapterTiming> AdapterTiming::withMinChange(AdapterTiming timing,
                                                          const QString& text) {
    const auto minChange = microseconds(text);
    if (!minChange)
        return std::nullopt;
    timing.minChange = *minChange;
    return timing;
}

QString AdapterTiming::settleText() const {
    return autoSettle ? QStringLiteral("auto") : microsecondsText(settle);
}

QString AdapterTiming::minChangeText() const {
    return microsecondsText(minChange);
}

QString AdapterTiming::settleRule() {
    return QStringLiteral("auto or whole microseconds from 0 to %1").arg(kMaxMicroseconds);
}

QString AdapterTiming::minChangeRule() {
    return QStringLiteral("whole microseconds from 0 to %1").arg(kMaxMicroseconds);
}

AdapterTiming AdapterTiming::readSettings(QSettings& store, QStringList* problems) {
    AdapterTiming timing;
    store.beginGroup(QStringLiteral("Adapter"));
    const struct {
        const char* key;
        decltype(&withSettle) read;
    } keys[] = {{"Settle", &withSettle}, {"MinChange", &withMinChange}};
    for (const auto& k : keys) {
        const QString key = QLatin1String(k.key);
        if (!store.contains(key))
            continue;
        // A value with a comma comes back as a list: its text is the parts joined again.
        const QVariant value = store.value(key);
        const QString text = value.typeId() == QMetaType::QStringList
                                 ? value.toStringList().join(QStringLiteral(", "))
                                 : value.toString();
        if (const auto read = k.read(timing, text))
            timing = *read;
        else if (problems)
            *problems << QStringLiteral("the setting Adapter/%1 '%2' is not %3: 0 is used")
                             .arg(key, text, key == u"Settle" ? settleRule() : minChangeRule());
    }
    store.endGroup();
    return timing;
}

void AdapterTiming::writeSettings(QSettings& store) const {
    store.beginGroup(QStringLiteral("Adapter"));
    store.setValue(QStringLiteral("Settle"), settleText());
    store.setValue(QStringLiteral("MinChange"), minChangeText());
    store.endGroup();
}

void AdapterTiming::waitUntil(Clock::time_point deadline) {
    Clock::time_point now = Clock::now();
    if (deadline - now > 2 * kPollAtMost) {
        const Clock::time_point wake = deadline - kPollAtMost;
#ifdef Q_OS_UNIX
        // The steady clock is CLOCK_MONOTONIC: sleep to an absolute time, so a signal that
        // interrupts the sleep costs nothing.
        const auto sinceEpoch = wake.time_since_epoch();
        const auto s = std::chrono::duration_cast<std::chrono::seconds>(sinceEpoch);
        timespec ts{};
        ts.tv_sec = static_cast<time_t>(s.count());
        ts.tv_nsec = static_cast<long>(
            std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch - s).count());
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &ts, nullptr) == EINTR) {
        }
#else
        std::this_thread::sleep_until(wake);
#endif
    }
    while (Clock::now() < deadline) {
    }
}
