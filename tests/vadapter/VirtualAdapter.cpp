// A virtual USB-serial adapter with the test board behind it, preloaded into a process
// (LD_PRELOAD). It answers the modem-line calls (TIOCMGET, TIOCMBIS, TIOCMBIC, TIOCMSET) on one
// pseudo-terminal from a simulated board, with the timing of a real adapter; everything else,
// the characters too, goes to the kernel's pseudo-terminal unchanged. See VirtualAdapter.h for
// its settings.
#undef _FORTIFY_SOURCE // the open() wrappers below must not meet the fortified inline ones

#include "VirtualAdapter.h"

#include "sim/SimulatedBoard.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>

#define VADAPTER_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

using Clock = std::chrono::steady_clock;

template <typename Fn> Fn real(const char* name) {
    return reinterpret_cast<Fn>(dlsym(RTLD_NEXT, name));
}

using IoctlFn = int (*)(int, unsigned long, void*);
using OpenFn = int (*)(const char*, int, ...);
using OpenAtFn = int (*)(int, const char*, int, ...);
using CloseFn = int (*)(int);

std::uint64_t envMicros(const char* name, std::uint64_t fallback = 0) {
    const char* text = std::getenv(name);
    return text && *text ? static_cast<std::uint64_t>(std::strtod(text, nullptr) * 1000.0)
                         : fallback;
}

struct Sample {
    std::uint64_t atNs;
    bool cts;
    bool dsr;
};

// The adapter and its board. Never destroyed: calls may come while the process ends.
struct Adapter {
    std::unique_ptr<SimulatedBoard> board;
    Clock::time_point origin = Clock::now();
    std::uint64_t callNs = 0;
    std::uint64_t periodNs = 0; // 0: the lines are read live
    std::uint64_t lagNs = 0;
    bool refuse = false;
    std::deque<Sample> history; // the input levels after each change, for the cached status
    std::uint64_t lastChangeNs = 0;
    bool changed = false;
    VadapterCounts counts{0, 0, 0, 0, 0, -1, -1};

    std::uint64_t nowNs() const {
        return static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - origin).count());
    }

    void opened(int fd) {
        callNs = envMicros("VADAPTER_CALL_US");
        const char* cache = std::getenv("VADAPTER_CACHE_US");
        periodNs = lagNs = 0;
        if (cache && *cache) {
            char* rest = nullptr;
            periodNs = static_cast<std::uint64_t>(std::strtod(cache, &rest) * 1000.0);
            if (rest && *rest == ',')
                lagNs = static_cast<std::uint64_t>(std::strtod(rest + 1, nullptr) * 1000.0);
        }
        const char* refuseText = std::getenv("VADAPTER_REFUSE");
        refuse = refuseText && *refuseText && std::strcmp(refuseText, "0") != 0;
        if (!board) {
            const char* variant = std::getenv("VADAPTER_BOARD");
            board = SimulatedBoard::fromVariant(QString::fromLocal8Bit(variant ? variant : ""));
            if (!board) {
                std::fprintf(stderr, "virtual adapter: unknown board variant %s\n", variant);
                std::abort();
            }
            board->setCallCostNs(0); // the board follows the real time instead
        }
        catchUp();
        board->open(nullptr);
        history.clear();
        record();
        counts.servedFd = fd;
        counts.minChangeGapNs = -1; // counted anew for each open
        changed = false;
    }

    void closed() {
        catchUp();
        board->close();
        counts.servedFd = -1;
    }

    // The board's clock follows the real time.
    std::uint64_t catchUp() {
        const std::uint64_t now = nowNs();
        if (now > board->nowNs())
            board->elapse(now - board->nowNs());
        return now;
    }

    void record() {
        // The input levels as the wires have them: CTS is the data line, DSR the strap to RTS.
        const BoardWires& w = board->wires();
        history.push_back({board->nowNs(), w.data, w.rts});
    }

    // The levels the cached status shows at `now`: the lines as they were L before the last
    // refresh.
    Sample cached(std::uint64_t now) {
        const std::uint64_t refresh = now / periodNs * periodNs;
        const std::uint64_t seen = refresh > lagNs ? refresh - lagNs : 0;
        while (history.size() > 1 && history[1].atNs <= seen)
            history.pop_front();
        return history.front();
    }

    int answer(unsigned long request, int* bits) {
        const Clock::time_point start = Clock::now();
        if (refuse) {
            ++counts.refused;
            errno = ENOTTY;
            return -1;
        }
        const std::uint64_t now = catchUp();
        if (request == TIOCMGET) {
            ++counts.get;
            const BoardWires& w = board->wires();
            bool cts = board->cts();
            bool dsr = board->dsr();
            if (periodNs > 0) {
                const Sample s = cached(now);
                cts = s.cts;
                dsr = s.dsr;
            }
            *bits = (w.dtr ? TIOCM_DTR : 0) | (w.rts ? TIOCM_RTS : 0) | (cts ? TIOCM_CTS : 0) |
                    (dsr ? TIOCM_DSR : 0);
        } else {
            const BoardWires& w = board->wires();
            bool dtr = w.dtr;
            bool rts = w.rts;
            if (request == TIOCMSET) {
                ++counts.set;
                dtr = (*bits & TIOCM_DTR) != 0;
                rts = (*bits & TIOCM_RTS) != 0;
            } else {
                const bool on = request == TIOCMBIS;
                ++(on ? counts.bis : counts.bic);
                if (*bits & TIOCM_DTR)
                    dtr = on;
                if (*bits & TIOCM_RTS)
                    rts = on;
            }
            if (changed) {
                const auto gap = static_cast<long long>(now - lastChangeNs);
                if (counts.minChangeGapNs < 0 || gap < counts.minChangeGapNs)
                    counts.minChangeGapNs = gap;
            }
            changed = true;
            lastChangeNs = now;
            if (dtr != w.dtr)
                board->setDtr(dtr);
            if (rts != board->wires().rts)
                board->setRts(rts);
            record();
        }
        const Clock::time_point done = start + std::chrono::nanoseconds(callNs);
        while (Clock::now() < done) {
        }
        return 0;
    }
};

