#pragma once

#include "bus/PortBackend.h"

// Where the line operations hand the levels they put on or read from the lines while
// analysis is on (the observation trace).
class LevelRecorder {
public:
    enum class Line {
        Data,
        Clock
    };
    virtual ~LevelRecorder() = default;
    virtual void recordLevel(Line line, bool high) = 0;
};

// The port line driver: opens and closes the port for either bus and offers the five line
// operations every bus primitive is built from. Each operation is one call on the port and,
// only while analysis is on, one record in the trace. None of them waits or yields.
//
//   data out  DTR  on = high (released)     clock     RTS  on = high
//   data in   CTS  asserted = high          probe     DSR  (line test only)
class PortLines {
public:
    explicit PortLines(PortBackend& port) : port_(&port) {}

    PortBackend& port() { return *port_; }
    void setRecorder(LevelRecorder* recorder) { recorder_ = recorder; }

    bool analysisOn() const { return analysisOn_; }
    void setAnalysisOn(bool on) { analysisOn_ = on; }

    // Opens the port if it is closed and raises RTS, then DTR, straight on the port (not
    // traced). True when the port is open afterwards.
    bool openPortI2c(QString* whyNot = nullptr);
    // Opens the port if it is closed, then DataHigh, ClockLow. True when it is open.
    bool openPortMicrowire(QString* whyNot = nullptr);
    void closePort() { port_->close(); }

    void dataHigh() {
        port_->setDtr(true);
        record(LevelRecorder::Line::Data, true);
    }
    void dataLow() {
        port_->setDtr(false);
        record(LevelRecorder::Line::Data, false);
    }
    void clockHigh() {
        port_->setRts(true);
        record(LevelRecorder::Line::Clock, true);
    }
    void clockLow() {
        port_->setRts(false);
        record(LevelRecorder::Line::Clock, false);
    }
    // Samples CTS: true when the data line is high.
    bool readData() {
        const bool high = port_->cts();
        record(LevelRecorder::Line::Data, high);
        return high;
    }

    // Records a level in the trace (while analysis is on) without touching the port.
    void record(LevelRecorder::Line line, bool high) {
        if (analysisOn_ && recorder_)
            recorder_->recordLevel(line, high);
    }

private:
    PortBackend* port_;
    LevelRecorder* recorder_ = nullptr;
    bool analysisOn_ = false;
};
