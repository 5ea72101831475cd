#pragma once

#include "bus/PortBackend.h"

#include <QString>

#include <memory>

#include <cstdint>
#include <map>
#include <vector>

// The levels on the adapter's wires. The data line is open-drain: it is high only while DTR
// releases it and no device pulls it down. CTS reads the data line; DSR is strapped to RTS.
struct BoardWires {
    bool dtr = false;  // data out
    bool rts = false;  // clock
    bool data = false; // the data line every device sees (and CTS)
};

// A chip on the simulated test board. It sees only the wires, the way real silicon does,
// and answers only by pulling the data line low.
class SimDevice {
public:
    virtual ~SimDevice() = default;
    // Called after every change of the wires, with the virtual time in nanoseconds.
    virtual void wiresChanged(const BoardWires& wires, std::uint64_t nowNs) = 0;
    // Called for every character sent on TXD.
    virtual void characterSent(std::uint8_t /*byte*/, std::uint64_t /*nowNs*/) {}
    virtual bool pullsDataLow() const = 0;
};

// A PonyProg-style serial adapter with a test board behind it, driven only through the wires.
// A virtual clock advances by a fixed cost per port call, so anything timed on the board
// (write cycles, the reset pulse) behaves the same on every machine.
//
// Ports: 1 and 2 reach the board, 3 is in use by another program, 4 and every other number do
// not exist. Variants (for --board sim:VARIANT) make the adapter faulty; see variantNames().
class SimulatedBoard : public PortBackend {
public:
    enum class PortState {
        Free,
        Busy,
        Missing
    };
    enum class DataIn {
        Wired,
        StuckHigh,
        StuckLow
    };
    enum class DsrStrap {
        Strapped,
        StuckLow,
        StuckHigh,
        MissingFirstRise
    };

    SimulatedBoard();
    ~SimulatedBoard() override;

    // Builds a board by variant name ("" for the healthy board); nullptr for an unknown name.
    static std::unique_ptr<SimulatedBoard> fromVariant(const QString& variant);
    static QStringList variantNames();

    void setPortState(int number, PortState state) { ports_[number] = state; }
    void setDataIn(DataIn fault) { dataIn_ = fault; }
    void setDsrStrap(DsrStrap fault) { dsr_ = fault; }
    // The device disappears after this many further port calls while open (0: never).
    void unplugAfter(int portCalls) { unplugAfter_ = portCalls; }
    void setCallCostNs(std::uint64_t ns) { callCostNs_ = ns; }
    // The board does not own its devices.
    void attach(SimDevice* device);

    // PortBackend
    void selectPort(int number) override { selected_ = number; }
    int selectedPort() const override { return selected_; }
    bool isOpen() const override { return open_; }
    bool open(QString* whyNot) override;
    void close() override;
    void setDtr(bool on) override;
    void setRts(bool on) override;
    bool cts() override;
    bool dsr() override;
    void sendByte(std::uint8_t byte) override;

    // What a probe on the board sees.
    const BoardWires& wires() const { return wires_; }
    std::uint64_t nowNs() const { return nowNs_; }
    std::uint64_t portCalls() const { return portCalls_; }
    const std::vector<std::uint8_t>& sentCharacters() const { return sent_; }
    int opens() const { return opens_; }

private:
    bool tick(); // one port call: advances the clock; false once the device has vanished
    void drive(bool dtr, bool rts);

    std::map<int, PortState> ports_;
    std::vector<SimDevice*> devices_;
    std::vector<std::uint8_t> sent_;
    BoardWires wires_;
    DataIn dataIn_ = DataIn::Wired;
    DsrStrap dsr_ = DsrStrap::Strapped;
    std::uint64_t nowNs_ = 0;
    std::uint64_t callCostNs_ = 10'000;
    std::uint64_t portCalls_ = 0;
    int selected_ = 1;
    int unplugAfter_ = 0;
    int opens_ = 0;
    bool open_ = false;
    int dsrReadsSinceOpen_ = 0;
};