Adapter& adapter() {
    static Adapter* a = new Adapter;
    return *a;
}

int servedFd = -1;

bool isServedPath(const char* path) {
    const char* served = std::getenv("VADAPTER_DEVICE");
    return path && served && *served && std::strcmp(path, served) == 0;
}

int afterOpen(int fd, const char* path) {
    if (fd >= 0 && isServedPath(path)) {
        servedFd = fd;
        adapter().opened(fd);
    }
    return fd;
}

bool needsMode(int flags) {
    return (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
}

void writeCounts() {
    const char* path = std::getenv("VADAPTER_COUNT_FILE");
    if (!path || !*path)
        return;
    if (FILE* f = std::fopen(path, "w")) {
        const VadapterCounts& c = adapter().counts;
        std::fprintf(f,
                     "TIOCMGET %llu\nTIOCMBIS %llu\nTIOCMBIC %llu\nTIOCMSET %llu\nrefused %llu\n",
                     c.get, c.bis, c.bic, c.set, c.refused);
        std::fclose(f);
    }
}

[[maybe_unused]] const int kAtExit = std::atexit(writeCounts);

} // namespace

VADAPTER_EXPORT void vadapter_counts(VadapterCounts* out) {
    *out = adapter().counts;
}

VADAPTER_EXPORT int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list args;
    va_start(args, request);
    void* arg = va_arg(args, void*);
    va_end(args);
    if (fd == servedFd && fd >= 0 &&
        (request == TIOCMGET || request == TIOCMBIS || request == TIOCMBIC || request == TIOCMSET))
        return adapter().answer(request, static_cast<int*>(arg));
    static const auto next = real<IoctlFn>("ioctl");
    return next(fd, request, arg);
}

#define VADAPTER_OPEN(name)                                                                        \
    VADAPTER_EXPORT int name(const char* path, int flags, ...) {                                   \
        mode_t mode = 0;                                                                           \
        if (needsMode(flags)) {                                                                    \
            va_list args;                                                                          \
            va_start(args, flags);                                                                 \
            mode = va_arg(args, mode_t);                                                           \
            va_end(args);                                                                          \
        }                                                                                          \
        static const auto next = real<OpenFn>(#name);                                              \
        return afterOpen(next(path, flags, mode), path);                                           \
    }
#define VADAPTER_OPENAT(name)                                                                      \
    VADAPTER_EXPORT int name(int dir, const char* path, int flags, ...) {                          \
        mode_t mode = 0;                                                                           \
        if (needsMode(flags)) {                                                                    \
            va_list args;                                                                          \
            va_start(args, flags);                                                                 \
            mode = va_arg(args, mode_t);                                                           \
            va_end(args);                                                                          \
        }                                                                                          \
        static const auto next = real<OpenAtFn>(#name);                                            \
        return afterOpen(next(dir, path, flags, mode), path);                                      \
    }

VADAPTER_OPEN(open)
VADAPTER_OPEN(open64)
VADAPTER_OPENAT(openat)
VADAPTER_OPENAT(openat64)

VADAPTER_EXPORT int close(int fd) {
    if (fd == servedFd && fd >= 0) {
        servedFd = -1;
        adapter().closed();
    }
    static const auto next = real<CloseFn>("close");
    return next(fd);
}
