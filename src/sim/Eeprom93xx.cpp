#include "sim/Eeprom93xx.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::array<Eeprom93xx::Part, 3> kParts{{
    {"93C46", 128, 7, 6},
    {"93C56", 256, 9, 8},
    {"93C66", 512, 9, 8},
}};

} // namespace

std::span<const Eeprom93xx::Part> Eeprom93xx::parts() {
    return kParts;
}

const Eeprom93xx::Part* Eeprom93xx::find(QAnyStringView name) {
    for (const Part& part : kParts)
        if (QAnyStringView::compare(name, QLatin1StringView(part.name), Qt::CaseInsensitive) == 0)
            return &part;
    return nullptr;
}

Eeprom93xx::Eeprom93xx(const Part& part, int org)
    : part_(part), org_(org == 16 ? 16 : 8),
      addressBits_(org_ == 16 ? part.addressBits16 : part.addressBits8),
      memory_(static_cast<std::size_t>(part.size), 0xFF) {}

void Eeprom93xx::fill(std::uint8_t value) {
    std::fill(memory_.begin(), memory_.end(), value);
}

unsigned Eeprom93xx::wordAt(int word) const {
    if (org_ == 8)
        return memory_[index(word)];
    return static_cast<unsigned>(memory_[index(2 * word)] << 8) | memory_[index(2 * word + 1)];
}

void Eeprom93xx::setWord(int word, unsigned value) {
    if (org_ == 8) {
        memory_[index(word)] = static_cast<std::uint8_t>(value);
        return;
    }
    memory_[index(2 * word)] = static_cast<std::uint8_t>(value >> 8);
    memory_[index(2 * word + 1)] = static_cast<std::uint8_t>(value);
}

void Eeprom93xx::wiresChanged(const BoardWires& wires, std::uint64_t nowNs) {
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

void Eeprom93xx::timeReached(std::uint64_t nowNs) {
    if (!cycleRunning_ || nowNs < cycleEndNs_)
        return;
    cycleRunning_ = false;
    pulling_ = false; // ready (or high impedance while deselected)
}

void Eeprom93xx::clockRose(bool di, std::uint64_t nowNs) {
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
        if (++bits_ == 2 + addressBits_)
            decode(nowNs);
        break;
    case State::DataIn:
        shift_ = (shift_ << 1) | (di ? 1u : 0u);
        if (++bits_ == org_)
            program(nowNs);
        break;
    case State::ReadOut:
        if (++readBit_ == org_) { // sequential read: on to the next word
            readBit_ = 0;
            word_ = (word_ + 1) % words();
        }
        driveBit(((wordAt(word_) >> (org_ - 1 - readBit_)) & 1u) != 0);
        break;
    case State::Done:
        break;
    }
}

void Eeprom93xx::decode(std::uint64_t nowNs) {
    const unsigned opcode = (shift_ >> addressBits_) & 3u;
    const unsigned address = shift_ & ((1u << addressBits_) - 1u);
    word_ = static_cast<int>(address) % words(); // a 93C56's top address bit is a don't-care
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
        switch ((address >> (addressBits_ - 2)) & 3u) {
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

void Eeprom93xx::program(std::uint64_t nowNs) {
    state_ = State::Done;
    if (!writeEnabled_)
        return;
    const unsigned ones = (1u << org_) - 1u;
    const unsigned data = eraseOne_ || eraseAll_ ? ones : shift_ & ones;
    if (eraseAll_ || writeAll_)
        for (int w = 0; w < words(); ++w)
            setWord(w, data);
    else
        setWord(word_, data);
    cycleRunning_ = true;
    cycleEndNs_ = nowNs + kCycleNs;
    pulling_ = true; // busy
}
