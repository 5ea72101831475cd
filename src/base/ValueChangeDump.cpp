#include "base/ValueChangeDump.h"

#include <QBuffer>

#include <algorithm>
#include <charconv>

namespace {

// Identifier codes: printable characters from '!' on.
char code(int signal) {
    return static_cast<char>('!' + signal);
}

// "1 ns", "10 ns", "100 ns", "1 us", ...
QByteArray timescale(std::uint64_t nsPerTick) {
    static const char* const units[] = {"ns", "us", "ms", "s"};
    std::size_t unit = 0;
    while (unit < 3 && nsPerTick >= 1000 && nsPerTick % 1000 == 0) {
        nsPerTick /= 1000;
        ++unit;
    }
    return QByteArray::number(static_cast<qulonglong>(nsPerTick)) + ' ' + units[unit];
}

constexpr qsizetype kChunkBytes = 64 * 1024;

} // namespace

ValueChangeDump::ValueChangeDump(QByteArray version, QByteArray scope,
                                 std::vector<QByteArray> names, std::uint64_t nsPerTick)
    : version_(std::move(version)), scope_(std::move(scope)), names_(std::move(names)),
      nsPerTick_(nsPerTick) {}

void ValueChangeDump::put(const QByteArray& bytes) {
    chunk_ += bytes;
    if (chunk_.size() < kChunkBytes)
        return;
    if (ok_)
        ok_ = out_->write(chunk_) == chunk_.size();
    chunk_.clear();
}

void ValueChangeDump::begin(QIODevice& out, const std::vector<bool>& initial,
                            const QByteArray& comment) {
    std::vector<int> levels(names_.size(), -1);
    for (std::size_t s = 0; s < levels.size() && s < initial.size(); ++s)
        levels[s] = initial[s] ? 1 : 0;
    start(out, std::move(levels), comment);
}

void ValueChangeDump::start(QIODevice& out, std::vector<int> levels, const QByteArray& comment) {
    out_ = &out;
    ok_ = true;
    chunk_.clear();
    chunk_.reserve(kChunkBytes + 256);
    held_.clear();
    lastTick_ = 0;
    written_ = std::move(levels);

    put("$version " + version_ + " $end\n");
    if (!comment.isEmpty())
        put("$comment " + comment + " $end\n");
    put("$timescale " + timescale(nsPerTick_) + " $end\n$scope module " + scope_ + " $end\n");
    for (std::size_t s = 0; s < names_.size(); ++s)
        put(QByteArray("$var wire 1 ") + code(static_cast<int>(s)) + ' ' + names_[s] + " $end\n");
    put("$upscope $end\n$enddefinitions $end\n#0\n$dumpvars\n");
    for (std::size_t s = 0; s < names_.size(); ++s)
        if (written_[s] >= 0)
            put(QByteArray(1, written_[s] ? '1' : '0') + code(static_cast<int>(s)) + '\n');
    put("$end\n");
}

void ValueChangeDump::add(const Change& change) {
    auto at = held_.end();
    while (at != held_.begin() && std::prev(at)->atNs > change.atNs)
        --at;
    held_.insert(at, change);
}

void ValueChangeDump::settle(std::uint64_t atNs) {
    const std::uint64_t tick = tickOf(atNs);
    while (!held_.empty() && tickOf(held_.front().atNs) < tick)
        writeTick();
}

void ValueChangeDump::writeTick() {
    const std::uint64_t tick = tickOf(held_.front().atNs);
    std::vector<int>& pending = pending_;
    pending = written_;
    for (; !held_.empty() && tickOf(held_.front().atNs) == tick; held_.pop_front())
        pending[static_cast<std::size_t>(held_.front().signal)] = held_.front().level ? 1 : 0;
    char line[32];
    line[0] = '#';
    bool stamped = false;
    for (std::size_t s = 0; s < pending.size(); ++s) {
        if (pending[s] == written_[s])
            continue;
        if (!stamped) {
            char* end = std::to_chars(line + 1, line + sizeof line - 1, tick).ptr;
            *end++ = '\n';
            chunk_.append(line, end - line);
            stamped = true;
        }
        const char change[] = {pending[s] ? '1' : '0', code(static_cast<int>(s)), '\n'};
        chunk_.append(change, 3);
        written_[s] = pending[s];
    }
    if (stamped) {
        lastTick_ = tick;
        put({});
    }
}

bool ValueChangeDump::finish(std::uint64_t endNs) {
    while (!held_.empty())
        writeTick();
    // Some idle time after the last change (a tenth of the dump, at least ten ticks).
    const std::uint64_t end =
        std::max(lastTick_ + std::max<std::uint64_t>(10, lastTick_ / 10), tickOf(endNs));
    put('#' + QByteArray::number(static_cast<qulonglong>(end)) + '\n');
    if (ok_ && !chunk_.isEmpty())
        ok_ = out_->write(chunk_) == chunk_.size();
    chunk_.clear();
    out_ = nullptr;
    return ok_;
}

QByteArray ValueChangeDump::text(std::vector<Change> changes, const std::vector<bool>& initial,
                                 std::uint64_t endNs) {
    std::stable_sort(changes.begin(), changes.end(),
                     [](const Change& a, const Change& b) { return a.atNs < b.atNs; });
    std::vector<int> levels(names_.size(), -1);
    for (std::size_t s = 0; s < levels.size() && s < initial.size(); ++s)
        levels[s] = initial[s] ? 1 : 0;
    if (initial.size() != names_.size()) {
        for (const Change& c : changes) {
            auto& level = levels[static_cast<std::size_t>(c.signal)];
            if (level < 0)
                level = c.level ? 1 : 0;
        }
    }
    QByteArray dump;
    QBuffer buffer(&dump);
    buffer.open(QIODevice::WriteOnly);
    start(buffer, std::move(levels), {});
    for (const Change& c : changes)
        held_.push_back(c);
    finish(endNs);
    return dump;
}
