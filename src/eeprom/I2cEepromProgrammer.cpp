#include "eeprom/I2cEepromProgrammer.h"

#include "bus/PortLines.h"

#include <algorithm>

using Outcome = EepromResult::Outcome;

I2cEepromProgrammer::I2cEepromProgrammer(const EepromChip& chip, PortLines& lines,
                                         const Options& options)
    : EepromProgrammer(chip, lines, options), bus_(lines),
      base_(options.i2cAddressByte & 0xFE & ~chip.blockBits()) {}

QString I2cEepromProgrammer::chipText() const {
    return QStringLiteral("%1 at %2").arg(chip_.title(), hex(base_, 2));
}

int I2cEepromProgrammer::deviceAddress(int address) const {
    return base_ | (((address >> 8) << 1) & chip_.blockBits());
}

bool I2cEepromProgrammer::waitForAcknowledge(int device) {
    // The last poll starts after the limit has passed: a chip that keeps to its datasheet has
    // finished by then.
    const std::uint64_t t0 = lines_.port().nowNs();
    for (;;) {
        const bool late = lines_.port().nowNs() - t0 > chip_.writeCycleMaxNs;
        bus_.start();
        if (bus_.writeByte(device))
            return true;
        bus_.stop();
        if (late)
            return false;
    }
}

bool I2cEepromProgrammer::sendWordAddress(int address) {
    if (chip_.addressBytes == 2 && !bus_.writeByte(address >> 8))
        return false;
    return bus_.writeByte(address & 0xFF);
}

EepromResult I2cEepromProgrammer::noAcknowledge(const QString& what, int bytes) {
    bus_.stop();
    return failure(Outcome::NoAcknowledge,
                   QStringLiteral("The %1 does not acknowledge %2.").arg(chipText(), what), bytes);
}

EepromResult I2cEepromProgrammer::readRange(int from, int count, QByteArray* out,
                                            const Progress& progress) {
    const int end = from + count;
    const QString noChip = QStringLiteral("its address: no chip there, or another address");
    out->reserve(count);
    for (int at = from; at < end;) {
        const int segmentEnd = chip_.blockBits() ? std::min(end, (at / 256 + 1) * 256) : end;
        const int device = deviceAddress(at);
        if (!waitForAcknowledge(device))
            return failure(
                Outcome::NoAcknowledge,
                QStringLiteral("The %1 does not acknowledge %2.").arg(chipText(), noChip),
                at - from);
        if (!sendWordAddress(at))
            return noAcknowledge(QStringLiteral("the word address %1").arg(addressText(at)),
                                 at - from);
        bus_.start();
        if (!bus_.writeByte(device | 1))
            return noAcknowledge(QStringLiteral("its read address"), at - from);
        while (at < segmentEnd) {
            const bool last = at + 1 == segmentEnd;
            out->append(static_cast<char>(bus_.readSequentialByte(!last)));
            ++at;
            if ((at % chip_.pageSize == 0 || last) && at < end &&
                !goOn(progress, at - from, count)) {
                if (!last)
                    bus_.readSequentialByte(
                        false); // the chip sends on after an acknowledge: end it
                bus_.stop();
                return failure(Outcome::Cancelled, QString(), at - from);
            }
        }
        bus_.stop();
    }
    goOn(progress, count, count);
    return failure(Outcome::Done, QString(), count);
}

EepromResult I2cEepromProgrammer::writeRange(int from, const QByteArray& data,
                                             const Progress& progress) {
    const int count = static_cast<int>(data.size());
    const int end = from + count;
    int open = -1; // the device whose write transfer is open after an acknowledged poll
    for (int at = from; at < end;) {
        const int pageEnd = std::min(end, (at / chip_.pageSize + 1) * chip_.pageSize);
        const int device = deviceAddress(at);
        if (open >= 0 && open != device)
            bus_.stop();
        if (open != device && !waitForAcknowledge(device))
            return failure(Outcome::NoAcknowledge,
                           QStringLiteral("The %1 does not acknowledge its address: no chip "
                                          "there, or another address.")
                               .arg(chipText()),
                           at - from);
        open = -1;
        if (!sendWordAddress(at))
            return noAcknowledge(QStringLiteral("the word address %1").arg(addressText(at)),
                                 at - from);
        for (int i = at; i < pageEnd; ++i)
            if (!bus_.writeByte(static_cast<std::uint8_t>(data[i - from])))
                return noAcknowledge(
                    QStringLiteral("the data byte for %1 (write-protected?)").arg(addressText(i)),
                    at - from);
        bus_.stop(); // the write cycle starts
        if (!waitForAcknowledge(device))
            return failure(Outcome::WriteCycleTimeout,
                           QStringLiteral("The write cycle of the page at %1 did not end within "
                                          "%2 ms (the %3 did not answer the polling); %4 bytes "
                                          "before it are written.")
                               .arg(addressText(at))
                               .arg(static_cast<double>(chip_.writeCycleMaxNs) / 1e6)
                               .arg(chipText())
                               .arg(at - from),
                           at - from);
        open = device;
        at = pageEnd;
        if (at < end && !goOn(progress, at - from, count)) {
            bus_.stop();
            return failure(Outcome::Cancelled, QString(), at - from);
        }
    }
    if (open >= 0)
        bus_.stop();
    goOn(progress, count, count);
    return failure(Outcome::Done, QString(), count);
}

EepromResult I2cEepromProgrammer::eraseAll(const Progress& progress) {
    return writeRange(0, QByteArray(chip_.size, static_cast<char>(0xFF)), progress);
}
