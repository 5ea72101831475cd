#include "sim/SimulatedBoard.h"

#include "sim/Eeprom24c02.h"
#include "sim/Eeprom93c46.h"
#include "sim/Pcf8574.h"
#include "sim/Pcf8591.h"

#include <QStringList>

#include <algorithm>

namespace {

constexpr int kMaxSettleRounds = 4;
constexpr std::uint64_t kChipSelectGapNs = 1'000;

using Wire = WireProbe::Wire;

} // namespace

SimulatedBoard::SimulatedBoard() {
    ports_ = {{1, PortState::Free}, {2, PortState::Free}, {3, PortState::Busy}};
}

SimulatedBoard::~SimulatedBoard() = default;

QStringList SimulatedBoard::variantNames() {
    return {QStringLiteral("cts-high"), QStringLiteral("cts-low"),  QStringLiteral("dsr-low"),
            QStringLiteral("dsr-high"), QStringLiteral("dsr-late"), QStringLiteral("unplug")};
}

std::unique_ptr<SimulatedBoard> SimulatedBoard::fromVariant(const QString& variant) {
    auto board = std::make_unique<SimulatedBoard>();
    if (variant == u"cts-high") // no device can pull the data line down
        board->setDataIn(DataIn::StuckHigh);
    else if (variant == u"cts-low") // data in shorted to ground
        board->setDataIn(DataIn::StuckLow);
    else if (variant == u"dsr-low") // the DSR strap is broken
        board->setDsrStrap(DsrStrap::StuckLow);
    else if (variant == u"dsr-high")
        board->setDsrStrap(DsrStrap::StuckHigh);
    else if (variant == u"dsr-late") // DSR misses the first rise of RTS after opening
        board->setDsrStrap(DsrStrap::MissingFirstRise);
    else if (variant == u"unplug") // the USB adapter is pulled out 2000 calls after opening
        board->unplugAfter(2000);
    else if (!variant.isEmpty())
        return nullptr;
    board->addTestBoardChips();
    return board;
}

void SimulatedBoard::attachDevice(std::unique_ptr<SimDevice> device) {
    devices_.push_back(std::move(device));
    settle(nowNs_, true);
}

void SimulatedBoard::addTestBoardChips() {
    eeprom24c02_ = &attach(std::make_unique<Eeprom24c02>());
    pcf8574_ = &attach(std::make_unique<Pcf8574>());
    pcf8591_ = &attach(std::make_unique<Pcf8591>());
    eeprom93c46_ = &attach(std::make_unique<Eeprom93c46>());

    Pcf8591* adc = pcf8591_;
    const Pcf8574* port = pcf8574_;
    adc->setInput(0, [](std::uint64_t) { return std::uint8_t{128}; });
    adc->setInput(1, [adc](std::uint64_t) {
        return adc->analogOutputEnabled() ? adc->dac() : std::uint8_t{0};
    });
    adc->setInput(2, [port](std::uint64_t) { return port->pins(); });
    adc->setInput(3, [](std::uint64_t nowNs) {
        const auto step = static_cast<unsigned>((nowNs / kTriangleStepNs) % 510);
        return static_cast<std::uint8_t>(step < 255 ? step : 510 - step);
    });
}

void SimulatedBoard::setProbe(WireProbe* probe) {
    probe_ = probe;
    if (!probe_)
        return;
    probe_->record(Wire::DataOut, wires_.dtr, nowNs_);
    probe_->record(Wire::Clock, wires_.rts, nowNs_);
    probe_->record(Wire::Data, wires_.data, nowNs_);
    probe_->record(Wire::Dsr, dsrLevel(), nowNs_);
    probe_->record(Wire::Txd, wires_.txd, nowNs_);
    probe_->record(Wire::ChipSelect, wires_.cs, nowNs_);
}

bool SimulatedBoard::open(QString* whyNot) {
    ++portCalls_;
    if (open_)
        return true;
    const auto it = ports_.find(selected_);
    const PortState state = it == ports_.end() ? PortState::Missing : it->second;
    if (state != PortState::Free) {
        if (whyNot)
            *whyNot = state == PortState::Busy
                          ? QStringLiteral("simulated port %1 is in use by another program")
                                .arg(selected_)
                          : QStringLiteral("simulated port %1 does not exist").arg(selected_);
        return false;
    }
    open_ = true;
    ++opens_;
    dsrReadsSinceOpen_ = 0;
    drive(false, false); // the lines stay low until the driver sets them
    return true;
}

void SimulatedBoard::close() {
    ++portCalls_;
    if (!open_)
        return;
    open_ = false;
    drive(false, false); // closing drops DTR and RTS
}

void SimulatedBoard::followWallClock(bool on) {
    if (on) {
        wallClock_.start();
        lastWallNs_ = 0;
    } else {
        wallClock_.invalidate();
    }
}

void SimulatedBoard::elapse(std::uint64_t ns) {
    nowNs_ += ns;
    if (nowNs_ >= nextEventNs_)
        runEvents(nowNs_);
}

