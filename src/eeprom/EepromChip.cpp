#include "eeprom/EepromChip.h"

#include <array>

namespace {

using Bus = EepromChip::Bus;

// Page sizes and maximum write cycle times as the AT24Cxx and AT93Cxx datasheets give them.
constexpr std::array<EepromChip, 16> kChips{{
    {"24C01", Bus::I2c, 128, 8, 1, 0, 8, 5'000'000},
    {"24C02", Bus::I2c, 256, 8, 1, 0, 8, 5'000'000},
    {"24C04", Bus::I2c, 512, 16, 1, 0, 8, 5'000'000},
    {"24C08", Bus::I2c, 1024, 16, 1, 0, 8, 5'000'000},
    {"24C16", Bus::I2c, 2048, 16, 1, 0, 8, 5'000'000},
    {"24C32", Bus::I2c, 4096, 32, 2, 0, 8, 10'000'000},
    {"24C64", Bus::I2c, 8192, 32, 2, 0, 8, 10'000'000},
    {"24C128", Bus::I2c, 16384, 64, 2, 0, 8, 5'000'000},
    {"24C256", Bus::I2c, 32768, 64, 2, 0, 8, 5'000'000},
    {"24C512", Bus::I2c, 65536, 128, 2, 0, 8, 5'000'000},
    {"93C46", Bus::Microwire, 128, 1, 0, 7, 8, 10'000'000},
    {"93C46", Bus::Microwire, 128, 2, 0, 6, 16, 10'000'000},
    {"93C56", Bus::Microwire, 256, 1, 0, 9, 8, 10'000'000},
    {"93C56", Bus::Microwire, 256, 2, 0, 8, 16, 10'000'000},
    {"93C66", Bus::Microwire, 512, 1, 0, 9, 8, 10'000'000},
    {"93C66", Bus::Microwire, 512, 2, 0, 8, 16, 10'000'000},
}};

} // namespace

std::span<const EepromChip> EepromChip::all() {
    return kChips;
}

std::optional<EepromChip> EepromChip::find(QAnyStringView name, int org) {
    for (const EepromChip& chip : kChips)
        if (chip.org == org &&
            QAnyStringView::compare(name, QLatin1StringView(chip.name), Qt::CaseInsensitive) == 0)
            return chip;
    return std::nullopt;
}

QString EepromChip::title() const {
    QString text = QLatin1StringView(name);
    if (bus == Bus::Microwire)
        text += org == 16 ? QStringLiteral(" x16") : QStringLiteral(" x8");
    return text;
}

std::uint8_t EepromChip::blockBits() const {
    if (bus != Bus::I2c || addressBytes != 1 || size <= 256)
        return 0;
    return static_cast<std::uint8_t>(((size / 256) - 1) << 1);
}
