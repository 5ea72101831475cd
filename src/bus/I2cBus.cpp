#include "bus/I2cBus.h"

void I2cBus::stop() {
    lines_.dataLow();
    lines_.clockHigh();
    lines_.dataHigh();
    lines_.record(LevelRecorder::Line::Data, true);
    lines_.record(LevelRecorder::Line::Clock, true);
}
