#pragma once

#include "bus/PortBackend.h"

#include <QString>

#include <functional>

// The adapter's line test: RTS is toggled 255 times and DSR, strapped to RTS on the adapter,
// must follow it each time. Works on the port directly, so nothing is traced.
class LineProbe {
public:
    struct Result {
        bool failed = false;
        // " p/" for a period whose rise DSR missed, " p\" for one whose fall it missed.
        QString report;
        // The text of the box that tells the outcome.
        QString message() const;
    };

    static Result run(PortBackend& port, const std::function<void(int period)>& progress);
};
