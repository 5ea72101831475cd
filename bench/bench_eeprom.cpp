// Whole-chip EEPROM work on the simulated board, one chip of each kind in the socket: the time
// for reading or writing the whole chip, and the line operations per byte against what the bus
// needs at least for a byte, one call per line change:
//   I2C read        28: nine clock pulses (18), eight samples, data released and pulled low
//                   for the acknowledge (the 37 is the cost of a written byte)
//   I2C write       20 and one per change of the data level: 16 clock edges, the acknowledge
//                   released, clocked and sampled (I2cBus::writeByte takes 37)
//   Microwire read  24: clock low, sample, clock high per bit
//   Microwire write 16 per byte of data bits (two clock edges per bit), before the command bits
// Writes also pay for polling through every write cycle: they never wait without asking.
//   ops/byte  line operations per byte of the chip      floor  the bus minimum per byte
//   chip_ms   the board's virtual time for the whole chip (10 us per port call, write cycles)
#include "bus/PortLines.h"
#include "eeprom/EepromProgrammer.h"
#include "sim/SimulatedBoard.h"

#include <QByteArray>

#include <benchmark/benchmark.h>

namespace {

struct Kind {
    const char* name;
    int org;
};
constexpr Kind kKinds[] = {{"24C02", 8},  {"24C16", 8}, {"24C256", 8},
                           {"24C512", 8}, {"93C46", 8}, {"93C66", 16}};

void eepromWork(benchmark::State& state, bool write) {
    const Kind kind = kKinds[state.range(0)];
    const EepromChip chip = *EepromChip::find(QLatin1StringView(kind.name), kind.org);
    auto board = SimulatedBoard::fromVariant(QString());
    QString why;
    board->addSocketChip(QLatin1StringView(kind.name), 0xA0, kind.org, &why);
    PortLines lines(*board);
    if (chip.bus == EepromChip::Bus::I2c)
        lines.openPortI2c();
    else
        lines.openPortMicrowire();
    auto programmer = EepromProgrammer::create(chip, lines, {});
    QByteArray data(chip.size, 0);
    for (int i = 0; i < chip.size; ++i)
        data[i] = static_cast<char>(i * 7);
    EepromResult result;
    for (auto _ : state) {
        QByteArray out;
        result = write ? programmer->write(0, data) : programmer->read(0, chip.size, &out);
        if (!result.ok())
            state.SkipWithError(result.message.toStdString().c_str());
    }
    const double bytes = chip.size;
    state.counters["ops/byte"] = static_cast<double>(result.lineOperations) / bytes;
    const bool i2c = chip.bus == EepromChip::Bus::I2c;
    state.counters["floor"] = write ? (i2c ? 20 : 16) : (i2c ? 28 : 24);
    state.counters["chip_ms"] = static_cast<double>(result.elapsedNs) / 1e6;
    state.SetBytesProcessed(state.iterations() * chip.size);
    state.SetLabel(chip.title().toStdString());
}

void BM_EepromRead(benchmark::State& state) {
    eepromWork(state, false);
}
BENCHMARK(BM_EepromRead)->DenseRange(0, 5)->Unit(benchmark::kMillisecond);

void BM_EepromWrite(benchmark::State& state) {
    eepromWork(state, true);
}
BENCHMARK(BM_EepromWrite)->DenseRange(0, 5)->Unit(benchmark::kMillisecond);

} // namespace
