#include "bus/PortBackend.h"

#include <chrono>

void PortBackend::reportLost(const QString& why) {
    if (lostHandler_)
        lostHandler_(why);
}

std::uint64_t PortBackend::nowNs() const {
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                          std::chrono::steady_clock::now().time_since_epoch())
                                          .count());
}
