#include "eeprom/MicrowireEepromProgrammer.h"

#include "bus/PortLines.h"

#include <algorithm>

using Outcome = EepromResult::Outcome;

namespace {

constexpr unsigned kRead = 0b10;
constexpr unsigned kWrite = 0b01;
constexpr unsigned kSpecial = 0b00; // the top two address bits tell which
constexpr unsigned kEwen = 0b11;
constexpr unsigned kEwds = 0b00;
constexpr unsigned kEral = 0b10;

} // namespace

MicrowireEepromProgrammer::MicrowireEepromProgrammer(const EepromChip& chip, PortLines& lines,
                                                     const Options& options)
    : EepromProgrammer(chip, lines, options), bus_(lines, {}),
      windowNs_(windowNs(options.resetValue)) {}

std::uint64_t MicrowireEepromProgrammer::windowNs(int resetValue) {
    // An out-of-range value sends the character of value 1.
    const int n = resetValue >= 1 && resetValue <= 9 ? resetValue : 1;
    return static_cast<std::uint64_t>(n) * 1'000'000'000u / 2400u;
}

QString MicrowireEepromProgrammer::chipText() const {
    return chip_.title();
}

std::uint64_t MicrowireEepromProgrammer::now() const {
    return lines_.port().nowNs();
}

void MicrowireEepromProgrammer::select() {
    // Taken before the character goes out: the window cannot start earlier, so a command
    // measured from here is inside it when it ends before windowNs_ has passed.
    windowStartNs_ = now();
    bus_.resetPulse(options_.resetValue);
}

void MicrowireEepromProgrammer::writeBits(unsigned value, int count) {
    for (int i = count - 1; i >= 0; --i)
        bus_.writeBit(((value >> i) & 1u) != 0);
}

unsigned MicrowireEepromProgrammer::readBits(int count) {
    unsigned value = 0;
    for (int i = 0; i < count; ++i)
        value = (value << 1) | (bus_.readBit() ? 1u : 0u);
    return value;
}

void MicrowireEepromProgrammer::command(unsigned opcode, unsigned address) {
    bus_.writeBit(true); // start bit
    writeBits(opcode, 2);
    writeBits(address, chip_.addressBits);
}

bool MicrowireEepromProgrammer::enable(bool on) {
    select();
    command(kSpecial, (on ? kEwen : kEwds) << (chip_.addressBits - 2));
    const bool fitted = inWindow();
    bus_.end();
    return fitted;
}

EepromResult MicrowireEepromProgrammer::tooSlow(const QString& what, std::uint64_t operations,
                                                int bytes) {
    const std::uint64_t took = now() - windowStartNs_;
    const double perChange =
        static_cast<double>(windowNs_) / 1000.0 / static_cast<double>(operations ? operations : 1);
    return failure(Outcome::WindowTooShort,
                   QStringLiteral("The chip select window of reset value %1 (%2 µs) is too short "
                                  "for this adapter: %3 took %4 line changes in %5 µs. Choose a "
                                  "higher reset value or an adapter that needs at most %6 µs "
                                  "per line change.")
                       .arg(options_.resetValue)
                       .arg(static_cast<double>(windowNs_) / 1000.0, 0, 'f', 0)
                       .arg(what)
                       .arg(operations)
                       .arg(static_cast<double>(took) / 1000.0, 0, 'f', 0)
                       .arg(perChange, 0, 'f', 1),
                   bytes);
}

MicrowireEepromProgrammer::Wait MicrowireEepromProgrammer::waitReady() {
    const std::uint64_t t0 = now();
    for (;;) {
        select();
        lines_.dataHigh(); // DO can pull the shared line low only while data out is high
        bool sampled = false;
        while (inWindow()) {
            // Busy in a sample taken after the limit had passed: the chip is late.
            const bool late = now() - t0 > chip_.writeCycleMaxNs;
            const bool ready = bus_.readBit();
            if (!inWindow())
                break; // the sample may have come after the chip select fell
            sampled = true;
            if (ready || late) {
                bus_.end();
                return ready ? Wait::Ready : Wait::TimedOut;
            }
        }
        bus_.end();
        if (!sampled)
            return Wait::TooSlow;
    }
}

EepromResult MicrowireEepromProgrammer::finishProgramming(Wait wait, const QString& what,
                                                          int bytes) {
    if (wait == Wait::TooSlow) {
        // The reset pulse, data out high and one read: eight line operations.
        const EepromResult r = tooSlow(QStringLiteral("a status read"), 8, bytes);
        enable(false);
        return r;
    }
    if (wait == Wait::TimedOut) {
        enable(false);
        QString message = QStringLiteral("The %1 was still busy %2 ms after %3.")
                              .arg(chipText())
                              .arg(static_cast<double>(chip_.writeCycleMaxNs) / 1e6)
                              .arg(what);
        if (bytes > 0)
            message += QStringLiteral(" The %1 bytes before it are written.").arg(bytes);
        return failure(Outcome::WriteCycleTimeout, message, bytes);
    }
    return failure(Outcome::Done, QString(), bytes);
}

