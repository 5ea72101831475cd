#include "sim/I2cSlave.h"

void I2cSlave::wiresChanged(const BoardWires& wires, std::uint64_t nowNs) {
    const bool clockWas = clock_;
    const bool dataWas = data_;
    clock_ = wires.rts;
    data_ = wires.data;
    if (clock_ && clockWas) {
        if (data_ != dataWas) {
            if (data_)
                stopCondition(nowNs);
            else
                startCondition(nowNs);
        }
        return;
    }
    if (clock_ && !clockWas)
        clockRose(data_);
    else if (!clock_ && clockWas)
        clockFell(nowNs);
}

void I2cSlave::endTransfer(bool byStop, std::uint64_t nowNs) {
    if (!inTransfer_)
        return;
    inTransfer_ = false;
    // The condition's own rising clock was sampled as the first bit of a next byte.
    const bool afterWholeByte = state_ == State::Receive && bits_ <= 1;
    transferEnded(byStop, afterWholeByte, nowNs);
}

void I2cSlave::startCondition(std::uint64_t nowNs) {
    endTransfer(false, nowNs);
    state_ = State::Address;
    bits_ = 0;
    shift_ = 0;
    pulling_ = false;
}

void I2cSlave::stopCondition(std::uint64_t nowNs) {
    endTransfer(true, nowNs);
    state_ = State::Idle;
    pulling_ = false;
}

void I2cSlave::clockRose(bool data) {
    switch (state_) {
    case State::Address:
    case State::Receive:
        shift_ = ((shift_ << 1) | (data ? 1u : 0u)) & 0xFFu;
        ++bits_;
        break;
    case State::Transmit:
        ++bits_; // the master has sampled one more bit
        break;
    case State::MasterAck:
        masterAcked_ = !data;
        break;
    case State::Idle:
    case State::AckAddress:
    case State::AckData:
        break;
    }
}

void I2cSlave::loadByte(std::uint64_t nowNs) {
    shift_ = byteToRead(nowNs);
    bits_ = 0;
    state_ = State::Transmit;
    pulling_ = (shift_ & 0x80u) == 0;
}

void I2cSlave::addressIn(std::uint64_t nowNs) {
    read_ = (shift_ & 1u) != 0;
    if (answersTo(static_cast<std::uint8_t>(shift_)) && acknowledgesAddress(read_, nowNs)) {
        received_ = static_cast<std::uint8_t>(shift_);
        pulling_ = true;
        state_ = State::AckAddress;
        inTransfer_ = true;
        addressed(read_, nowNs);
    } else {
        state_ = State::Idle; // not for this chip: wait for the next start
    }
}

void I2cSlave::startReceiving() {
    state_ = State::Receive;
    bits_ = 0;
    shift_ = 0;
}

void I2cSlave::clockFell(std::uint64_t nowNs) {
    switch (state_) {
    case State::Address:
        if (bits_ >= 8)
            addressIn(nowNs);
        break;
    case State::Receive:
        if (bits_ < 8)
            break;
        if (byteWritten(static_cast<std::uint8_t>(shift_), nowNs)) {
            pulling_ = true;
            state_ = State::AckData;
        } else {
            state_ = State::Idle;
        }
        break;
    case State::AckAddress: // end of the ninth clock
        pulling_ = false;
        if (read_)
            loadByte(nowNs);
        else
            startReceiving();
        break;
    case State::AckData:
        pulling_ = false;
        startReceiving();
        break;
    case State::Transmit:
        if (bits_ < 8) {
            pulling_ = (shift_ & (0x80u >> bits_)) == 0;
        } else {
            pulling_ = false; // the master's acknowledge clock
            state_ = State::MasterAck;
        }
        break;
    case State::MasterAck:
        if (masterAcked_)
            loadByte(nowNs);
        else
            state_ = State::Idle; // the last byte: wait for the stop
        break;
    case State::Idle:
        break;
    }
}
