#include "sim/WireProbe.h"

#include <QFile>

#include <algorithm>

namespace {

constexpr char kCode[WireProbe::kWires] = {'a', 'b', 'c', 'd', 'e', 'f'};
constexpr std::uint64_t kNsPerTick = 1000; // the dump's timescale: 1 us

std::uint64_t ticks(std::uint64_t ns) {
    return (ns + kNsPerTick / 2) / kNsPerTick;
}

} // namespace

const char* WireProbe::wireName(Wire wire) {
    switch (wire) {
    case Wire::DataOut:
        return "dtr";
    case Wire::Clock:
        return "rts";
    case Wire::Data:
        return "data";
    case Wire::Dsr:
        return "dsr";
    case Wire::Txd:
        return "txd";
    case Wire::ChipSelect:
        return "cs";
    }
    return "?";
}

void WireProbe::record(Wire wire, bool level, std::uint64_t atNs) {
    int& last = last_[static_cast<std::size_t>(wire)];
    if (last == (level ? 1 : 0))
        return;
    last = level ? 1 : 0;
    changes_.push_back({atNs, wire, level});
}

void WireProbe::clear() {
    changes_.clear();
    last_.fill(-1);
}

QByteArray WireProbe::vcd() const {
    QByteArray out;
    out += "$version Tamsolvix simulated board probe $end\n";
    out += "$timescale 1 us $end\n";
    out += "$scope module board $end\n";
    for (int i = 0; i < kWires; ++i)
        out += QByteArray("$var wire 1 ") + kCode[i] + ' ' + wireName(static_cast<Wire>(i)) +
               " $end\n";
    out += "$upscope $end\n$enddefinitions $end\n";
    if (changes_.empty())
        return out;

    std::vector<Change> sorted = changes_;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Change& a, const Change& b) { return a.atNs < b.atNs; });
    // Several changes of one wire within one tick: the last one stands; one that ends where
    // the wire already was is left out.
    std::array<int, kWires> written{-1, -1, -1, -1, -1, -1};
    std::array<int, kWires> pending{};
    std::size_t i = 0;
    bool first = true;
    while (i < sorted.size()) {
        const std::uint64_t tick = ticks(sorted[i].atNs);
        pending = written;
        for (; i < sorted.size() && ticks(sorted[i].atNs) == tick; ++i)
            pending[static_cast<std::size_t>(sorted[i].wire)] = sorted[i].level ? 1 : 0;
        QByteArray lines;
        for (int w = 0; w < kWires; ++w) {
            const auto k = static_cast<std::size_t>(w);
            if (pending[k] != written[k] && pending[k] >= 0) {
                lines += (pending[k] ? '1' : '0');
                lines += kCode[w];
                lines += '\n';
                written[k] = pending[k];
            }
        }
        if (lines.isEmpty())
            continue;
        out += '#' + QByteArray::number(static_cast<qulonglong>(tick)) + '\n';
        if (first)
            out += "$dumpvars\n" + lines + "$end\n";
        else
            out += lines;
        first = false;
    }
    // A little idle time after the last change, so that a decoder sees the final levels.
    const std::uint64_t end = ticks(sorted.back().atNs) + 10;
    out += '#' + QByteArray::number(static_cast<qulonglong>(end)) + '\n';
    return out;
}

bool WireProbe::writeVcd(const QString& path, QString* whyNot) const {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        if (whyNot)
            *whyNot = file.errorString();
        return false;
    }
    const QByteArray text = vcd();
    if (file.write(text) != text.size()) {
        if (whyNot)
            *whyNot = file.errorString();
        return false;
    }
    return true;
}
