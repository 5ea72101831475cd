// The board's socket for one more EEPROM, and the contents of its EEPROMs in a state file.
#include "sim/SimulatedBoard.h"

#include "sim/Eeprom24c02.h"
#include "sim/Eeprom24xx.h"
#include "sim/Eeprom93c46.h"
#include "sim/Eeprom93xx.h"

#include <QStringList>

#include <algorithm>

void SimulatedBoard::takeOffBus(const SimDevice* device) {
    const auto it = std::find_if(devices_.begin(), devices_.end(),
                                 [device](const auto& d) { return d.get() == device; });
    if (it == devices_.end())
        return;
    offBus_.push_back(std::move(*it));
    devices_.erase(it);
    settle(nowNs_, false);
}

bool SimulatedBoard::addSocketChip(const QString& name, int i2cAddressByte, int org,
                                   QString* whyNot) {
    auto fail = [whyNot](const QString& why) {
        if (whyNot)
            *whyNot = why;
        return false;
    };
    if (socket24xx_ || socket93xx_)
        return fail(QStringLiteral("the socket holds a chip already"));
    if (const Eeprom24xx::Part* part = Eeprom24xx::find(name)) {
        if (i2cAddressByte < 0xA0 || i2cAddressByte > 0xAF || (i2cAddressByte & 1) != 0)
            return fail(QStringLiteral("a %1 answers at an even address byte from 0xA0 to "
                                       "0xAE, not at 0x%2")
                            .arg(QLatin1StringView(part->name))
                            .arg(i2cAddressByte, 2, 16, QLatin1Char('0')));
        auto chip = std::make_unique<Eeprom24xx>(*part, static_cast<std::uint8_t>(i2cAddressByte));
        if (eeprom24c02_ && chip->answersTo(Eeprom24c02::kAddressByte))
            takeOffBus(eeprom24c02_);
        socket24xx_ = &attach(std::move(chip));
        return true;
    }
    if (const Eeprom93xx::Part* part = Eeprom93xx::find(name)) {
        if (org != 8 && org != 16)
            return fail(QStringLiteral("a %1 is organised in 8 or 16 bits, not %2")
                            .arg(QLatin1StringView(part->name))
                            .arg(org));
        if (eeprom93c46_)
            takeOffBus(eeprom93c46_);
        socket93xx_ = &attach(std::make_unique<Eeprom93xx>(*part, org));
        return true;
    }
    QStringList names;
    for (const auto& part : Eeprom24xx::parts())
        names << QLatin1StringView(part.name);
    for (const auto& part : Eeprom93xx::parts())
        names << QLatin1StringView(part.name);
    return fail(QStringLiteral("no chip %1 for the socket (%2)").arg(name, names.join(u", ")));
}

void SimulatedBoard::removeSocketChip() {
    const SimDevice* socket =
        socket24xx_ ? static_cast<const SimDevice*>(socket24xx_) : socket93xx_;
    socket24xx_ = nullptr;
    socket93xx_ = nullptr;
    std::erase_if(devices_, [socket](const auto& d) { return d.get() == socket; });
    for (auto& chip : offBus_)
        devices_.push_back(std::move(chip));
    offBus_.clear();
    settle(nowNs_, true);
}

std::vector<EepromStateFile::Slot> SimulatedBoard::eepromSlots() const {
    std::vector<EepromStateFile::Slot> chips;
    if (eeprom24c02_)
        chips.push_back(
            {QStringLiteral("board-24c02"), QStringLiteral("24C02"), &eeprom24c02_->memory()});
    if (eeprom93c46_)
        chips.push_back(
            {QStringLiteral("board-93c46"), QStringLiteral("93C46"), &eeprom93c46_->memory()});
    if (socket24xx_)
        chips.push_back({QStringLiteral("socket"), QLatin1StringView(socket24xx_->part().name),
                         &socket24xx_->memory()});
    if (socket93xx_)
        chips.push_back({QStringLiteral("socket"), QLatin1StringView(socket93xx_->part().name),
                         &socket93xx_->memory()});
    return chips;
}

bool SimulatedBoard::saveState(const QString& path, QString* whyNot) const {
    return EepromStateFile::save(path, eepromSlots(), whyNot);
}

bool SimulatedBoard::loadState(const QString& path, QString* whyNot) {
    return EepromStateFile::load(path, eepromSlots(), whyNot);
}
