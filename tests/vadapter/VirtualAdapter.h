#pragma once

// The virtual adapter's interface for a test or a benchmark that runs with it preloaded
// (LD_PRELOAD=libtamsolvix_vadapter.so). It serves the device named by the environment when
// that is opened (read at each open):
//   VADAPTER_DEVICE    the path it serves (a pseudo-terminal's, never a real port)
//   VADAPTER_CALL_US   every modem-line call takes this long (FTDI: about 1000, 125 for an
//                      FT232H)
//   VADAPTER_CACHE_US  "P,L": CTS and DSR are read from a status refreshed every P us, each
//                      refresh showing the lines as they were L us before it (PL2303, CH340)
//   VADAPTER_REFUSE    "1": the modem-line calls fail with ENOTTY (no modem lines)
#include <dlfcn.h>

extern "C" {
struct VadapterCounts {
    unsigned long long get;   // TIOCMGET answered
    unsigned long long bis;   // TIOCMBIS
    unsigned long long bic;   // TIOCMBIC
    unsigned long long set;   // TIOCMSET
    long long minChangeGapNs; // the shortest time between two line changes since the
                              // device last opened (-1: fewer than two)
    int servedFd;             // the served device's descriptor (-1 while it is closed)
};
}

// The counts since the process started, through the preloaded library; false when it is not
// preloaded.
inline bool vadapterCounts(VadapterCounts& counts) {
    using Fn = void (*)(VadapterCounts*);
    const auto fn = reinterpret_cast<Fn>(dlsym(RTLD_DEFAULT, "vadapter_counts"));
    if (!fn)
        return false;
    fn(&counts);
    return true;
}