bool SimulatedBoard::tick() {
    ++portCalls_;
    nowNs_ += callCostNs_;
    if (wallClock_.isValid()) {
        const std::int64_t wall = wallClock_.nsecsElapsed();
        nowNs_ += static_cast<std::uint64_t>(wall - lastWallNs_);
        lastWallNs_ = wall;
    }
    if (nowNs_ >= nextEventNs_)
        runEvents(nowNs_);
    if (open_ && unplugAfter_ > 0 && --unplugAfter_ == 0) {
        open_ = false;
        drive(false, false);
        reportLost(QStringLiteral("simulated port %1 was unplugged").arg(selected_));
    }
    return open_;
}

void SimulatedBoard::drive(bool dtr, bool rts) {
    if (dtr == wires_.dtr && rts == wires_.rts)
        return; // no edge: the chips see nothing
    const bool rtsMoved = rts != wires_.rts;
    wires_.dtr = dtr;
    wires_.rts = rts;
    const bool data = dtr && !pulled_;
    if (probe_) {
        probe_->record(Wire::DataOut, dtr, nowNs_);
        probe_->record(Wire::Clock, rts, nowNs_);
        probe_->record(Wire::Data, data, nowNs_);
        if (rtsMoved)
            probeDsr();
    }
    wires_.data = data;
    settle(nowNs_, true);
}

void SimulatedBoard::settle(std::uint64_t atNs, bool notify) {
    for (int round = 0; round < kMaxSettleRounds; ++round) {
        if (notify || round > 0)
            for (const auto& d : devices_)
                d->wiresChanged(wires_, atNs);
        bool pulled = false;
        std::uint64_t wake = SimDevice::kNever;
        for (const auto& d : devices_) {
            pulled = pulled || d->pullsDataLow();
            wake = std::min(wake, d->nextEventNs());
        }
        pulled_ = pulled;
        deviceWakeNs_ = wake;
        const bool data = wires_.dtr && !pulled;
        if (data == wires_.data)
            break;
        // A chip moved the line: every chip sees that too.
        wires_.data = data;
        if (probe_)
            probe_->record(Wire::Data, data, atNs + kOutputDelayNs);
    }
    updateNextEvent();
}

void SimulatedBoard::updateNextEvent() {
    std::uint64_t next = deviceWakeNs_;
    if (!txdEdges_.empty())
        next = std::min(next, txdEdges_.front().atNs);
    if (!csEdges_.empty())
        next = std::min(next, csEdges_.front().atNs);
    nextEventNs_ = next;
}

void SimulatedBoard::runEvents(std::uint64_t untilNs) {
    while (nextEventNs_ <= untilNs) {
        const std::uint64_t t = nextEventNs_;
        bool moved = false;
        for (; !txdEdges_.empty() && txdEdges_.front().atNs == t; txdEdges_.pop_front()) {
            moved = moved || wires_.txd != txdEdges_.front().level;
            wires_.txd = txdEdges_.front().level;
            if (probe_)
                probe_->record(Wire::Txd, wires_.txd, t);
        }
        for (; !csEdges_.empty() && csEdges_.front().atNs == t; csEdges_.pop_front()) {
            moved = moved || wires_.cs != csEdges_.front().level;
            wires_.cs = csEdges_.front().level;
            if (probe_)
                probe_->record(Wire::ChipSelect, wires_.cs, t);
        }
        if (deviceWakeNs_ <= t)
            for (const auto& d : devices_)
                if (d->nextEventNs() <= t)
                    d->timeReached(t);
        settle(t, moved);
    }
}

void SimulatedBoard::setDtr(bool on) {
    if (tick())
        drive(on, wires_.rts);
}

void SimulatedBoard::setRts(bool on) {
    if (tick())
        drive(wires_.dtr, on);
}

bool SimulatedBoard::cts() {
    if (!tick())
        return true; // nothing drives a released line on a closed port
    switch (dataIn_) {
    case DataIn::StuckHigh:
        return true;
    case DataIn::StuckLow:
        return false;
    case DataIn::Wired:
        break;
    }
    return wires_.data;
}

bool SimulatedBoard::dsrLevel() const {
    switch (dsr_) {
    case DsrStrap::StuckLow:
        return false;
    case DsrStrap::StuckHigh:
        return true;
    case DsrStrap::MissingFirstRise:
        // The strap's return settles late after the port opens: the first two readings (the
        // line test's unused one and its first period) miss RTS being high.
        return wires_.rts && dsrReadsSinceOpen_ >= 2;
    case DsrStrap::Strapped:
        break;
    }
    return wires_.rts;
}

void SimulatedBoard::probeDsr() {
    probe_->record(Wire::Dsr, dsrLevel(), nowNs_);
}

bool SimulatedBoard::dsr() {
    if (!tick())
        return false;
    const bool level = dsrLevel();
    if (dsrReadsSinceOpen_ < 2) {
        ++dsrReadsSinceOpen_;
        if (probe_)
            probeDsr(); // a late strap may have settled now
    }
    return level;
}

int SimulatedBoard::resetPulseBits(std::uint8_t character) {
    int n = 1;
    for (unsigned mask = 0x80; mask != 0 && (character & mask) != 0; mask >>= 1)
        ++n;
    return n;
}

