#include "bus/LineEventLog.h"

#include "base/UartFrame.h"

void LineEventLog::begin(std::uint64_t startNs, bool dataOut, bool clock) {
    events_.clear();
    txdIdleNs_ = 0;
    startNs_ = startNs;
    startDataOut_ = dataOut;
    startClock_ = clock;
}

void LineEventLog::character(std::uint8_t byte, std::uint64_t atNs) {
    UartFrame::forEachEdge(byte, [&](std::uint64_t offsetNs, bool level) {
        add(Signal::Txd, level, atNs + offsetNs);
    });
    txdIdleNs_ = atNs + UartFrame::bitTimesNs(UartFrame::kBits);
}
