#include "bus/SerialPortBackend.h"

SerialPortBackend::SerialPortBackend(PortDeviceMap map) : map_(std::move(map)) {
    QObject::connect(&port_, &QSerialPort::errorOccurred, [this](QSerialPort::SerialPortError e) {
        if (e == QSerialPort::ResourceError)
            checkLost();
    });
}

QString SerialPortBackend::openFailureReason(QSerialPort::SerialPortError error,
                                             const QString& device, const QString& platformText) {
    switch (error) {
    case QSerialPort::DeviceNotFoundError:
        return QStringLiteral("%1 does not exist (is the adapter plugged in? --device maps a port "
                              "number to another device)")
            .arg(device);
    case QSerialPort::PermissionError:
        return QStringLiteral("%1 is in use by another program, or you may not open it "
                              "(on Linux: add yourself to the dialout group and log in again)")
            .arg(device);
    case QSerialPort::OpenError:
        return QStringLiteral("%1 is already open").arg(device);
    default:
        return platformText.isEmpty() ? QString()
                                      : QStringLiteral("%1: %2").arg(device, platformText);
    }
}

bool SerialPortBackend::open(QString* whyNot) {
    if (port_.isOpen())
        return true;
    const QString device = map_.deviceFor(number_);
    port_.setPortName(device);
    port_.setBaudRate(QSerialPort::Baud2400);
    port_.setDataBits(QSerialPort::Data8);
    port_.setParity(QSerialPort::NoParity);
    port_.setStopBits(QSerialPort::OneStop);
    port_.setFlowControl(QSerialPort::NoFlowControl);
    QString why;
    if (!port_.open(QIODevice::ReadWrite)) {
        why = openFailureReason(port_.error(), device, port_.errorString());
    } else {
        // A device without modem-control lines (a pseudo-terminal, some adapters) opens like
        // any port, but every line call on it would fail and every read look like a low line.
        // Read the lines and give DTR the level it has: nothing on the wires moves.
        const auto pins = port_.pinoutSignals();
        if (port_.error() == QSerialPort::NoError)
            port_.setDataTerminalReady(pins.testFlag(QSerialPort::DataTerminalReadySignal));
        if (port_.error() == QSerialPort::NoError)
            return true;
        why = QStringLiteral("%1 has no modem-control lines (%2): it cannot drive the bus")
                  .arg(device, port_.errorString());
        port_.close();
    }
    if (whyNot)
        *whyNot = why;
    port_.clearError();
    return false;
}

void SerialPortBackend::close() {
    if (port_.isOpen())
        port_.close();
}

void SerialPortBackend::setDtr(bool on) {
    if (port_.isOpen() && !port_.setDataTerminalReady(on))
        checkLost();
}

void SerialPortBackend::setRts(bool on) {
    if (port_.isOpen() && !port_.setRequestToSend(on))
        checkLost();
}

bool SerialPortBackend::cts() {
    if (!port_.isOpen())
        return true;
    const auto pins = port_.pinoutSignals();
    checkLost();
    return pins.testFlag(QSerialPort::ClearToSendSignal);
}

bool SerialPortBackend::dsr() {
    if (!port_.isOpen())
        return false;
    const auto pins = port_.pinoutSignals();
    checkLost();
    return pins.testFlag(QSerialPort::DataSetReadySignal);
}

void SerialPortBackend::sendByte(std::uint8_t byte) {
    if (!port_.isOpen())
        return;
    const char c = static_cast<char>(byte);
    port_.write(&c, 1);
    port_.flush(); // hands what it can to the driver without blocking
}

void SerialPortBackend::checkLost() {
    if (!port_.isOpen() || port_.error() != QSerialPort::ResourceError)
        return;
    const QString why = QStringLiteral("%1 stopped answering (%2)")
                            .arg(map_.deviceFor(number_), port_.errorString());
    port_.clearError();
    port_.close();
    reportLost(why);
}
