#pragma once

#include "bus/PortBackend.h"
#include "sim/EepromStateFile.h"
#include "sim/SimDevice.h"
#include "sim/WireRecorder.h"

#include <QElapsedTimer>
#include <QString>

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <vector>

class Eeprom24c02;
class Eeprom24xx;
class Eeprom93c46;
class Eeprom93xx;
class Pcf8574;
class Pcf8591;

// A PonyProg-style serial adapter with a test board behind it, driven only through the wires.
// A virtual clock advances by a fixed cost per port call, so anything timed on the board
// (write cycles, the reset pulse) behaves the same on every machine.
//
// Ports: 1 and 2 reach the board, 3 is in use by another program, 4 and every other number do
// not exist. Variants (for --board sim:VARIANT) make the adapter faulty; see variantNames().
//
// A board made with the constructor is empty; fromVariant() (every variant, the healthy one
// too) puts the test board's chips on it with addTestBoardChips():
//   24C02 EEPROM (0xA0/0xA1), PCF8574 I/O expander (0x40/0x41), PCF8591 A/D-D/A converter
//   (0x90/0x91), 93C46 Microwire EEPROM (x8) on the chip select.
// The PCF8591's inputs: AIN0 a divider at half the supply (code 128), AIN1 the PCF8591's own
// analog output (0 while it is off), AIN2 the PCF8574's pins through an R-2R ladder (code =
// the pin levels), AIN3 a triangle wave over the virtual clock (0 to 255 and back, one code
// step per kTriangleStepNs).
//
// TXD carries each character as a 2400 baud frame (start bit low, eight data bits from bit 0,
// stop bit high); a character handed over while a frame is still on the line waits for it.
// The reset circuit raises CS the moment a character is handed over and holds it for n bit
// times at 2400 baud, n = 1 + the number of leading one bits of the character (0xFF: 9,
// 0xFE: 8, ..., 0x80: 2, 0x00: 1). A character handed over while CS is still high drops CS
// for 1 us first, so the Microwire chip sees a new selection.
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

    static constexpr std::uint64_t kTriangleStepNs = 100'000;
    // A chip's output follows the clock edge that causes it after this long (seen by a recorder).
    static constexpr std::uint64_t kOutputDelayNs = 1'000;

    SimulatedBoard();
    ~SimulatedBoard() override;

    // Builds a board by variant name ("" for the healthy board), with the test board's chips;
    // nullptr for an unknown name.
    static std::unique_ptr<SimulatedBoard> fromVariant(const QString& variant);
    static QStringList variantNames();

    void setPortState(int number, PortState state) { ports_[number] = state; }
    void setDataIn(DataIn fault) { dataIn_ = fault; }
    void setDsrStrap(DsrStrap fault) { dsr_ = fault; }
    // The device disappears after this many further port calls while open (0: never).
    void unplugAfter(int portCalls) { unplugAfter_ = portCalls; }
    void setCallCostNs(std::uint64_t ns) { callCostNs_ = ns; }
    // Lets the clock keep up with the real time between runs: when a run starts, at least as
    // much time has passed on the board since the last run started as in reality, so a write
    // cycle is over when the user starts the next run a moment later, as on real hardware.
    // Within a run only port calls (and elapse()) move the clock, so its times stay exact.
    // Off by default: the tests, the benchmarks and the command-line tool keep a clock that
    // only port calls move, and their runs repeat to the nanosecond.
    void followWallClock(bool on);
    // Lets this much time pass on the board without a port call.
    void elapse(std::uint64_t ns);

    // Puts a chip on the board; the board owns it.
    template <typename Device> Device& attach(std::unique_ptr<Device> device) {
        Device& chip = *device;
        attachDevice(std::move(device));
        return chip;
    }
    // Puts the four chips of the test board on the board and wires the analog inputs.
    void addTestBoardChips();
    // The test board's chips (nullptr on a board without them).
    Eeprom24c02* eeprom24c02() const { return eeprom24c02_; }
    Pcf8574* pcf8574() const { return pcf8574_; }
    Pcf8591* pcf8591() const { return pcf8591_; }
    Eeprom93c46* eeprom93c46() const { return eeprom93c46_; }

    // The socket: one more EEPROM on the board, by part name (Eeprom24xx::parts(),
    // Eeprom93xx::parts()). A 24Cxx answers at i2cAddressByte (0xA0 to 0xAE) and a 93Cxx
    // works in the organisation org (8 or 16). The socket shares the board's wires: a 24Cxx
    // that answers at 0xA0 takes the place of the board's 24C02, and a 93Cxx (on the one chip
    // select) that of the board's 93C46; the chip it replaces is taken off the bus. False,
    // with a one-line reason, for an unknown part, a wrong address or organisation, or a
    // socket that is taken.
    bool addSocketChip(const QString& name, int i2cAddressByte, int org, QString* whyNot);
    // Takes the socket's chip out (its contents are gone) and puts the board's chip it
    // replaced back on the bus. Nothing happens to a board with an empty socket.
    void removeSocketChip();
    Eeprom24xx* socket24xx() const { return socket24xx_; }
    Eeprom93xx* socket93xx() const { return socket93xx_; }
    // The contents of every EEPROM of the board in a file (see EepromStateFile). Loading
    // changes nothing unless the whole file fits the board.
    bool saveState(const QString& path, QString* whyNot) const;
    bool loadState(const QString& path, QString* whyNot);

    // Clips a recorder onto the wires (nullptr removes it); the board does not own it. It
    // gets the present level of every wire at once, then every change.
    void setRecorder(WireRecorder* recorder);

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
    void runStarts() override;

    // What a recorder on the board sees.
    const BoardWires& wires() const { return wires_; }
    std::uint64_t nowNs() const override { return nowNs_; }
    std::uint64_t portCalls() const { return portCalls_; }
    const std::vector<std::uint8_t>& sentCharacters() const { return sent_; }
    int opens() const { return opens_; }

    // The reset circuit: how many bit times at 2400 baud CS stays high for a character.
    static int resetPulseBits(std::uint8_t character);

