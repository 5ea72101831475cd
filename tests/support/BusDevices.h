#pragma once

#include "sim/I2cSlave.h"
#include "sim/SimulatedBoard.h"

#include <utility>
#include <vector>

// An I2C device for the tests, at any address: it acknowledges every byte written to it and
// answers every read with the same byte.
class AckDevice : public I2cSlave {
public:
    explicit AckDevice(int address, int readByte = 0xFF)
        : I2cSlave(static_cast<std::uint8_t>(address)), readByte_(readByte) {}
    // The bytes the master wrote after the address.
    std::vector<int> written;

protected:
    void addressed(bool, std::uint64_t) override {}
    bool byteWritten(std::uint8_t byte, std::uint64_t) override {
        written.push_back(byte);
        return true;
    }
    std::uint8_t byteToRead(std::uint64_t) override { return static_cast<std::uint8_t>(readByte_); }

private:
    int readByte_;
};

// Every level of DTR and RTS after each change of the wires, for checking bit patterns.
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
