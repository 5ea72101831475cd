#include "support/BusDevices.h"

void AckDevice::wiresChanged(const BoardWires& w, std::uint64_t) {
    const bool data = w.dtr; // the level the master drives
    if (w.rts && lastClock_ && data != lastData_) {
        // Data changing while the clock is high: a start (falling) or a stop (rising).
        pull_ = false;
        phase_ = data ? Phase::Idle : Phase::Address;
        bits_ = 0;
        shift_ = 0;
    } else if (w.rts && !lastClock_) {
        risingEdge(data);
    } else if (!w.rts && lastClock_) {
        fallingEdge();
    }
    lastClock_ = w.rts;
    lastData_ = data;
}

void AckDevice::risingEdge(bool data) {
    if (phase_ == Phase::Address || phase_ == Phase::Write) {
        shift_ = (shift_ << 1) | (data ? 1 : 0);
        ++bits_;
    } else if (phase_ == Phase::MasterAck) {
        masterAcked_ = !data;
    }
}

void AckDevice::driveBit() {
    pull_ = !((readByte_ << bits_) & 0x80);
    ++bits_;
}

void AckDevice::fallingEdge() {
    switch (phase_) {
    case Phase::Address:
        if (bits_ == 8) {
            const bool mine = (shift_ & 0xFE) == (address_ & 0xFE);
            reading_ = (shift_ & 1) != 0;
            pull_ = mine;
            phase_ = mine ? Phase::AckAddress : Phase::Idle;
        }
        break;
    case Phase::Write:
        if (bits_ == 8) {
            written.push_back(shift_);
            pull_ = true;
            phase_ = Phase::AckWrite;
        }
        break;
    case Phase::AckAddress:
    case Phase::AckWrite:
        pull_ = false;
        bits_ = 0;
        shift_ = 0;
        phase_ = reading_ ? Phase::Read : Phase::Write;
        if (reading_)
            driveBit();
        break;
    case Phase::Read:
        if (bits_ < 8) {
            driveBit();
        } else {
            pull_ = false;
            phase_ = Phase::MasterAck;
        }
        break;
    case Phase::MasterAck:
        bits_ = 0;
        phase_ = masterAcked_ ? Phase::Read : Phase::Idle;
        if (masterAcked_)
            driveBit();
        break;
    case Phase::Idle:
        break;
    }
}

std::vector<int> WireLog::bitsOnRisingClock() const {
    std::vector<int> bits;
    bool clock = false;
    for (const auto& [dtr, rts] : levels) {
        if (rts && !clock)
            bits.push_back(dtr ? 1 : 0);
        clock = rts;
    }
    return bits;
}
