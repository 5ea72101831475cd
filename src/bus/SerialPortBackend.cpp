#include "bus/SerialPortBackend.h"

#ifdef Q_OS_UNIX
#include <sys/ioctl.h>

#include <cerrno>
#include <cstring>
#endif

SerialPortBackend::SerialPortBackend(PortDeviceMap map) : map_(std::move(map)) {
    // A character that cannot be written because the device has gone.
    QObject::connect(&port_, &QSerialPort::errorOccurred, [this](QSerialPort::SerialPortError e) {
        if (e != QSerialPort::ResourceError || !port_.isOpen())
            return;
        lineError_ = port_.errorString();
        lineGone_ = true;
        port_.clearError();
        dropIfGone();
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
        port_.clearError();
    } else {
        // A device without modem-control lines (a pseudo-terminal, some adapters) opens like
        // any port, but every line call on it would fail and every read look like a low line.
        // Read the lines and give DTR the level it has: nothing on the wires moves.
        const auto pins = readLines();
        if (pins && setLine(QSerialPort::DataTerminalReadySignal,
                            pins->testFlag(QSerialPort::DataTerminalReadySignal))) {
            if (adapter_.device != device)
                adapter_ = AdapterInfo::identify(device);
            // Measured through the strap before the bus sees any traffic.
            if (timing_.autoSettle && (measuredDevice_ != device || !measured_->followed))
                measure(pins->testFlag(QSerialPort::RequestToSendSignal));
            applyTiming();
            return port_.isOpen();
        }
        why = QStringLiteral("%1 has no modem-control lines (%2): it cannot drive the bus")
                  .arg(device, lineError_);
        lineGone_ = false;
        port_.close();
    }
    if (whyNot)
        *whyNot = why;
    return false;
}

void SerialPortBackend::close() {
    if (port_.isOpen())
        port_.close();
}

#ifdef Q_OS_UNIX

// One system call on the port's handle each (QSerialPort's setters read the lines first,
// which would double the cost of every line change).
bool SerialPortBackend::setLine(QSerialPort::PinoutSignal line, bool on) {
    int bits = line == QSerialPort::DataTerminalReadySignal ? TIOCM_DTR : TIOCM_RTS;
    if (::ioctl(port_.handle(), on ? TIOCMBIS : TIOCMBIC, &bits) != -1)
        return true;
    lineCallFailed(errno);
    return false;
}

std::optional<QSerialPort::PinoutSignals> SerialPortBackend::readLines() {
    int bits = 0;
    if (::ioctl(port_.handle(), TIOCMGET, &bits) == -1) {
        lineCallFailed(errno);
        return std::nullopt;
    }
    QSerialPort::PinoutSignals pins;
    pins.setFlag(QSerialPort::DataTerminalReadySignal, (bits & TIOCM_DTR) != 0);
    pins.setFlag(QSerialPort::RequestToSendSignal, (bits & TIOCM_RTS) != 0);
    pins.setFlag(QSerialPort::ClearToSendSignal, (bits & TIOCM_CTS) != 0);
    pins.setFlag(QSerialPort::DataSetReadySignal, (bits & TIOCM_DSR) != 0);
    return pins;
}

void SerialPortBackend::lineCallFailed(int errorNumber) {
    lineError_ = QString::fromLocal8Bit(std::strerror(errorNumber));
    lineGone_ =
        errorNumber == EIO || errorNumber == ENXIO || errorNumber == ENODEV || errorNumber == EBADF;
}

#else

bool SerialPortBackend::setLine(QSerialPort::PinoutSignal line, bool on) {
    if (line == QSerialPort::DataTerminalReadySignal ? port_.setDataTerminalReady(on)
                                                     : port_.setRequestToSend(on))
        return true;
    lineCallFailed();
    return false;
}

std::optional<QSerialPort::PinoutSignals> SerialPortBackend::readLines() {
    const auto pins = port_.pinoutSignals();
    if (port_.error() == QSerialPort::NoError)
        return pins;
    lineCallFailed();
    return std::nullopt;
}

void SerialPortBackend::lineCallFailed() {
    lineError_ = port_.errorString();
    lineGone_ = port_.error() == QSerialPort::ResourceError;
    port_.clearError();
}

#endif

void SerialPortBackend::setAdapterTiming(const AdapterTiming& timing) {
    timing_ = timing;
    applyTiming();
}

void SerialPortBackend::applyTiming() {
    settle_ = timing_.settle;
    if (timing_.autoSettle)
        settle_ = measured_ && measuredDevice_ == map_.deviceFor(number_)
                      ? measured_->settle
                      : AdapterTiming::Duration{0};
    timed_ = settle_ > AdapterTiming::Duration{0} || timing_.minChange > AdapterTiming::Duration{0};
    lastChange_ = AdapterTiming::Clock::now();
}

SettleMeasurement SerialPortBackend::measureSettle() {
    const auto pins = port_.isOpen() ? readLines() : std::nullopt;
    if (!pins) {
        dropIfGone();
        return {};
    }
    measure(pins->testFlag(QSerialPort::RequestToSendSignal));
    applyTiming();
    return *measured_;
}

void SerialPortBackend::measure(bool rts) {
    settle_ = AdapterTiming::Duration{0}; // the reads must not wait while the lag is timed
    timed_ = timing_.minChange > AdapterTiming::Duration{0};
    lastChange_ = AdapterTiming::Clock::now();
    measured_ = SettleMeasurement::measure(*this, rts);
    measuredDevice_ = map_.deviceFor(number_);
}

QStringList SerialPortBackend::adapterNotes() const {
    QStringList notes;
    if (adapter_.device.isEmpty())
        return notes;
    QString id = adapter_.usbIdText();
    notes << QStringLiteral("Adapter: %1%2")
                 .arg(adapter_.familyText(), id.isEmpty() ? id : QStringLiteral(", USB ") + id);
    const bool settled = timing_.autoSettle || timing_.settle > AdapterTiming::Duration{0};
    if (!adapter_.warning().isEmpty() && !(adapter_.needsSettle() && settled))
        notes << adapter_.warning();
    if (timing_.autoSettle && measured_ && measuredDevice_ == adapter_.device)
        notes << measured_->summary();
    return notes;
}

// A line that cannot be read reads as on a closed port: CTS released, DSR not asserted.
bool SerialPortBackend::cts() {
    if (!port_.isOpen())
        return true;
    beforeRead();
    const auto pins = readLines();
    if (!pins)
        dropIfGone();
    return !pins || pins->testFlag(QSerialPort::ClearToSendSignal);
}

bool SerialPortBackend::dsr() {
    if (!port_.isOpen())
        return false;
    beforeRead();
    const auto pins = readLines();
    if (!pins)
        dropIfGone();
    return pins && pins->testFlag(QSerialPort::DataSetReadySignal);
}

void SerialPortBackend::sendByte(std::uint8_t byte) {
    if (!port_.isOpen())
        return;
    const char c = static_cast<char>(byte);
    port_.write(&c, 1);
    port_.flush(); // hands what it can to the driver without blocking
}

void SerialPortBackend::dropIfGone() {
    if (!port_.isOpen() || !lineGone_)
        return;
    lineGone_ = false;
    adapter_ = {}; // whatever is plugged in next is identified (and measured) anew
    measuredDevice_.clear();
    const QString why =
        QStringLiteral("%1 stopped answering (%2)").arg(map_.deviceFor(number_), lineError_);
    port_.close();
    reportLost(why);
}
