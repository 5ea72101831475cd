#pragma once

#include "sim/SimDevice.h"

#include <cstdint>

// The bus interface every I2C chip on the board shares: start and stop detection, address
// match, acknowledge, and shifting bytes in and out. The chip behind it (a subclass) decides
// what the bytes mean.
//
// Like the silicon it models, it knows only the clock (RTS) and the data line:
// - a start is the data line falling while the clock stays high, a stop the data line rising
//   while the clock stays high;
// - a received bit is sampled on the rising clock edge;
// - the chip changes what it drives (acknowledge, transmitted bits) only after a falling
//   clock edge, and releases the line after the ninth clock of a byte, on a stop, on a start
//   and when the master does not acknowledge a byte it read.
// A chip that holds the data line low cannot see a start or a stop: while it transmits a 0
// bit, a master's stop condition leaves the line low and goes unnoticed.
class I2cSlave : public SimDevice {
public:
    // addressByte is the write address (read/write bit 0), e.g. 0xA0. The bits of ignoredBits
    // in the address byte are not compared (a chip that reads them as data, such as the block
    // bits of a 24C16, answers at every value of them).
    explicit I2cSlave(std::uint8_t addressByte, std::uint8_t ignoredBits = 0)
        : ignored_(static_cast<std::uint8_t>(ignoredBits & 0xFEu)),
          address_(static_cast<std::uint8_t>(addressByte & 0xFEu & ~ignored_)) {}

    void wiresChanged(const BoardWires& wires, std::uint64_t nowNs) override;
    bool pullsDataLow() const override { return pulling_; }

    std::uint8_t addressByte() const { return address_; }
    // Whether the chip answers to this address byte (the read/write bit aside).
    bool answersTo(std::uint8_t byte) const { return (byte & 0xFEu & ~ignored_) == address_; }
    // True while the chip is a transmitter in a read transfer (between acknowledging its read
    // address and the master's "no acknowledge" or a start/stop it can see).
    bool transmitting() const { return state_ == State::Transmit || state_ == State::MasterAck; }

protected:
    // Whether the chip acknowledges its address now (a busy EEPROM does not).
    virtual bool acknowledgesAddress(bool /*read*/, std::uint64_t /*nowNs*/) { return true; }
    // A transfer addressed to the chip has begun (its address was acknowledged).
    virtual void addressed(bool read, std::uint64_t nowNs) = 0;
    // A byte the master wrote; return true to acknowledge it.
    virtual bool byteWritten(std::uint8_t byte, std::uint64_t nowNs) = 0;
    // The next byte to transmit; asked for when the chip starts to send it.
    virtual std::uint8_t byteToRead(std::uint64_t nowNs) = 0;
    // The chip's transfer ended: by a stop (byStop) or by a start. afterWholeByte: nothing
    // but the condition's own clock came after the last acknowledged byte.
    virtual void transferEnded(bool /*byStop*/, bool /*afterWholeByte*/, std::uint64_t /*nowNs*/) {}
    // The address byte of the transfer under way, read/write bit included.
    std::uint8_t receivedAddress() const { return received_; }

private:
    enum class State {
        Idle,       // waiting for a start
        Address,    // shifting in the address byte
        AckAddress, // holding the address acknowledge through the ninth clock
        Receive,    // shifting in a data byte
        AckData,    // holding a data acknowledge through the ninth clock
        Transmit,   // driving the bits of a byte
        MasterAck   // released, reading the master's acknowledge
    };

    void startCondition(std::uint64_t nowNs);
    void stopCondition(std::uint64_t nowNs);
    void clockRose(bool data);
    void clockFell(std::uint64_t nowNs);
    void addressIn(std::uint64_t nowNs); // the eighth bit of the address byte is in
    void startReceiving();
    void loadByte(std::uint64_t nowNs);
    void endTransfer(bool byStop, std::uint64_t nowNs);

    std::uint8_t ignored_;
    std::uint8_t address_;
    std::uint8_t received_ = 0;
    State state_ = State::Idle;
    bool inTransfer_ = false; // the address was acknowledged and no start/stop seen since
    bool read_ = false;
    bool masterAcked_ = false;
    bool pulling_ = false;
    bool clock_ = false;
    bool data_ = false;
    int bits_ = 0;
    unsigned shift_ = 0;
};
