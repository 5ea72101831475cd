// The simulated board's test board: its four chips, their analog wiring, and the faulty
// adapters that --board sim:VARIANT asks for.
#include "sim/Eeprom24c02.h"
#include "sim/Eeprom93c46.h"
#include "sim/Pcf8574.h"
#include "sim/Pcf8591.h"
#include "sim/SimulatedBoard.h"

#include <QStringList>

QStringList SimulatedBoard::variantNames() {
    return {QStringLiteral("cts-high"), QStringLiteral("cts-low"),  QStringLiteral("dsr-low"),
            QStringLiteral("dsr-high"), QStringLiteral("dsr-late"), QStringLiteral("unplug")};
}

std::unique_ptr<SimulatedBoard> SimulatedBoard::fromVariant(const QString& variant) {
    auto board = std::make_unique<SimulatedBoard>();
    if (variant == u"cts-high") // no device can pull the data line down
        board->setDataIn(DataIn::StuckHigh);
    else if (variant == u"cts-low") // data in shorted to ground
        board->setDataIn(DataIn::StuckLow);
    else if (variant == u"dsr-low") // the DSR strap is broken
        board->setDsrStrap(DsrStrap::StuckLow);
    else if (variant == u"dsr-high")
        board->setDsrStrap(DsrStrap::StuckHigh);
    else if (variant == u"dsr-late") // DSR misses the first rise of RTS after opening
        board->setDsrStrap(DsrStrap::MissingFirstRise);
    else if (variant == u"unplug") // the USB adapter is pulled out 2000 calls after opening
        board->unplugAfter(2000);
    else if (!variant.isEmpty())
        return nullptr;
    board->addTestBoardChips();
    return board;
}

void SimulatedBoard::addTestBoardChips() {
    eeprom24c02_ = &attach(std::make_unique<Eeprom24c02>());
    pcf8574_ = &attach(std::make_unique<Pcf8574>());
    pcf8591_ = &attach(std::make_unique<Pcf8591>());
    eeprom93c46_ = &attach(std::make_unique<Eeprom93c46>());

    Pcf8591* adc = pcf8591_;
    const Pcf8574* port = pcf8574_;
    adc->setInput(0, [](std::uint64_t) { return std::uint8_t{128}; });
    adc->setInput(1, [adc](std::uint64_t) {
        return adc->analogOutputEnabled() ? adc->dac() : std::uint8_t{0};
    });
    adc->setInput(2, [port](std::uint64_t) { return port->pins(); });
    adc->setInput(3, [](std::uint64_t nowNs) {
        const auto step = static_cast<unsigned>((nowNs / kTriangleStepNs) % 510);
        return static_cast<std::uint8_t>(step < 255 ? step : 510 - step);
    });
}
