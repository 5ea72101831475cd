#pragma once

#include "model/Workbench.h"

#include <QObject>
#include <QString>

#include <functional>

// Power and port: the Power button, the "Serial Port" menu item and a port that disappears
// while it is open.
class PowerActions : public QObject {
public:
    explicit PowerActions(Workbench& bench);

    // Power button (PowerG): switches the adapter on (port open, idle levels) or off.
    void TogglePower();
    // "Serial Port" menu item: asks for the port number, tests the port and leaves it closed.
    void ChoosePort();

    // The Power button's text and colour, and panel 1, as the state says.
    void showPower();
    void setPortPanel();

    // Called after the port opened for the power or for a port test (AdapterActions tells
    // the user about the adapter then).
    std::function<void()> portOpened;

private:
    void portLost(const QString& why);
    void handlePortLost();

    FrontPanel& panel_;
    Dialogs& dialogs_;
    PortLines& lines_;
    I2cBus& i2c_;
    TesterState& state_;

    QString lostReason_;
    bool lostPending_ = false;
};
