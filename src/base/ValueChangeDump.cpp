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

} // namespace

ValueChangeDump::ValueChangeDump(QByteArray version, QByteArray scope,
                                 std::vector<QByteArray> names, std::uint64_t nsPerTick)
    : version_(std::move(version)), scope_(std::move(scope)), names_(std::move(names)),
      nsPerTick_(nsPerTick) {}

QByteArray ValueChangeDump::text(std::vector<Change> changes, const std::vector<bool>& initial,
                                 std::uint64_t endNs) const {
    const int count = static_cast<int>(names_.size());
    QByteArray out = "$version " + version_ + " $end\n$timescale " + timescale(nsPerTick_) +
                     " $end\n$scope module " + scope_ + " $end\n";
    for (int s = 0; s < count; ++s)
        out += "$var wire 1 " + code(s) + ' ' + names_[static_cast<std::size_t>(s)] + " $end\n";
    out += "$upscope $end\n$enddefinitions $end\n";

    std::stable_sort(changes.begin(), changes.end(),
                     [](const Change& a, const Change& b) { return a.atNs < b.atNs; });
    const auto tickOf = [this](std::uint64_t ns) { return (ns + nsPerTick_ / 2) / nsPerTick_; };

    // -1: not known (a signal that never changes). Without initial levels a signal starts at
    // the level of its first change.
    std::vector<int> written(names_.size(), -1);
    if (initial.size() == names_.size()) {
        for (std::size_t s = 0; s < written.size(); ++s)
            written[s] = initial[s] ? 1 : 0;
    } else {
        for (const Change& c : changes) {
            auto& w = written[static_cast<std::size_t>(c.signal)];
            if (w < 0)
                w = c.level ? 1 : 0;
        }
    }
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
