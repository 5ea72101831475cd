#include "sim/WireRecorder.h"

#include "base/ValueChangeDump.h"

#include <QFile>

const char* WireRecorder::wireName(Wire wire) {
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

void WireRecorder::record(Wire wire, bool level, std::uint64_t atNs) {
    int& last = last_[static_cast<std::size_t>(wire)];
    if (last == (level ? 1 : 0))
        return;
    last = level ? 1 : 0;
    changes_.push_back({atNs, wire, level});
}

void WireRecorder::clear() {
    changes_.clear();
    last_.fill(-1);
}

QByteArray WireRecorder::vcd() const {
    std::vector<QByteArray> names;
    for (int w = 0; w < kWires; ++w)
        names.emplace_back(wireName(static_cast<Wire>(w)));
    std::vector<ValueChangeDump::Change> changes;
    changes.reserve(changes_.size());
    for (const Change& c : changes_)
        changes.push_back({c.atNs, static_cast<int>(c.wire), c.level});
    return ValueChangeDump("Tamsolvix simulated board recorder", "board", std::move(names), 1000)
        .text(std::move(changes));
}

bool WireRecorder::writeVcd(const QString& path, QString* whyNot) const {
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