private:
    struct Edge {
        std::uint64_t atNs;
        bool level;
    };

    void attachDevice(std::unique_ptr<SimDevice> device);
    void takeOffBus(const SimDevice* device);
    std::vector<EepromStateFile::Slot> eepromSlots() const;
    bool tick(); // one port call: advances the clock; false once the device has vanished
    void drive(bool dtr, bool rts);
    // Tells the chips about the wires (unless notify is false) and settles what they pull,
    // telling them again when their own outputs moved the data line.
    void settle(std::uint64_t atNs, bool notify);
    void runEvents(std::uint64_t untilNs);
    void updateNextEvent();
    bool dsrLevel() const;
    void recordDsr();

    std::map<int, PortState> ports_;
    std::vector<std::unique_ptr<SimDevice>> devices_;
    Eeprom24c02* eeprom24c02_ = nullptr;
    Pcf8574* pcf8574_ = nullptr;
    Pcf8591* pcf8591_ = nullptr;
    Eeprom93c46* eeprom93c46_ = nullptr;
    Eeprom24xx* socket24xx_ = nullptr;
    Eeprom93xx* socket93xx_ = nullptr;
    std::vector<std::unique_ptr<SimDevice>> offBus_; // chips the socket took off the bus
    WireRecorder* recorder_ = nullptr;
    std::vector<std::uint8_t> sent_;
    std::deque<Edge> txdEdges_;
    std::deque<Edge> csEdges_;
    BoardWires wires_;
    bool pulled_ = false; // some chip pulls the data line low
    DataIn dataIn_ = DataIn::Wired;
    DsrStrap dsr_ = DsrStrap::Strapped;
    std::uint64_t nowNs_ = 0;
    std::uint64_t callCostNs_ = 10'000;
    QElapsedTimer wallClock_; // valid while the clock follows the real time: since runStartNs_
    std::uint64_t runStartNs_ = 0;
    std::uint64_t portCalls_ = 0;
    std::uint64_t deviceWakeNs_ = SimDevice::kNever;
    std::uint64_t nextEventNs_ = SimDevice::kNever;
    std::uint64_t txdFreeAtNs_ = 0;
    int selected_ = 1;
    int unplugAfter_ = 0;
    int opens_ = 0;
    bool open_ = false;
    int dsrReadsSinceOpen_ = 0;
};
