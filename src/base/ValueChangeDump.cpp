#include "base/ValueChangeDump.h"

#include <algorithm>

namespace {

// Identifier codes: printable characters from '!' on.
QByteArray code(int signal) {
    return QByteArray(1, static_cast<char>('!' + signal));
}

// "1 ns", "10 ns", "100 ns", "1 us", ...
QByteArray timescale(std::uint64_t nsPerTick) {
    static const char* const units[] = {"ns", "us", "ms", "s"};
    std::size_t unit = 0;
    while (unit < 3 && nsPerTick >= 1000 && nsPerTick % 1000 == 0) {
        nsPerTick /= 1000;
        ++unit;
    }
    return QByteArray::number(static_cast<qulonglong>(nsPerTick)) + ' ' + units[unit];
}

// The dump's header and its signals' definitions.
QByteArray definitions(const QByteArray& version, const QByteArray& scope,
                       const std::vector<QByteArray>& names, std::uint64_t nsPerTick) {
    QByteArray out = "$version " + version + " $end\n$timescale " + timescale(nsPerTick) +
                     " $end\n$scope module " + scope + " $end\n";
    for (std::size_t s = 0; s < names.size(); ++s)
        out += "$var wire 1 " + code(static_cast<int>(s)) + ' ' + names[s] + " $end\n";
    out += "$upscope $end\n$enddefinitions $end\n";
    return out;
}

// Each signal's level at time 0, 0 or 1; -1: not known (a signal that never changes). Without
// initial levels a signal starts at the level of its first change.
std::vector<int> startLevels(std::size_t count, const std::vector<ValueChangeDump::Change>& changes,
                             const std::vector<bool>& initial) {
    std::vector<int> levels(count, -1);
    if (initial.size() == count) {
        for (std::size_t s = 0; s < count; ++s)
            levels[s] = initial[s] ? 1 : 0;
        return levels;
    }
    for (const ValueChangeDump::Change& c : changes) {
        auto& level = levels[static_cast<std::size_t>(c.signal)];
        if (level < 0)
            level = c.level ? 1 : 0;
    }
    return levels;
}

} // namespace

ValueChangeDump::ValueChangeDump(QByteArray version, QByteArray scope,
                                 std::vector<QByteArray> names, std::uint64_t nsPerTick)
    : version_(std::move(version)), scope_(std::move(scope)), names_(std::move(names)),
      nsPerTick_(nsPerTick) {}

QByteArray ValueChangeDump::text(std::vector<Change> changes, const std::vector<bool>& initial,
                                 std::uint64_t endNs) const {
    const int count = static_cast<int>(names_.size());
    QByteArray out = definitions(version_, scope_, names_, nsPerTick_);
    std::stable_sort(changes.begin(), changes.end(),
                     [](const Change& a, const Change& b) { return a.atNs < b.atNs; });
    const auto tickOf = [this](std::uint64_t ns) { return (ns + nsPerTick_ / 2) / nsPerTick_; };

    std::vector<int> written = startLevels(names_.size(), changes, initial);
    out += "#0\n$dumpvars\n";
    for (int s = 0; s < count; ++s)
        if (const int level = written[static_cast<std::size_t>(s)]; level >= 0)
            out += (level ? '1' : '0') + code(s) + '\n';
    out += "$end\n";

    std::uint64_t lastTick = 0;
    std::size_t i = 0;
    while (i < changes.size()) {
        const std::uint64_t tick = tickOf(changes[i].atNs);
        std::vector<int> pending = written;
        for (; i < changes.size() && tickOf(changes[i].atNs) == tick; ++i)
            pending[static_cast<std::size_t>(changes[i].signal)] = changes[i].level ? 1 : 0;
        QByteArray lines;
        for (int s = 0; s < count; ++s) {
            const auto k = static_cast<std::size_t>(s);
            if (pending[k] != written[k]) {
                lines += (pending[k] ? '1' : '0') + code(s) + '\n';
                written[k] = pending[k];
            }
        }
        if (lines.isEmpty())
            continue;
        out += '#' + QByteArray::number(static_cast<qulonglong>(tick)) + '\n' + lines;
        lastTick = tick;
    }
    // Some idle time after the last change (a tenth of the dump, at least ten ticks).
    const std::uint64_t end =
        std::max(lastTick + std::max<std::uint64_t>(10, lastTick / 10), tickOf(endNs));
    out += '#' + QByteArray::number(static_cast<qulonglong>(end)) + '\n';
    return out;
}
