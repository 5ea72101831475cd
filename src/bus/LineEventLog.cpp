#include "bus/LineEventLog.h"

#include "base/UartFrame.h"

namespace {

// An event's first byte: its level, its signal, and whether its time step is the one before's;
// when it is not, the step follows in groups of seven bits, the lowest first, each but the last
// with its top bit set.
constexpr std::uint8_t kLevel = 1;
constexpr int kSignalShift = 1;
constexpr std::uint8_t kSameStep = 8;

} // namespace

void LineEventLog::begin(std::uint64_t startNs, bool dataOut, bool clock) {
    bytes_.clear();
    characters_.clear();
    lines_ = kept_ = dropped_ = 0;
    lastNs_ = startNs;
    lastStepNs_ = 0;
    txdIdleNs_ = 0;
    startNs_ = startNs;
    startDataOut_ = dataOut;
    startClock_ = clock;
}

void LineEventLog::add(Signal signal, bool level, std::uint64_t atNs) {
    if (kept_ >= maxEvents_) {
        ++dropped_;
        return;
    }
    const std::uint64_t step = atNs > lastNs_ ? atNs - lastNs_ : 0;
    lastNs_ += step;
    const auto first = static_cast<std::uint8_t>((level ? kLevel : 0) |
                                                 (static_cast<unsigned>(signal) << kSignalShift));
    if (step == lastStepNs_) {
        bytes_.push_back(first | kSameStep);
    } else {
        bytes_.push_back(first);
        std::uint64_t rest = step;
        for (; rest > 0x7Fu; rest >>= 7)
            bytes_.push_back(static_cast<std::uint8_t>((rest & 0x7Fu) | 0x80u));
        bytes_.push_back(static_cast<std::uint8_t>(rest));
        lastStepNs_ = step;
    }
    ++lines_;
    ++kept_;
}

int LineEventLog::frameEdges(std::uint8_t byte) {
    int edges = 0;
    UartFrame::forEachEdge(byte, [&edges](std::uint64_t, bool) { ++edges; });
    return edges;
}

void LineEventLog::character(std::uint8_t byte, std::uint64_t atNs) {
    const auto edges = static_cast<std::size_t>(frameEdges(byte));
    if (kept_ + edges > maxEvents_) {
        dropped_ += edges;
        return;
    }
    characters_.push_back({atNs, lines_, byte});
    kept_ += edges;
    txdIdleNs_ = atNs + UartFrame::bitTimesNs(UartFrame::kBits);
}

bool LineEventLog::Reader::next(Event& event) {
    while (character_ < log_.characters_.size() && log_.characters_[character_].before == line_) {
        const Character& c = log_.characters_[character_];
        while (frameEdge_ < UartFrame::kBits) {
            const int k = frameEdge_++;
            const bool before = k == 0 || UartFrame::bitLevel(c.byte, k - 1);
            if (UartFrame::bitLevel(c.byte, k) != before) {
                event = {c.atNs + UartFrame::bitTimesNs(k), Signal::Txd, !before};
                return true;
            }
        }
        frameEdge_ = 0;
        ++character_;
    }
    if (line_ == log_.lines_)
        return false;
    const std::uint8_t first = log_.bytes_[byte_++];
    if ((first & kSameStep) == 0) {
        stepNs_ = 0;
        for (int shift = 0;; shift += 7) {
            const std::uint8_t group = log_.bytes_[byte_++];
            stepNs_ |= static_cast<std::uint64_t>(group & 0x7Fu) << shift;
            if ((group & 0x80u) == 0)
                break;
        }
    }
    atNs_ += stepNs_;
    ++line_;
    event = {atNs_, static_cast<Signal>((first >> kSignalShift) & 3u), (first & kLevel) != 0};
    return true;
}
