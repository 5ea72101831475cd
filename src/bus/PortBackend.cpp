#include "bus/PortBackend.h"

void PortBackend::reportLost(const QString& why) {
    if (lostHandler_)
        lostHandler_(why);
}
