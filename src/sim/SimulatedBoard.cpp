#include "sim/SimulatedBoard.h"

#include <QStringList>

#include <algorithm>

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
    if (variant.isEmpty())
        return board;
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
    else
        return nullptr;
    return board;
}

void SimulatedBoard::attach(SimDevice* device) {
    devices_.push_back(device);
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

bool SimulatedBoard::tick() {
    ++portCalls_;
    nowNs_ += callCostNs_;
    if (open_ && unplugAfter_ > 0 && --unplugAfter_ == 0) {
        open_ = false;
        drive(false, false);
        reportLost(QStringLiteral("simulated port %1 was unplugged").arg(selected_));
    }
    return open_;
}

void SimulatedBoard::drive(bool dtr, bool rts) {
    wires_.dtr = dtr;
    wires_.rts = rts;
    // Let the devices see the new clock and data out, then settle what they pull.
    bool pulled = std::any_of(devices_.begin(), devices_.end(),
                              [](const SimDevice* d) { return d->pullsDataLow(); });
    wires_.data = dtr && !pulled;
    for (SimDevice* d : devices_)
        d->wiresChanged(wires_, nowNs_);
    pulled = std::any_of(devices_.begin(), devices_.end(),
                         [](const SimDevice* d) { return d->pullsDataLow(); });
    wires_.data = dtr && !pulled;
}

void SimulatedBoard::setDtr(bool on) {
    if (tick())
        drive(on, wires_.rts);
}

void SimulatedBoard::setRts(bool on) {
    if (tick()) {
        drive(wires_.dtr, on);
    }
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

bool SimulatedBoard::dsr() {
    if (!tick())
        return false;
    switch (dsr_) {
    case DsrStrap::StuckLow:
        return false;
    case DsrStrap::StuckHigh:
        return true;
    case DsrStrap::MissingFirstRise:
        // The strap's return settles late after the port opens: the first two readings
        // (the line test's unused one and its first period) miss RTS being high.
        if (dsrReadsSinceOpen_++ < 2)
            return false;
        break;
    case DsrStrap::Strapped:
        break;
    }
    return wires_.rts;
}

void SimulatedBoard::sendByte(std::uint8_t byte) {
    if (!tick())
        return;
    sent_.push_back(byte);
    for (SimDevice* d : devices_)
        d->characterSent(byte, nowNs_);
}
