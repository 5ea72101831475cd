#pragma once

#include "bus/I2cTransfer.h"
#include "eeprom/EepromChip.h"
#include "eeprom/EepromProgrammer.h"
#include "model/Workbench.h"

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

class PowerActions;
class RunActions;

// The EEPROM programmer: whole chips read, written, verified and erased (the EEPROM window and
// brolmet-cli's "eeprom"), and the bus one-liners of brolmet-cli ("transfer", "dump").
//
// The work coexists with the main window's power and mode this way: it is a bus action like
// the device scan (none while another is under way, and the non-stop timer is switched off);
// it switches the adapter's power off if it is on, opens the port in the bus mode of the
// chip, not of the window, does its work with Observation's recording off, and closes the port
// again. So the power is off afterwards and the window's mode switch is as it was: the mode
// still changes only while the adapter is off.
//
// Between two pages the work reports its progress (progressed()), lets the user interface run
// (Dialogs::yieldToUi) and stops there when Cancel() was called meanwhile. A failure (not a
// cancel) is shown in a message box; every piece of work leaves its result in lastResult() and
// a line for the user in status().
class EepromActions : public QObject {
    Q_OBJECT
public:
    // Puts a chip into the simulated board's socket at the address byte (a 24Cxx), or empties
    // the socket (nullopt); false with a one-line reason. Set by the program when the board is
    // the simulated one.
    using SocketHook =
        std::function<bool(const std::optional<EepromChip>& chip, int addressByte, QString* why)>;

    EepromActions(Workbench& bench, PowerActions& power, RunActions& runs);

    // What the work is done on: the chip (the buffer follows its size: cut, or filled up
    // with 0xFF) and, for a 24Cxx, its device address byte (0xA0 to 0xAE).
    const EepromChip& chip() const { return chip_; }
    int address() const { return address_; }
    void setChip(const EepromChip& chip);
    void setAddress(int addressByte);
    // "24C02 at 0xA0", "93C46 x8".
    QString chipText() const;

    // The buffer the window shows and edits: the whole chip, from address 0.
    const QByteArray& buffer() const { return buffer_; }
    void setByte(int at, int value);

    // The window's buttons, on the whole buffer. Write and Erase ask first.
    EepromResult Read();
    EepromResult Write(bool verifyAfter);
    EepromResult Verify();
    EepromResult Erase();
    // Load File and Save File, through the file dialogs.
    bool LoadFile();
    bool SaveFile();
    // Stops the work under way at the next page.
    void Cancel() { cancel_ = true; }

    // The work on a range, without questions (brolmet-cli); the message boxes as above.
    EepromResult read(int from, int count, QByteArray* out);
    EepromResult write(int from, const QByteArray& data, bool verifyAfter);
    EepromResult verify(int from, const QByteArray& data);
    EepromResult erase();
    // A file into the buffer (the rest of it 0xFF), and the buffer into a file; false and a
    // message box when the file does not fit the chip or cannot be written.
    bool loadFile(const QString& path);
    bool saveFile(const QString& path);

    // A combined I2C transfer in I2C mode, as the work above; nullopt (and why) when it could
    // not start. lineOperations gets what it cost on the port.
    std::optional<I2cTransferResult> transfer(const std::vector<I2cMessage>& messages,
                                              std::uint64_t* lineOperations, QString* why);

    // The simulated board's socket (only with a hook).
    void setSocketHook(SocketHook hook, const std::optional<EepromChip>& current);
    bool hasSocket() const { return static_cast<bool>(socket_); }
    const std::optional<EepromChip>& socketChip() const { return socketChip_; }
    // Puts chip into the socket at the chosen address and chooses it for the work.
    bool PlugSocket(const std::optional<EepromChip>& chip);

    const EepromResult& lastResult() const { return last_; }
    const QString& status() const { return status_; }

signals:
    void bufferChanged();
    void progressed(int done, int total);

private:
    // Opens the port for the bus, the power off first; false and why when it cannot.
    bool openPort(bool i2c, QString* why);
    void closePort();
    template <typename Work> EepromResult work(Work work);
    EepromProgrammer::Progress progress();
    void finish(const EepromResult& result);

    FrontPanel& panel_;
    Dialogs& dialogs_;
    PortLines& lines_;
    I2cBus& i2c_;
    TesterState& state_;
    bool& busy_;
    PowerActions& power_;
    RunActions& runs_;

    EepromChip chip_;
    int address_ = 0xA0;
    QByteArray buffer_;
    bool cancel_ = false;
    EepromResult last_;
    QString status_;
    SocketHook socket_;
    std::optional<EepromChip> socketChip_;
};
