#include "bus/LineEventLog.h"

void LineEventLog::begin(std::uint64_t startNs, bool dataOut, bool clock) {
    events_.clear();
    txdIdleNs_ = 0;
    startNs_ = startNs;
    startDataOut_ = dataOut;
    startClock_ = clock;
}

namespace {

// k bit times at 2400 baud, in nanoseconds.
std::uint64_t bitTimesNs(int k) {
    return (static_cast<std::uint64_t>(k) * 1'000'000'000u + 1'200u) / 2'400u;
}

} // namespace

void LineEventLog::character(std::uint8_t byte, std::uint64_t atNs) {
    bool level = true;
    for (int k = 0; k < 10; ++k) {
        const bool bit = k == 0 ? false : k == 9 ? true : ((byte >> (k - 1)) & 1u) != 0;
        if (bit != level)
            add(Signal::Txd, bit, atNs + bitTimesNs(k));
        level = bit;
    }
    txdIdleNs_ = atNs + bitTimesNs(10);
}
