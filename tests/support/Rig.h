#pragma once
// What most tests share: the window's model, the simulated board, scripted dialogs and the
// Tester, started as the window starts; a scratch folder; helpers for cells, panels and files;
// and two devices for the bus.
#include "actions/Tester.h"
#include "model/FrontPanel.h"
#include "sim/I2cSlave.h"
#include "sim/SimulatedBoard.h"
#include "support/ScriptedDialogs.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

// Failures show texts as texts.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

// A scratch folder.
struct Scratch {
    QTemporaryDir dir;
    QString path(const char* name) const { return dir.filePath(QString::fromUtf8(name)); }
};

struct Rig : Scratch {
    // variant: "bare" for the adapter with nothing on the bus, "" for the test board with its
    // chips, or one of the board's fault variants.
    explicit Rig(const char* variant = "bare", const Tester::StartSettings& settings = {}) {
        start(variant, settings);
    }
    // A new board and Tester on the same panel and dialogs.
    void start(const char* variant = "bare", const Tester::StartSettings& settings = {});

    PowerActions& power() { return tester->power(); }
    SetupActions& setup() { return tester->setup(); }
    RunActions& runs() { return tester->runs(); }
    DiagnosticActions& diagnostics() { return tester->diagnostics(); }
    ObservationActions& observation() { return tester->observation(); }
    FileActions& files() { return tester->files(); }

    QString bar(int n) const { return panel.text(FrontPanel::panel(n)); } // status panel n
    // The controls' texts, joined by "|".
    QString texts(std::initializer_list<Ctl> controls) const;
    // "ON" or "OFF" as the Power button says, "open" or "closed" as the port is, and
    // "analysing" while analysis is on.
    QString state() const;
    QString cell(int sequence, int k) const { return panel.text(FrontPanel::cell(sequence, k)); }
    // The cells of a sequence, "Stop" after the texts given.
    void cells(int sequence, const QStringList& texts);

    FrontPanel panel;
    ScriptedDialogs dialogs;
    std::unique_ptr<SimulatedBoard> board;
    std::unique_ptr<Tester> tester;
};

// A test on a Rig; every scripted answer must have been asked for.
struct RigTest : ::testing::Test, Rig {
    void TearDown() override {
        EXPECT_TRUE(dialogs.scriptUsedUp()) << "an answer was not asked for";
    }
};

QByteArray contents(const QString& path); // empty when it cannot be read
bool writeFile(const QString& path, const QByteArray& bytes);

// An I2C device at any address: it acknowledges every byte written to it and answers every
// read with the same byte.
class AckDevice : public I2cSlave {
public:
    explicit AckDevice(int address, int readByte = 0xFF)
        : I2cSlave(static_cast<std::uint8_t>(address)), readByte_(readByte) {}
    std::vector<int> written; // the bytes the master wrote after the address

protected:
    void addressed(bool, std::uint64_t) override {}
    bool byteWritten(std::uint8_t byte, std::uint64_t) override {
        written.push_back(byte);
        return true;
    }
    std::uint8_t byteToRead(std::uint64_t) override { return static_cast<std::uint8_t>(readByte_); }

private:
    int readByte_;
};

// The run's message texts as the user reads them, written out here once so that a test notices
// when the program's own copy changes.
inline const QString kI2cBadConstant =
    QStringLiteral("Error! Wrong Constans value!\r\nValid value 0...255 or &h0...&hFF");
inline const QString kMicrowireBadConstant =
    QStringLiteral("Error! Wrong Constans value!\r\nValid value 0...255");
inline const QString kIllegalBit =
    QStringLiteral("Wrong command! Illegal character in string!\r\nValid characters 0 and 1 !");

// What the window shows right after a first start: text (nullptr: not checked), tooltip
// (nullptr: not checked), enabled, checked. Checked once against the model, once against the
// widgets.
struct StartState {
    Ctl control;
    const char* text;
    const char* toolTip = nullptr;
    bool enabled = true;
    bool checked = false;
};
extern const std::vector<StartState> kStartState;
// "text|tooltip|enabled|checked" of s, or of what c shows where s has a value ("*" elsewhere).
QString startState(const StartState& s, const ControlState* c = nullptr);
