#pragma once

#include "bus/PortBackend.h"
#include "bus/PortDeviceMap.h"

#include <QSerialPort>

#include <optional>

// A real serial port through QSerialPort: 2400 baud, 8 data bits, no parity, one stop bit,
// no flow control (the modem lines are ours to drive). A device whose modem lines cannot be
// read and set is refused when it opens.
class SerialPortBackend : public PortBackend {
public:
    explicit SerialPortBackend(PortDeviceMap map = {});

    void selectPort(int number) override { number_ = number; }
    int selectedPort() const override { return number_; }
    bool isOpen() const override { return port_.isOpen(); }
    bool open(QString* whyNot) override;
    void close() override;
    void setDtr(bool on) override;
    void setRts(bool on) override;
    bool cts() override;
    bool dsr() override;
    void sendByte(std::uint8_t byte) override;

    // The reason for a failed open, as a user can act on it.
    static QString openFailureReason(QSerialPort::SerialPortError error, const QString& device,
                                     const QString& platformText);

private:
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
};
