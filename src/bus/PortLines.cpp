#include "bus/PortLines.h"

bool PortLines::openPortI2c(QString* whyNot) {
    if (!port_->isOpen()) {
        if (!port_->open(whyNot))
            return false;
        port_->setRts(true);
        port_->setDtr(true);
    }
    return true;
}

bool PortLines::openPortMicrowire(QString* whyNot) {
    if (!port_->isOpen()) {
        if (!port_->open(whyNot))
            return false;
        dataHigh();
        clockLow();
    }
    return true;
}
