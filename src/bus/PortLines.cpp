#include "bus/PortLines.h"

bool PortLines::openPortI2c(QString* whyNot) {
    if (!port_->isOpen()) {
        if (!port_->open(whyNot))
            return false;
        port_->setRts(true);
        port_->setDtr(true);
        clock_ = dataOut_ = true;
    }
    return true;
}

bool PortLines::openPortMicrowire(QString* whyNot) {
    if (!port_->isOpen()) {
        if (!port_->open(whyNot))
            return false;
        dataHigh();
        clockLow();
    }
    return true;
}

void PortLines::sendCharacter(std::uint8_t byte) {
    if (!port_->isOpen())
        return;
    port_->sendByte(byte);
    ++operations_;
    if (analysisOn_ && log_)
        log_->character(byte, port_->nowNs());
}

void PortLines::beginRun() {
    port_->runStarts();
    if (log_)
        log_->begin(analysisOn_ ? port_->nowNs() : 0, dataOut_, clock_);
}

void PortLines::observed(LineEventLog::Signal signal, bool high) {
    if (recorder_)
        recorder_->recordLevel(signal == LineEventLog::Signal::Clock ? LevelRecorder::Line::Clock
                                                                     : LevelRecorder::Line::Data,
                               high);
    if (log_)
        log_->add(signal, high, port_->nowNs());
}
