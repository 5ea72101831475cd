#include "eeprom/EepromProgrammer.h"

#include "bus/PortLines.h"
#include "eeprom/I2cEepromProgrammer.h"
#include "eeprom/MicrowireEepromProgrammer.h"

using Outcome = EepromResult::Outcome;

std::unique_ptr<EepromProgrammer> EepromProgrammer::create(const EepromChip& chip, PortLines& lines,
                                                           const Options& options) {
    if (chip.bus == EepromChip::Bus::I2c)
        return std::make_unique<I2cEepromProgrammer>(chip, lines, options);
    return std::make_unique<MicrowireEepromProgrammer>(chip, lines, options);
}

QString EepromProgrammer::hex(int value, int digits) {
    return QStringLiteral("0x") +
           QString::number(value, 16).toUpper().rightJustified(digits, QLatin1Char('0'));
}

EepromResult EepromProgrammer::failure(Outcome outcome, const QString& message, int bytes) {
    EepromResult r;
    r.outcome = outcome;
    r.message = message;
    r.bytes = bytes;
    return r;
}

bool EepromProgrammer::goOn(const Progress& progress, int done, int total) {
    return !progress || progress(done, total);
}

template <typename Work> EepromResult EepromProgrammer::measured(Work work) {
    const std::uint64_t operations = lines_.lineOperations();
    const std::uint64_t t0 = lines_.port().nowNs();
    EepromResult r;
    if (!lines_.port().isOpen())
        r = failure(Outcome::PortClosed,
                    QStringLiteral("The port is not open: switch the adapter's power on first."));
    else
        r = work();
    r.lineOperations = lines_.lineOperations() - operations;
    r.elapsedNs = lines_.port().nowNs() - t0;
    return r;
}

bool EepromProgrammer::checkRange(int from, int count, EepromResult* result) const {
    if (from >= 0 && count >= 0 && from <= chip_.size && count <= chip_.size - from)
        return true;
    *result = failure(Outcome::BadRange,
                      QStringLiteral("%1 bytes from %2 do not fit into the %3 (%4 bytes).")
                          .arg(count)
                          .arg(addressText(from))
                          .arg(chipText())
                          .arg(chip_.size));
    return false;
}

EepromResult EepromProgrammer::read(int from, int count, QByteArray* out,
                                    const Progress& progress) {
    out->clear();
    EepromResult r;
    if (!checkRange(from, count, &r))
        return r;
    r = measured([&] { return readRange(from, count, out, progress); });
    if (r.outcome == Outcome::Done)
        r.message = QStringLiteral("Read %1 bytes of the %2.").arg(count).arg(chipText());
    else if (r.outcome == Outcome::Cancelled)
        r.message =
            QStringLiteral("Cancelled after %1 of %2 bytes were read.").arg(r.bytes).arg(count);
    return r;
}

EepromResult EepromProgrammer::write(int from, const QByteArray& data, const Progress& progress) {
    EepromResult r;
    const int count = static_cast<int>(data.size());
    if (!checkRange(from, count, &r))
        return r;
    r = measured([&] { return writeRange(from, data, progress); });
    if (r.outcome == Outcome::Done)
        r.message = QStringLiteral("Wrote %1 bytes into the %2.").arg(count).arg(chipText());
    else if (r.outcome == Outcome::Cancelled && r.bytes == 0)
        r.message = QStringLiteral("Cancelled before anything was written: the chip is as it was.");
    else if (r.outcome == Outcome::Cancelled)
        r.message = QStringLiteral("Cancelled after %1 of %2 bytes: %3 to %4 are written, the "
                                   "rest of the chip is as it was.")
                        .arg(r.bytes)
                        .arg(count)
                        .arg(addressText(from), addressText(from + r.bytes - 1));
    return r;
}

EepromResult EepromProgrammer::verify(int from, const QByteArray& data, const Progress& progress) {
    QByteArray chipData;
    EepromResult r = read(from, static_cast<int>(data.size()), &chipData, progress);
    for (qsizetype i = 0; i < chipData.size(); ++i) {
        if (chipData[i] == data[i])
            continue;
        r.outcome = Outcome::VerifyFailed;
        r.bytes = static_cast<int>(i);
        r.firstDifference = from + static_cast<int>(i);
        r.chipByte = static_cast<std::uint8_t>(chipData[i]);
        r.dataByte = static_cast<std::uint8_t>(data[i]);
        r.message =
            QStringLiteral("Verify failed at %1: the chip holds %2, the data %3.")
                .arg(addressText(r.firstDifference), hex(r.chipByte, 2), hex(r.dataByte, 2));
        return r;
    }
    if (r.outcome == Outcome::Done)
        r.message = QStringLiteral("The %1 holds the data: %2 bytes verified.")
                        .arg(chipText())
                        .arg(data.size());
    else if (r.outcome == Outcome::Cancelled)
        r.message = QStringLiteral("Cancelled after %1 of %2 bytes were verified, without a "
                                   "difference.")
                        .arg(r.bytes)
                        .arg(data.size());
    return r;
}

EepromResult EepromProgrammer::erase(const Progress& progress) {
    EepromResult r = measured([&] { return eraseAll(progress); });
    if (r.outcome == Outcome::Done)
        r.message = QStringLiteral("Erased the %1: every byte is 0xFF.").arg(chipText());
    else if (r.outcome == Outcome::Cancelled)
        r.message = QStringLiteral("Cancelled after %1 of %2 bytes: %3 to %4 are 0xFF, the rest "
                                   "of the chip is as it was.")
                        .arg(r.bytes)
                        .arg(chip_.size)
                        .arg(addressText(0), addressText(r.bytes - 1));
    return r;
}
