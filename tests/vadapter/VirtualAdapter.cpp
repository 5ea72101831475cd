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

// Microseconds in the environment's text as nanoseconds (0 for none); rest: after the number.
std::uint64_t nanos(const char* text, char** rest = nullptr) {
    return text && *text ? static_cast<std::uint64_t>(std::strtod(text, rest) * 1000.0) : 0;
}

struct Sample {
    std::uint64_t atNs;
    bool cts, dsr;
};

// The adapter and its board. Never destroyed: calls may come while the process ends.
struct Adapter {
    std::unique_ptr<SimulatedBoard> board;
    Clock::time_point origin = Clock::now();
    std::uint64_t callNs = 0, periodNs = 0, lagNs = 0; // periodNs 0: the lines are read live
    bool refuse = false, changed = false;
    std::deque<Sample> history; // the input levels after each change, for the cached status
    std::uint64_t lastChangeNs = 0;
    VadapterCounts counts{0, 0, 0, 0, -1, -1};

    void opened(int fd) {
        char* rest = nullptr;
        callNs = nanos(std::getenv("VADAPTER_CALL_US"));
        periodNs = nanos(std::getenv("VADAPTER_CACHE_US"), &rest);
        lagNs = rest && *rest == ',' ? nanos(rest + 1) : 0;
        refuse = nanos(std::getenv("VADAPTER_REFUSE")) != 0;
        if (!board) {
            board = SimulatedBoard::fromVariant(QString());
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
        const auto now = static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now() - origin).count());
        if (now > board->nowNs())
            board->elapse(now - board->nowNs());
        return now;
    }
    // The input levels as the wires have them: CTS is the data line, DSR the strap to RTS.
    void record() { history.push_back({board->nowNs(), board->wires().data, board->wires().rts}); }

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
        if (refuse) {
            errno = ENOTTY;
            return -1;
        }
        const Clock::time_point done = Clock::now() + std::chrono::nanoseconds(callNs);
        const std::uint64_t now = catchUp();
        const BoardWires& w = board->wires();
        if (request == TIOCMGET) {
            ++counts.get;
            const Sample s = periodNs > 0 ? cached(now) : Sample{now, board->cts(), board->dsr()};
            *bits = (w.dtr ? TIOCM_DTR : 0) | (w.rts ? TIOCM_RTS : 0) | (s.cts ? TIOCM_CTS : 0) |
                    (s.dsr ? TIOCM_DSR : 0);
        } else {
            const bool on = request == TIOCMBIS;
            ++(request == TIOCMSET ? counts.set : on ? counts.bis : counts.bic);
            const auto level = [&](int bit, bool was) {
                return request == TIOCMSET ? (*bits & bit) != 0 : (*bits & bit) ? on : was;
            };
            const bool dtr = level(TIOCM_DTR, w.dtr), rts = level(TIOCM_RTS, w.rts);
            const auto gap = static_cast<long long>(now - lastChangeNs);
            if (changed && (counts.minChangeGapNs < 0 || gap < counts.minChangeGapNs))
                counts.minChangeGapNs = gap;
            changed = true;
            lastChangeNs = now;
            if (dtr != w.dtr)
                board->setDtr(dtr);
            if (rts != w.rts)
                board->setRts(rts);
            record();
        }
        while (Clock::now() < done) {
        }
        return 0;
    }
};

Adapter& adapter() {
    static Adapter* a = new Adapter;
    return *a;
}

bool served(int fd) {
    return fd >= 0 && fd == adapter().counts.servedFd;
}

} // namespace

VADAPTER_EXPORT void vadapter_counts(VadapterCounts* out) {
    *out = adapter().counts;
}

VADAPTER_EXPORT int ioctl(int fd, unsigned long request, ...) noexcept {
    va_list args;
    va_start(args, request);
    void* arg = va_arg(args, void*);
    va_end(args);
    if (served(fd) &&
        (request == TIOCMGET || request == TIOCMBIS || request == TIOCMBIC || request == TIOCMSET))
        return adapter().answer(request, static_cast<int*>(arg));
    static const auto next = real<int (*)(int, unsigned long, void*)>("ioctl");
    return next(fd, request, arg);
}

// open() and open64(); openat() and openat64() with the type of their folder argument. The
// device named by VADAPTER_DEVICE is served from its opening.
#define VADAPTER_OPEN(name, ...)                                                                   \
    VADAPTER_EXPORT int name(__VA_OPT__(__VA_ARGS__ dir, ) const char* path, int flags, ...) {     \
        va_list args;                                                                              \
        va_start(args, flags);                                                                     \
        const bool needsMode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;         \
        const mode_t mode = needsMode ? va_arg(args, mode_t) : 0;                                  \
        va_end(args);                                                                              \
        static const auto next = real<decltype(&name)>(#name);                                     \
        const int fd = next(__VA_OPT__(dir, ) path, flags, mode);                                  \
        const char* device = std::getenv("VADAPTER_DEVICE");                                       \
        if (fd >= 0 && device && std::strcmp(path, device) == 0)                                   \
            adapter().opened(fd);                                                                  \
        return fd;                                                                                 \
    }
VADAPTER_OPEN(open)
VADAPTER_OPEN(open64)
VADAPTER_OPEN(openat, int)
VADAPTER_OPEN(openat64, int)

VADAPTER_EXPORT int close(int fd) {
    if (served(fd))
        adapter().closed();
    static const auto next = real<decltype(&close)>("close");
    return next(fd);
}
