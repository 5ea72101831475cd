#include "sim/Eeprom93c46.h"

void Eeprom93c46::wiresChanged(const BoardWires& wires, std::uint64_t nowNs) {
    const bool csWas = cs_;
    const bool skWas = sk_;
    cs_ = wires.cs;
    sk_ = wires.rts;
    if (!cs_) {
        if (csWas) { // deselected: the decoder starts over, DO goes to high impedance
            state_ = State::WaitStart;
            pulling_ = false;
        }
        return;
    }
    if (!csWas) {
        state_ = State::WaitStart;
        pulling_ = cycleRunning_; // status: busy
    }
    if (sk_ && !skWas)
        clockRose(wires.dtr, nowNs);
}

void Eeprom93c46::timeReached(std::uint64_t nowNs) {
    if (!cycleRunning_ || nowNs < cycleEndNs_)
        return;
    cycleRunning_ = false;
    pulling_ = false; // ready (or high impedance while deselected)
}

void Eeprom93c46::clockRose(bool di, std::uint64_t nowNs) {
    if (cycleRunning_)
        return;
    switch (state_) {
    case State::WaitStart:
        if (di) {
            state_ = State::Command;
            shift_ = 0;
            bits_ = 0;
            pulling_ = false; // a start bit ends the status display
        }
        break;
    case State::Command:
        shift_ = (shift_ << 1) | (di ? 1u : 0u);
        if (++bits_ == 9)
            decode(nowNs);
        break;
    case State::DataIn:
        shift_ = (shift_ << 1) | (di ? 1u : 0u);
        if (++bits_ == 8)
            program(nowNs);
        break;
    case State::ReadOut:
        if (++readBit_ == 8) { // sequential read: on to the next byte
            readBit_ = 0;
            address_ = (address_ + 1) & (kSize - 1);
        }
        driveBit((memory_[static_cast<std::size_t>(address_)] & (0x80u >> readBit_)) != 0);
        break;
    case State::Done:
        break;
    }
}

void Eeprom93c46::decode(std::uint64_t nowNs) {
    const unsigned opcode = (shift_ >> 7) & 3u;
    address_ = static_cast<int>(shift_ & 0x7Fu);
    state_ = State::Done;
    writeAll_ = eraseOne_ = eraseAll_ = false;
    switch (opcode) {
    case 2: // READ
        state_ = State::ReadOut;
        readBit_ = -1;
        driveBit(false); // the dummy 0
        break;
    case 1: // WRITE
        state_ = State::DataIn;
        shift_ = 0;
        bits_ = 0;
        break;
    case 3: // ERASE
        eraseOne_ = true;
        program(nowNs);
        break;
    default:
        switch ((address_ >> 5) & 3) {
        case 3: // EWEN
            writeEnabled_ = true;
            break;
        case 0: // EWDS
            writeEnabled_ = false;
            break;
        case 2: // ERAL
            eraseAll_ = true;
            program(nowNs);
            break;
        default: // WRAL
            writeAll_ = true;
            state_ = State::DataIn;
            shift_ = 0;
            bits_ = 0;
            break;
        }
        break;
    }
}

void Eeprom93c46::program(std::uint64_t nowNs) {
    state_ = State::Done;
    if (!writeEnabled_)
        return;
    const auto data = static_cast<std::uint8_t>(shift_ & 0xFFu);
    if (eraseAll_)
        memory_.fill(0xFF);
    else if (writeAll_)
        memory_.fill(data);
    else
        memory_[static_cast<std::size_t>(address_)] = eraseOne_ ? std::uint8_t{0xFF} : data;
    cycleRunning_ = true;
    cycleEndNs_ = nowNs + kCycleNs;
    pulling_ = true; // busy
}
