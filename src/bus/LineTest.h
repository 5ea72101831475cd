#pragma once

#include "bus/PortBackend.h"

#include <functional>
#include <vector>

// The adapter's line test: RTS is toggled 255 times and DSR, strapped to RTS on the adapter,
// must follow it each time. Works on the port directly, so nothing is traced.
class LineTest {
public:
    // A period in which DSR did not follow RTS: it missed the rise, or the fall.
    struct Miss {
        int period;
        bool rise;
    };
    struct Verdict {
        bool passed = false; // a test that never ran has not passed
        // In the order they happened. A missed first rise alone is no failure: the line may
        // settle late after the port opens.
        std::vector<Miss> misses;
    };

    static Verdict run(PortBackend& port, const std::function<void(int period)>& progress);
};
