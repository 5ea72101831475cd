#pragma once

#include "bus/LineEventLog.h"
#include "bus/PortBackend.h"

// Where the line operations hand the levels they put on or read from the lines while
// analysis is on (the observation picture).
class LevelRecorder {
public:
    enum class Line {
        Data,
        Clock
    };
    virtual ~LevelRecorder() = default;
    virtual void recordLevel(Line line, bool high) = 0;
    // A bus condition starts from both lines high, whatever was recorded before; nothing is
    // drawn for it. A recorder that keeps no levels ignores it.
    virtual void presetHigh() {}
};

// The port line driver: opens and closes the port for either bus and offers the five line
// operations every bus primitive is built from. Each operation is one call on the port and,
// only while analysis is on, one record in the trace and one time-stamped event in the log.
// None of them waits or yields.
//
//   data out  DTR  on = high (released)     clock     RTS  on = high
//   data in   CTS  asserted = high          probe     DSR  (line test only)
class PortLines {
public:
    explicit PortLines(PortBackend& port) : port_(&port) {}

    PortBackend& port() { return *port_; }
    void setRecorder(LevelRecorder* recorder) { recorder_ = recorder; }
    void setEventLog(LineEventLog* log) { log_ = log; }

    bool analysisOn() const { return analysisOn_; }
    void setAnalysisOn(bool on) { analysisOn_ = on; }

    // Opens the port if it is closed and raises RTS, then DTR, straight on the port (not
    // traced). True when the port is open afterwards.
    bool openPortI2c(QString* whyNot = nullptr);
    // Opens the port if it is closed, then DataHigh, ClockLow. True when it is open.
    bool openPortMicrowire(QString* whyNot = nullptr);
    void closePort() {
        port_->close();
        dataOut_ = clock_ = false; // closing drops both
    }

    void dataHigh() {
        port_->setDtr(true);
        ++operations_;
        dataOut_ = true;
        observe(LineEventLog::Signal::DataOut, true);
    }
    void dataLow() {
        port_->setDtr(false);
        ++operations_;
        dataOut_ = false;
        observe(LineEventLog::Signal::DataOut, false);
    }
    void clockHigh() {
        port_->setRts(true);
        ++operations_;
        clock_ = true;
        observe(LineEventLog::Signal::Clock, true);
    }
    void clockLow() {
        port_->setRts(false);
        ++operations_;
        clock_ = false;
        observe(LineEventLog::Signal::Clock, false);
    }
    // Samples CTS: true when the data line is high.
    bool readData() {
        const bool high = port_->cts();
        ++operations_;
        observe(LineEventLog::Signal::DataIn, high);
        return high;
    }
    // Hands one character to TXD (on a closed port nothing is sent).
    void sendCharacter(std::uint8_t byte);

    // Records a level in the trace (while analysis is on) without touching the port.
    void record(LevelRecorder::Line line, bool high) {
        if (analysisOn_ && recorder_)
            recorder_->recordLevel(line, high);
    }
    // Both lines count as high for the recorder from now on (analysis on or off).
    void presetHigh() {
        if (recorder_)
            recorder_->presetHigh();
    }
    // A run starts: the port hears of it first, then the event log starts over (time 0 is
    // now), from the levels the outputs were last given.
    void beginRun();
    // The line operations (the five above and sendCharacter) done so far: the difference over
    // a piece of work is what it cost on the port.
    std::uint64_t lineOperations() const { return operations_; }

private:
    PortBackend* port_;
    void observe(LineEventLog::Signal signal, bool high) {
        if (analysisOn_)
            observed(signal, high);
    }
    void observed(LineEventLog::Signal signal, bool high);

    LevelRecorder* recorder_ = nullptr;
    LineEventLog* log_ = nullptr;
    bool analysisOn_ = false;
    bool dataOut_ = false; // the levels last put on DTR and RTS
    bool clock_ = false;
    std::uint64_t operations_ = 0;
};