EepromResult MicrowireEepromProgrammer::readRange(int from, int count, QByteArray* out,
                                                  const Progress& progress) {
    const int wordBytes = chip_.org / 8;
    const int firstWord = from / wordBytes;
    const int endWord = (from + count + wordBytes - 1) / wordBytes;
    const int skip = from - firstWord * wordBytes; // a range may start inside a word
    QByteArray words;
    auto bytesDone = [&] {
        return static_cast<int>(std::clamp<qsizetype>(words.size() - skip, 0, count));
    };
    bus_.end(); // clock high: the reset pulse's own clock rise is then no start bit
    for (int word = firstWord; word < endWord;) {
        const std::uint64_t operations = lines_.lineOperations();
        select();
        command(kRead, static_cast<unsigned>(word));
        const bool dummy = bus_.readBit();
        if (!inWindow()) {
            bus_.end();
            *out = words.mid(skip, count);
            return tooSlow(QStringLiteral("a READ command"), lines_.lineOperations() - operations,
                           bytesDone());
        }
        if (dummy) {
            bus_.end();
            *out = words.mid(skip, count);
            return failure(Outcome::NoAnswer,
                           QStringLiteral("The %1 does not answer: no dummy 0 before the data of "
                                          "a READ (no chip, or not in this organisation).")
                               .arg(chipText()),
                           bytesDone());
        }
        int got = 0;
        std::uint64_t wordNs = 0;
        while (word < endWord) {
            if (got > 0 && now() + wordNs - windowStartNs_ > windowNs_)
                break; // one more word would not fit
            const std::uint64_t t = now();
            const unsigned value = readBits(chip_.org);
            if (!inWindow())
                break; // the chip select fell during this word: read it again
            wordNs = now() - t;
            if (wordBytes == 2)
                words.append(static_cast<char>(value >> 8));
            words.append(static_cast<char>(value));
            ++word;
            ++got;
        }
        bus_.end();
        if (got == 0) {
            *out = words.mid(skip, count);
            return tooSlow(QStringLiteral("a READ command with one word"),
                           lines_.lineOperations() - operations, bytesDone());
        }
        if (word < endWord && !goOn(progress, bytesDone(), count)) {
            *out = words.mid(skip, count);
            return failure(Outcome::Cancelled, QString(), bytesDone());
        }
    }
    *out = words.mid(skip, count);
    goOn(progress, count, count);
    return failure(Outcome::Done, QString(), count);
}

EepromResult MicrowireEepromProgrammer::writeRange(int from, const QByteArray& data,
                                                   const Progress& progress) {
    const int wordBytes = chip_.org / 8;
    const int count = static_cast<int>(data.size());
    if (from % wordBytes != 0 || count % wordBytes != 0)
        return failure(Outcome::BadRange,
                       QStringLiteral("The %1 is written in whole 16-bit words: the start and "
                                      "the length must be even.")
                           .arg(chipText()));
    // Is the chip there? A READ of the first word must show its dummy 0.
    QByteArray first;
    if (count > 0) {
        const EepromResult present = readRange(from, wordBytes, &first, {});
        if (!present.ok())
            return failure(present.outcome, present.message);
    }
    const std::uint64_t operations = lines_.lineOperations();
    if (!enable(true))
        return tooSlow(QStringLiteral("the EWEN command"), lines_.lineOperations() - operations, 0);
    for (int at = 0; at < count; at += wordBytes) {
        const std::uint64_t before = lines_.lineOperations();
        unsigned value = static_cast<std::uint8_t>(data[at]);
        if (wordBytes == 2)
            value = (value << 8) | static_cast<std::uint8_t>(data[at + 1]);
        const int word = (from + at) / wordBytes;
        select();
        command(kWrite, static_cast<unsigned>(word));
        writeBits(value, chip_.org);
        const bool fitted = inWindow();
        bus_.end();
        if (!fitted) {
            const EepromResult r =
                tooSlow(QStringLiteral("the WRITE of %1").arg(addressText(from + at)),
                        lines_.lineOperations() - before, at);
            enable(false);
            return r;
        }
        const EepromResult r = finishProgramming(
            waitReady(), QStringLiteral("the WRITE of %1").arg(addressText(from + at)), at);
        if (!r.ok())
            return r;
        if (at + wordBytes < count && !goOn(progress, at + wordBytes, count)) {
            enable(false);
            return failure(Outcome::Cancelled, QString(), at + wordBytes);
        }
    }
    enable(false);
    goOn(progress, count, count);
    return failure(Outcome::Done, QString(), count);
}

EepromResult MicrowireEepromProgrammer::eraseAll(const Progress& progress) {
    QByteArray first;
    const EepromResult present = readRange(0, chip_.org / 8, &first, {});
    if (!present.ok())
        return failure(present.outcome, present.message);
    const std::uint64_t operations = lines_.lineOperations();
    if (!enable(true))
        return tooSlow(QStringLiteral("the EWEN command"), lines_.lineOperations() - operations, 0);
    const std::uint64_t before = lines_.lineOperations();
    select();
    command(kSpecial, kEral << (chip_.addressBits - 2));
    const bool fitted = inWindow();
    bus_.end();
    if (!fitted) {
        const EepromResult r =
            tooSlow(QStringLiteral("the ERAL command"), lines_.lineOperations() - before, 0);
        enable(false);
        return r;
    }
    EepromResult r = finishProgramming(waitReady(), QStringLiteral("the ERAL command"), 0);
    if (!r.ok())
        return r;
    enable(false);
    goOn(progress, chip_.size, chip_.size);
    r.bytes = chip_.size;
    return r;
}
