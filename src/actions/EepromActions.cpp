#include "actions/EepromActions.h"

#include "actions/BusyGuard.h"
#include "actions/PowerActions.h"
#include "actions/RunActions.h"
#include "files/EepromImage.h"
#include "model/EepromTexts.h"
#include "model/FileTexts.h"

#include <QFileInfo>

using Outcome = EepromResult::Outcome;

namespace {

EepromResult outcome(Outcome outcome, const QString& message) {
    EepromResult r;
    r.outcome = outcome;
    r.message = message;
    return r;
}

} // namespace

EepromActions::EepromActions(Workbench& bench, PowerActions& power, RunActions& runs)
    : panel_(bench.panel), dialogs_(bench.dialogs), lines_(bench.lines), i2c_(bench.i2c),
      state_(bench.state), busy_(bench.busy), power_(power), runs_(runs),
      chip_(*EepromChip::find(u"24C02")), buffer_(chip_.size, static_cast<char>(0xFF)) {}

void EepromActions::setChip(const EepromChip& chip) {
    chip_ = chip;
    buffer_.resize(chip.size, static_cast<char>(0xFF));
    emit bufferChanged();
}

void EepromActions::setAddress(int addressByte) {
    address_ = addressByte & 0xFE;
}

QString EepromActions::chipText() const {
    if (chip_.bus == EepromChip::Bus::Microwire)
        return chip_.title();
    const int base = address_ & ~chip_.blockBits(); // as the programmer names it
    return QStringLiteral("%1 at 0x%2").arg(chip_.title(), QString::number(base, 16).toUpper());
}

void EepromActions::setByte(int at, int value) {
    if (at >= 0 && at < buffer_.size())
        buffer_[at] = static_cast<char>(value);
}

bool EepromActions::openPort(bool i2c, QString* why) {
    runs_.selectOption(Ctl::Noff); // the non-stop timer stops, as for the device scan
    if (state_.powerOn)
        power_.TogglePower(); // the mode switch stays as it is
    lines_.setAnalysisOn(false);
    lines_.port().runStarts();
    const bool open = i2c ? lines_.openPortI2c(why) : lines_.openPortMicrowire(why);
    if (open && i2c)
        i2c_.stop(); // the idle bus
    return open;
}

void EepromActions::closePort() {
    lines_.closePort();
    if (panel_.isChecked(Ctl::Anal_be))
        lines_.setAnalysisOn(true);
}

EepromProgrammer::Progress EepromActions::progress() {
    return [this](int done, int total) {
        emit progressed(done, total);
        dialogs_.yieldToUi();
        return !cancel_;
    };
}

void EepromActions::finish(const EepromResult& result) {
    last_ = result;
    status_ = result.message;
    if (!result.ok() && result.outcome != Outcome::Cancelled && result.outcome != Outcome::Busy)
        dialogs_.message(result.message, Dialogs::Buttons::Ok, Dialogs::Icon::Critical);
}

template <typename Work> EepromResult EepromActions::work(Work work) {
    if (busy_) {
        finish(outcome(Outcome::Busy, EepromTexts::kBusy));
        return last_;
    }
    BusyGuard guard(busy_);
    cancel_ = false;
    EepromResult r;
    QString why;
    if (!openPort(chip_.bus == EepromChip::Bus::I2c, &why)) {
        r = outcome(Outcome::PortClosed, EepromTexts::portNotOpen(state_.portNumber, why));
    } else {
        const auto programmer =
            EepromProgrammer::create(chip_, lines_, {address_, state_.resetTension});
        r = work(*programmer);
    }
    closePort();
    finish(r);
    return r;
}

EepromResult EepromActions::read(int from, int count, QByteArray* out) {
    return work([&](EepromProgrammer& p) { return p.read(from, count, out, progress()); });
}

EepromResult EepromActions::write(int from, const QByteArray& data, bool verifyAfter) {
    return work([&](EepromProgrammer& p) {
        EepromResult written = p.write(from, data, progress());
        if (!written.ok() || !verifyAfter)
            return written;
        EepromResult verified = p.verify(from, data, progress());
        verified.lineOperations += written.lineOperations;
        verified.elapsedNs += written.elapsedNs;
        if (verified.ok())
            verified.message =
                EepromTexts::writtenAndVerified(static_cast<int>(data.size()), chipText());
        return verified;
    });
}

EepromResult EepromActions::verify(int from, const QByteArray& data) {
    return work([&](EepromProgrammer& p) { return p.verify(from, data, progress()); });
}