std::uint64_t SimulatedBoard::bitTimesNs(int k) {
    return (static_cast<std::uint64_t>(k) * 1'000'000'000u + 1'200u) / 2'400u;
}

void SimulatedBoard::sendByte(std::uint8_t byte) {
    if (!tick())
        return;
    const std::uint64_t t = nowNs_;
    sent_.push_back(byte);

    // The frame on TXD: start bit, bits 0 to 7, stop bit.
    const std::uint64_t start = std::max(t, txdFreeAtNs_);
    bool level = true; // idle, or the stop bit of the frame before
    for (int k = 0; k < 10; ++k) {
        const bool bit = k == 0 ? false : k == 9 ? true : ((byte >> (k - 1)) & 1u) != 0;
        if (bit != level)
            txdEdges_.push_back({start + bitTimesNs(k), bit});
        level = bit;
    }
    txdFreeAtNs_ = start + bitTimesNs(10);

    // The reset circuit: CS high for n bit times from now.
    const std::uint64_t pulse = bitTimesNs(resetPulseBits(byte));
    csEdges_.clear();
    if (wires_.cs) {
        csEdges_.push_back({t, false});
        csEdges_.push_back({t + kChipSelectGapNs, true});
        csEdges_.push_back({t + kChipSelectGapNs + pulse, false});
    } else {
        csEdges_.push_back({t, true});
        csEdges_.push_back({t + pulse, false});
    }
    for (const auto& d : devices_)
        d->characterSent(byte, t);
    updateNextEvent();
    runEvents(t);
}

void SimulatedBoard::takeOffBus(const SimDevice* device) {
    const auto it = std::find_if(devices_.begin(), devices_.end(),
                                 [device](const auto& d) { return d.get() == device; });
    if (it == devices_.end())
        return;
    offBus_.push_back(std::move(*it));
    devices_.erase(it);
    settle(nowNs_, false);
}

bool SimulatedBoard::addSocketChip(const QString& name, int i2cAddressByte, int org,
                                   QString* whyNot) {
    auto fail = [whyNot](const QString& why) {
        if (whyNot)
            *whyNot = why;
        return false;
    };
    if (socket24xx_ || socket93xx_)
        return fail(QStringLiteral("the socket holds a chip already"));
    if (const Eeprom24xx::Part* part = Eeprom24xx::find(name)) {
        if (i2cAddressByte < 0xA0 || i2cAddressByte > 0xAF || (i2cAddressByte & 1) != 0)
            return fail(QStringLiteral("a %1 answers at an even address byte from 0xA0 to "
                                       "0xAE, not at 0x%2")
                            .arg(QLatin1StringView(part->name))
                            .arg(i2cAddressByte, 2, 16, QLatin1Char('0')));
        auto chip = std::make_unique<Eeprom24xx>(*part, static_cast<std::uint8_t>(i2cAddressByte));
        if (eeprom24c02_ && chip->answersTo(Eeprom24c02::kAddressByte))
            takeOffBus(eeprom24c02_);
        socket24xx_ = &attach(std::move(chip));
        return true;
    }
    if (const Eeprom93xx::Part* part = Eeprom93xx::find(name)) {
        if (org != 8 && org != 16)
            return fail(QStringLiteral("a %1 is organised in 8 or 16 bits, not %2")
                            .arg(QLatin1StringView(part->name))
                            .arg(org));
        if (eeprom93c46_)
            takeOffBus(eeprom93c46_);
        socket93xx_ = &attach(std::make_unique<Eeprom93xx>(*part, org));
        return true;
    }
    QStringList names;
    for (const auto& part : Eeprom24xx::parts())
        names << QLatin1StringView(part.name);
    for (const auto& part : Eeprom93xx::parts())
        names << QLatin1StringView(part.name);
    return fail(QStringLiteral("no chip %1 for the socket (%2)").arg(name, names.join(u", ")));
}

std::vector<EepromStateFile::Slot> SimulatedBoard::eepromSlots() const {
    std::vector<EepromStateFile::Slot> chips;
    if (eeprom24c02_)
        chips.push_back(
            {QStringLiteral("board-24c02"), QStringLiteral("24C02"), &eeprom24c02_->memory()});
    if (eeprom93c46_)
        chips.push_back(
            {QStringLiteral("board-93c46"), QStringLiteral("93C46"), &eeprom93c46_->memory()});
    if (socket24xx_)
        chips.push_back({QStringLiteral("socket"), QLatin1StringView(socket24xx_->part().name),
                         &socket24xx_->memory()});
    if (socket93xx_)
        chips.push_back({QStringLiteral("socket"), QLatin1StringView(socket93xx_->part().name),
                         &socket93xx_->memory()});
    return chips;
}

bool SimulatedBoard::saveState(const QString& path, QString* whyNot) const {
    return EepromStateFile::save(path, eepromSlots(), whyNot);
}

bool SimulatedBoard::loadState(const QString& path, QString* whyNot) {
    return EepromStateFile::load(path, eepromSlots(), whyNot);
}
