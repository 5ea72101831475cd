#pragma once

#include "bus/AdapterTiming.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>

// The serial port as the line driver needs it: a port number, open and close, the two
// modem-control outputs (DTR = data out, RTS = clock), the two inputs (CTS = data in,
// DSR = probe return) and one character on TXD (the Microwire reset pulse).
//
// Implementations: SerialPortBackend (a real port through QSerialPort) and SimulatedBoard
// (a virtual adapter and test board). Every line change is exactly one call here.
class PortBackend {
public:
    virtual ~PortBackend() = default;

    // Chooses port n for the next open. Any number is accepted; one that does not map to a
    // device fails when the port is opened.
    virtual void selectPort(int number) = 0;
    virtual int selectedPort() const = 0;

    virtual bool isOpen() const = 0;
    // Opens the selected port. On failure returns false and, when the platform tells why,
    // puts a one-line reason into whyNot.
    virtual bool open(QString* whyNot) = 0;
    // Closes the port, which drops DTR and RTS. Does nothing when it is closed.
    virtual void close() = 0;

    // Drive the outputs. Accepted while the port is closed, without effect on the wire.
    virtual void setDtr(bool on) = 0;
    virtual void setRts(bool on) = 0;
    // Read the inputs. A closed port reads CTS as asserted (a released data line) and DSR as
    // not asserted.
    virtual bool cts() = 0;
    virtual bool dsr() = 0;
    // Queues one character for TXD and returns at once.
    virtual void sendByte(std::uint8_t byte) = 0;

    // A steadily rising time in nanoseconds, for the time stamps of line events: the
    // machine's monotonic clock (the simulated board: its own clock).
    virtual std::uint64_t nowNs() const;
    // A run starts (its time 0 is read next). A backend whose clock is its own may move it
    // on here, never in the middle of a run.
    virtual void runStarts() {}

    // The adapter's timing (AdapterTiming). A backend whose timing is its own (the simulated
    // board) ignores it.
    virtual void setAdapterTiming(const AdapterTiming& timing) { (void)timing; }
    // What the user should know about the adapter found when the port last opened (its
    // family, a warning, the settle time measured), one line each; empty when nothing.
    virtual QStringList adapterNotes() const { return {}; }
    // The device path port n opens; empty for a backend that is no device (the simulated
    // board).
    virtual QString deviceFor(int portNumber) const {
        (void)portNumber;
        return {};
    }

    // A device that disappears while the port is open (a USB adapter pulled out) closes the
    // port and reports it once, through this handler, with a one-line reason.
    using LostHandler = std::function<void(const QString& why)>;
    void setLostHandler(LostHandler handler) { lostHandler_ = std::move(handler); }

protected:
    void reportLost(const QString& why);

private:
    LostHandler lostHandler_;
};
