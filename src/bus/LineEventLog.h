#pragma once

#include <cstdint>
#include <vector>

// The line events of one run with their time stamps, kept while analysis is on: what the tool
// put on DTR and RTS, what it sampled on CTS and when, and the reset character's frame on TXD.
// Unlike the observation picture it keeps real time, so the run can be exported to
// logic-analyser software.
class LineEventLog {
public:
    enum class Signal : std::uint8_t {
        DataOut, // DTR
        Clock,   // RTS
        DataIn,  // CTS, at the moment it was sampled
        Txd
    };
    struct Event {
        std::uint64_t atNs;
        Signal signal;
        bool level;
    };

    // Starts a new run at startNs with the outputs at the given levels.
    void begin(std::uint64_t startNs, bool dataOut, bool clock);
    void add(Signal signal, bool level, std::uint64_t atNs) {
        events_.push_back({atNs, signal, level});
    }
    // The frame of one character handed to an idle transmitter at atNs: 2400 baud, start bit,
    // eight data bits from bit 0, stop bit (TXD high = idle).
    void character(std::uint8_t byte, std::uint64_t atNs);

    bool empty() const { return events_.empty(); }
    // When the last character's stop bit ends (0: no character in this run).
    std::uint64_t txdIdleNs() const { return txdIdleNs_; }
    std::uint64_t startNs() const { return startNs_; }
    bool startDataOut() const { return startDataOut_; }
    bool startClock() const { return startClock_; }
    // In the order they were recorded: a frame's edges are recorded when the character is
    // handed over, ahead of the events that follow it.
    const std::vector<Event>& events() const { return events_; }

private:
    std::vector<Event> events_;
    std::uint64_t startNs_ = 0;
    std::uint64_t txdIdleNs_ = 0;
    bool startDataOut_ = true;
    bool startClock_ = true;
};
