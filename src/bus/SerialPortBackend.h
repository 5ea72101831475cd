#pragma once

#include "bus/AdapterInfo.h"
#include "bus/AdapterTiming.h"
#include "bus/PortBackend.h"
#include "bus/PortDeviceMap.h"
#include "bus/SettleMeasurement.h"

#include <QSerialPort>

#include <optional>

// A real serial port through QSerialPort: 2400 baud, 8 data bits, no parity, one stop bit,
// no flow control (the modem lines are ours to drive). A device whose modem lines cannot be
// read and set is refused when it opens. With an AdapterTiming the reads wait for the settle
// time and the line changes keep the minimum time apart; with "auto" the settle time is
// measured the first time a device opens (again after it was lost or another device chosen).
class SerialPortBackend : public PortBackend {
public:
    explicit SerialPortBackend(PortDeviceMap map = {});

    void selectPort(int number) override { number_ = number; }
    int selectedPort() const override { return number_; }
    bool isOpen() const override { return port_.isOpen(); }
    bool open(QString* whyNot) override;
    void close() override;
    void setDtr(bool on) override { changeLine(QSerialPort::DataTerminalReadySignal, on); }
    void setRts(bool on) override { changeLine(QSerialPort::RequestToSendSignal, on); }
    bool cts() override;
    bool dsr() override;
    void sendByte(std::uint8_t byte) override;
    void setAdapterTiming(const AdapterTiming& timing) override;
    QStringList adapterNotes() const override;
    QString deviceFor(int portNumber) const override { return map_.deviceFor(portNumber); }

    QString deviceName() const { return map_.deviceFor(number_); }
    const AdapterTiming& adapterTiming() const { return timing_; }
    // The settle time the reads wait for now (the measured one with "auto").
    AdapterTiming::Duration settleInEffect() const { return settle_; }
    // The adapter behind the device last opened.
    const AdapterInfo& adapterInfo() const { return adapter_; }
    // The last settle measurement (nullopt before the first).
    const std::optional<SettleMeasurement>& settleMeasurement() const { return measured_; }
    // Measures the settle time on the open port now; with "auto" it is used from now on.
    SettleMeasurement measureSettle();

    // The reason for a failed open, as a user can act on it.
    static QString openFailureReason(QSerialPort::SerialPortError error, const QString& device,
                                     const QString& platformText);

private:
    void changeLine(QSerialPort::PinoutSignal line, bool on) {
        if (!port_.isOpen())
            return;
        if (timed_) [[unlikely]]
            AdapterTiming::waitUntil(lastChange_ + timing_.minChange);
        if (!setLine(line, on))
            dropIfGone();
        else if (timed_) [[unlikely]]
            lastChange_ = AdapterTiming::Clock::now();
    }
    void beforeRead() {
        if (timed_) [[unlikely]]
            AdapterTiming::waitUntil(lastChange_ + settle_);
    }
    // The settle time in effect from the timing and the measurement (and the clock of the
    // last change restarted).
    void applyTiming();
    // Measures the settle time on the open port, RTS being at `rts`.
    void measure(bool rts);

    // The modem lines, one system call each. On failure the reason is in lineError_, and
    // lineGone_ says whether the device has gone.
    bool setLine(QSerialPort::PinoutSignal line, bool on);
    std::optional<QSerialPort::PinoutSignals> readLines();
#ifdef Q_OS_UNIX
    void lineCallFailed(int errorNumber);
#else
    void lineCallFailed();
#endif
    // After a failed call: a device that has gone closes the port and is reported once.
    void dropIfGone();

    PortDeviceMap map_;
    QSerialPort port_;
    int number_ = 1;
    QString lineError_;
    bool lineGone_ = false;

    AdapterTiming timing_;
    AdapterTiming::Duration settle_{0};
    bool timed_ = false; // some wait is on: the line changes note their time
    AdapterTiming::Clock::time_point lastChange_;
    std::optional<SettleMeasurement> measured_;
    QString measuredDevice_; // the device measured_ belongs to
    AdapterInfo adapter_;
};
