#pragma once

#include "sim/SimulatedBoard.h"

#include <utility>
#include <vector>

// A minimal I2C device for the tests: it acknowledges one address byte and nothing else, and
// then answers reads with a fixed byte. It decodes the wires as a chip does (start while the
// clock is high, bits sampled on the rising edge, the data line driven after the falling
// edge), so it checks the primitives' timing as much as their bits.
class AckDevice : public SimDevice {
public:
    explicit AckDevice(int address, int readByte = 0xFF) : address_(address), readByte_(readByte) {}
    void wiresChanged(const BoardWires& w, std::uint64_t) override;
    bool pullsDataLow() const override { return pull_; }
    // The bytes the master wrote after the address.
    std::vector<int> written;

private:
    enum class Phase {
        Idle,
        Address,
        AckAddress,
        Write,
        AckWrite,
        Read,
        MasterAck
    };
    void risingEdge(bool data);
    void fallingEdge();
    void driveBit(); // the next bit of the read byte, from its most significant
    int address_;
    int readByte_;
    Phase phase_ = Phase::Idle;
    bool lastClock_ = false;
    bool lastData_ = true;
    bool reading_ = false;
    bool masterAcked_ = false;
    int bits_ = 0;
    int shift_ = 0;
    bool pull_ = false;
};

// Every level of DTR and RTS after each port call, for checking bit patterns.
class WireLog : public SimDevice {
public:
    void wiresChanged(const BoardWires& w, std::uint64_t) override {
        levels.emplace_back(w.dtr, w.rts);
    }
    bool pullsDataLow() const override { return false; }
    // The data bits written on the rising clock edges.
    std::vector<int> bitsOnRisingClock() const;
    std::vector<std::pair<bool, bool>> levels; // (dtr, rts)
};
