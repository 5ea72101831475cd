#include "sim/SimulatedBoard.h"

#include "base/UartFrame.h"

#include <algorithm>

namespace {

constexpr int kMaxSettleRounds = 4;
constexpr std::uint64_t kChipSelectGapNs = 1'000;

using Wire = WireRecorder::Wire;

} // namespace

SimulatedBoard::SimulatedBoard() {
    ports_ = {{1, PortState::Free}, {2, PortState::Free}, {3, PortState::Busy}};
}

SimulatedBoard::~SimulatedBoard() = default;

void SimulatedBoard::attachDevice(std::unique_ptr<SimDevice> device) {
    devices_.push_back(std::move(device));
    settle(nowNs_, true);
}

void SimulatedBoard::setRecorder(WireRecorder* recorder) {
    recorder_ = recorder;
    if (!recorder_)
        return;
    recorder_->record(Wire::DataOut, wires_.dtr, nowNs_);
    recorder_->record(Wire::Clock, wires_.rts, nowNs_);
    recorder_->record(Wire::Data, wires_.data, nowNs_);
    recorder_->record(Wire::Dsr, dsrLevel(), nowNs_);
    recorder_->record(Wire::Txd, wires_.txd, nowNs_);
    recorder_->record(Wire::ChipSelect, wires_.cs, nowNs_);
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
        runStartNs_ = nowNs_;
    } else {
        wallClock_.invalidate();
    }
}

void SimulatedBoard::runStarts() {
    if (!wallClock_.isValid())
        return;
    const std::uint64_t due = runStartNs_ + static_cast<std::uint64_t>(wallClock_.nsecsElapsed());
    wallClock_.start();
    if (due > nowNs_)
        elapse(due - nowNs_);
    runStartNs_ = nowNs_;
}

void SimulatedBoard::elapse(std::uint64_t ns) {
    nowNs_ += ns;
    if (nowNs_ >= nextEventNs_)
        runEvents(nowNs_);
}

bool SimulatedBoard::tick() {
    ++portCalls_;
    nowNs_ += callCostNs_;
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
    if (recorder_) {
        recorder_->record(Wire::DataOut, dtr, nowNs_);
        recorder_->record(Wire::Clock, rts, nowNs_);
        recorder_->record(Wire::Data, data, nowNs_);
        if (rtsMoved)
            recordDsr();
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
        if (recorder_)
            recorder_->record(Wire::Data, data, atNs + kOutputDelayNs);
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
            if (recorder_)
                recorder_->record(Wire::Txd, wires_.txd, t);
        }
        for (; !csEdges_.empty() && csEdges_.front().atNs == t; csEdges_.pop_front()) {
            moved = moved || wires_.cs != csEdges_.front().level;
            wires_.cs = csEdges_.front().level;
            if (recorder_)
                recorder_->record(Wire::ChipSelect, wires_.cs, t);
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

void SimulatedBoard::recordDsr() {
    recorder_->record(Wire::Dsr, dsrLevel(), nowNs_);
}

bool SimulatedBoard::dsr() {
    if (!tick())
        return false;
    const bool level = dsrLevel();
    if (dsrReadsSinceOpen_ < 2) {
        ++dsrReadsSinceOpen_;
        if (recorder_)
            recordDsr(); // a late strap may have settled now
    }
    return level;
}

int SimulatedBoard::resetPulseBits(std::uint8_t character) {
    int n = 1;
    for (unsigned mask = 0x80; mask != 0 && (character & mask) != 0; mask >>= 1)
        ++n;
    return n;
}

void SimulatedBoard::sendByte(std::uint8_t byte) {
    if (!tick())
        return;
    const std::uint64_t t = nowNs_;
    sent_.push_back(byte);

    // The frame on TXD: start bit, bits 0 to 7, stop bit.
    const std::uint64_t start = std::max(t, txdFreeAtNs_);
    UartFrame::forEachEdge(byte, [&](std::uint64_t offsetNs, bool level) {
        txdEdges_.push_back({start + offsetNs, level});
    });
    txdFreeAtNs_ = start + UartFrame::bitTimesNs(UartFrame::kBits);

    // The reset circuit: CS high for n bit times from now.
    const std::uint64_t pulse = UartFrame::bitTimesNs(resetPulseBits(byte));
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