EepromResult EepromActions::erase() {
    return work([&](EepromProgrammer& p) { return p.erase(progress()); });
}

EepromResult EepromActions::Read() {
    QByteArray bytes;
    const EepromResult r = read(0, chip_.size, &bytes);
    if (r.ok()) {
        buffer_ = bytes;
        emit bufferChanged();
    }
    return r;
}

EepromResult EepromActions::Write(bool verifyAfter) {
    if (dialogs_.message(EepromTexts::writeQuestion(chip_.size, chipText()),
                         Dialogs::Buttons::YesNo,
                         Dialogs::Icon::Question) != Dialogs::Answer::Yes) {
        finish(outcome(Outcome::Cancelled, EepromTexts::kNotWritten));
        return last_;
    }
    return write(0, buffer_, verifyAfter);
}

EepromResult EepromActions::Verify() {
    return verify(0, buffer_);
}

EepromResult EepromActions::Erase() {
    if (dialogs_.message(EepromTexts::eraseQuestion(chipText()), Dialogs::Buttons::YesNo,
                         Dialogs::Icon::Question) != Dialogs::Answer::Yes) {
        finish(outcome(Outcome::Cancelled, EepromTexts::kNotWritten));
        return last_;
    }
    return erase();
}

bool EepromActions::loadFile(const QString& path) {
    QByteArray bytes;
    int from = 0;
    QString why;
    if (!EepromImage::load(path, chip_.size, &bytes, &from, &why)) {
        dialogs_.message(why, Dialogs::Buttons::Ok, Dialogs::Icon::Critical);
        return false;
    }
    buffer_.fill(static_cast<char>(0xFF));
    buffer_.replace(from, bytes.size(), bytes);
    status_ = EepromTexts::loaded(static_cast<int>(bytes.size()), QFileInfo(path).fileName(), from);
    emit bufferChanged();
    return true;
}

bool EepromActions::saveFile(const QString& path) {
    QString why;
    if (!EepromImage::save(path, buffer_, 0, &why)) {
        dialogs_.message(why, Dialogs::Buttons::Ok, Dialogs::Icon::Critical);
        return false;
    }
    status_ = EepromTexts::saved(static_cast<int>(buffer_.size()), QFileInfo(path).fileName());
    return true;
}

bool EepromActions::LoadFile() {
    const auto path = dialogs_.openFile(EepromTexts::kOpenFilter, QString());
    return path && loadFile(*path);
}

bool EepromActions::SaveFile() {
    const auto path = dialogs_.saveFile(EepromTexts::kSaveFilter,
                                        QLatin1StringView(chip_.name) + QStringLiteral(".bin"));
    if (!path)
        return false;
    if (QFileInfo::exists(*path) &&
        dialogs_.message(FileTexts::overwriteQuestion(QFileInfo(*path).fileName()),
                         Dialogs::Buttons::YesNo, Dialogs::Icon::Question) != Dialogs::Answer::Yes)
        return false;
    return saveFile(*path);
}

std::optional<I2cTransferResult> EepromActions::transfer(const std::vector<I2cMessage>& messages,
                                                         std::uint64_t* lineOperations,
                                                         QString* why) {
    if (busy_) {
        *why = EepromTexts::kBusy;
        return std::nullopt;
    }
    BusyGuard guard(busy_);
    std::optional<I2cTransferResult> result;
    if (openPort(true, why)) {
        const std::uint64_t before = lines_.lineOperations();
        result = I2cTransfer::run(i2c_, messages);
        *lineOperations = lines_.lineOperations() - before;
    } else {
        *why = EepromTexts::portNotOpen(state_.portNumber, *why);
    }
    closePort();
    return result;
}

void EepromActions::setSocketHook(SocketHook hook, const std::optional<EepromChip>& current) {
    socket_ = std::move(hook);
    socketChip_ = current;
    if (current)
        setChip(*current);
}

bool EepromActions::PlugSocket(const std::optional<EepromChip>& chip) {
    if (!socket_)
        return false;
    QString why;
    if (busy_ || !socket_(chip, address_, &why)) {
        dialogs_.message(busy_ ? EepromTexts::kBusy : why, Dialogs::Buttons::Ok,
                         Dialogs::Icon::Critical);
        return false;
    }
    socketChip_ = chip;
    if (chip)
        setChip(*chip);
    status_ = EepromTexts::socketHolds(chip ? chipText() : QString());
    return true;
}
