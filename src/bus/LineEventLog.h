#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// The line events of one run with their time stamps, kept while analysis is on: what the tool
// put on DTR and RTS, what it sampled on CTS and when, and the reset character's frame on TXD.
// Unlike the observation picture it keeps real time, so the run can be exported to
// logic-analyser software.
//
// The log is compact, as a run of long Microwire bit strings makes tens of millions of events:
// an event whose time step equals the one before takes one byte (the simulated board's fixed
// cost per port call), any other a few more for its step. A character is kept as one entry,
// its frame made when the log is read. At most kMaxEvents events (a smaller limit for tests)
// are kept per run; the ones after them are counted but not kept.
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
    static constexpr std::size_t kMaxEvents = 25'000'000;

    explicit LineEventLog(std::size_t maxEvents = kMaxEvents) : maxEvents_(maxEvents) {}
    std::size_t maxEvents() const { return maxEvents_; }

    // Starts a new run at startNs with the outputs at the given levels.
    void begin(std::uint64_t startNs, bool dataOut, bool clock);
    // An event on DTR, RTS or CTS. The time stamps of a run do not go back (one that does is
    // taken as the time before it).
    void add(Signal signal, bool level, std::uint64_t atNs);
    // The frame of one character handed to an idle transmitter at atNs: 2400 baud, start bit,
    // eight data bits from bit 0, stop bit (TXD high = idle).
    void character(std::uint8_t byte, std::uint64_t atNs);

    bool empty() const { return kept_ == 0; }
    // The events kept, frame edges included, and the ones left out because the log was full.
    std::size_t size() const { return kept_; }
    std::size_t dropped() const { return dropped_; }
    // When the last character's stop bit ends (0: no character in this run).
    std::uint64_t txdIdleNs() const { return txdIdleNs_; }
    std::uint64_t startNs() const { return startNs_; }
    bool startDataOut() const { return startDataOut_; }
    bool startClock() const { return startClock_; }

    // Reads the events in the order they were recorded: a frame's edges as they were when the
    // character was handed over, ahead of the events that follow it.
    class Reader {
    public:
        explicit Reader(const LineEventLog& log) : log_(log), atNs_(log.startNs_) {}
        // The next event; false at the end.
        bool next(Event& event);

    private:
        const LineEventLog& log_;
        std::size_t byte_ = 0;      // in log_.bytes_
        std::size_t line_ = 0;      // line events read so far
        std::size_t character_ = 0; // in log_.characters_
        int frameEdge_ = 0;         // the next bit of the current character's frame
        std::uint64_t atNs_;
        std::uint64_t stepNs_ = 0;
    };

private:
    struct Character {
        std::uint64_t atNs;
        std::size_t before; // the line events recorded before it
        std::uint8_t byte;
    };
    static int frameEdges(std::uint8_t byte);

    std::size_t maxEvents_;
    std::vector<std::uint8_t> bytes_; // the line events, encoded
    std::vector<Character> characters_;
    std::size_t lines_ = 0; // line events kept
    std::size_t kept_ = 0;
    std::size_t dropped_ = 0;
    std::uint64_t lastNs_ = 0;
    std::uint64_t lastStepNs_ = 0;
    std::uint64_t startNs_ = 0;
    std::uint64_t txdIdleNs_ = 0;
    bool startDataOut_ = true;
    bool startClock_ = true;
};
