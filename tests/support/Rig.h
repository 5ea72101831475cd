#pragma once
// What most tests share: the window's model, the simulated board, scripted dialogs and the
// Tester, started as the window starts; a scratch folder; helpers for cells, panels and files;
// and two devices for the bus.
#include "actions/Tester.h"
#include "model/FrontPanel.h"
#include "sim/I2cSlave.h"
#include "sim/SimulatedBoard.h"
#include "support/ScriptedDialogs.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

using namespace Qt::StringLiterals;
using enum Ctl; // the controls by their names: texts({C1, Panel2})

// Failures show texts as texts.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

// A scratch folder.
struct Scratch {
    QTemporaryDir dir;
    QString path(const char* name) const { return dir.filePath(QString::fromUtf8(name)); }
};

// The controls' texts, joined by "|".
inline QString textsOf(const FrontPanel& panel, std::initializer_list<Ctl> controls) {
    QStringList all;
    for (Ctl c : controls)
        all << panel.text(c);
    return all.join(u'|');
}
// The non-stop option checked ("none" when none is) and whether the timer runs.
inline QString timerOf(const FrontPanel& panel, const Tester& tester) {
    QString option = u"none"_s;
    for (Ctl c : {Noff, Ns1, Ns2, Ns12})
        option = panel.isChecked(c) ? panel.text(c) : option;
    return option + (tester.timer().isActive() ? " running" : " stopped");
}

struct Rig : Scratch {
    // variant: "bare" for the adapter with nothing on the bus, "" for the test board with its
    // chips, or one of the board's fault variants.
    explicit Rig(const char* variant = "bare", const Tester::StartSettings& settings = {}) {
        start(variant, settings);
    }
    // A new board and Tester on the same panel and dialogs.
    void start(const char* variant = "bare", const Tester::StartSettings& settings = {}) {
        tester.reset();
        board = qstrcmp(variant, "bare") == 0
                    ? std::make_unique<SimulatedBoard>()
                    : SimulatedBoard::fromVariant(QString::fromLatin1(variant));
        tester = std::make_unique<Tester>(panel, *board, dialogs);
        tester->startUp(settings);
    }

    PowerActions& power() { return tester->power(); }
    SetupActions& setup() { return tester->setup(); }
    RunActions& runs() { return tester->runs(); }
    DiagnosticActions& diagnostics() { return tester->diagnostics(); }
    ObservationActions& observation() { return tester->observation(); }
    FileActions& files() { return tester->files(); }

    QString bar(int n) const { return panel.text(FrontPanel::panel(n)); } // status panel n
    QString texts(std::initializer_list<Ctl> controls) const { return textsOf(panel, controls); }
    // "ON" or "OFF" as the Power button says, "open" or "closed" as the port is, and
    // "analysing" while analysis is on.
    QString state() const {
        return QString(tester->powerOn() ? "ON" : "OFF") + (board->isOpen() ? " open" : " closed") +
               (tester->analysisOn() ? " analysing" : "");
    }
    QString timer() const { return timerOf(panel, *tester); }
    QString cell(int sequence, int k) const { return panel.text(FrontPanel::cell(sequence, k)); }
    // The cells of a sequence, "Stop" after the texts given.
    void cells(int sequence, const QStringList& texts) {
        for (int k = 1; k <= 4; ++k)
            panel.setText(FrontPanel::cell(sequence, k), texts.value(k - 1, u"Stop"_s));
    }

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

// A file's bytes, empty when it cannot be read; a file written whole.
inline QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
inline bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

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
    u"Error! Wrong Constans value!\r\nValid value 0...255 or &h0...&hFF"_s;
inline const QString kMicrowireBadConstant =
    u"Error! Wrong Constans value!\r\nValid value 0...255"_s;
inline const QString kIllegalBit =
    u"Wrong command! Illegal character in string!\r\nValid characters 0 and 1 !"_s;

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
// clang-format off
inline const std::vector<StartState> kStartState = {
    {Fo, "I2C/Microwire Tamsolvix V 3. 0. 0 : No Title"}, {Panel2, "Sequence 1: Stop"},
    {Megjegyzes, "Note:  ", "Sequences Comment"},         {Panel3, "Sequence 2: Stop"},
    {Panel1, "Port: 1", "Serial Port"},     {Panel4, ""}, {Panel8, " 1000mS"},
    {Panel7, "", "Command 4 Acknowledge"},  {Panel9, "I2C"},
    {Panel10, "S:ON", nullptr, false},      {Panel11, "3750.00 uS", nullptr, false},
    {PowerG, "Power OFF", "Panel Power ON/OFF"},      {Go1, "Go", "Run Commands"},
    {Frame1, "Sequence 1", "&hHexa / Xbit serial"},   {Label3, "Start", ""},
    {Frame2, "Sequence 2", "&hHexa / Xbit serial"},   {Label4, "A", "Acknowledge"},
    {Label8, "A Stop", "Acknowledge & Stop"},         {Label14, "A Stop"},
    {C1, "Stop", "Command 1"},     {C2, "Stop", nullptr, false},
    {C3, "Stop", "Command 3", false},  {C4, "Stop", nullptr, false}, {D1, "Stop"},
    {D2, "Stop", nullptr, false},  {D4, "Stop", nullptr, false},
    {Noff, "Off", nullptr, true, true}, {Ns12, "Seq12"}, {Analog_ki, nullptr, "Potmeter"},
    {Anal_be, "&Observation", nullptr, true, true},   {Mset_micro, "&Microwire serial"},
    {Mset_start, "&Start bit", nullptr, false},  {Mset_reset, "&Reset keeping", nullptr, false},
    {Mset_Device, "&Device Detect"}};
// clang-format on
// "text|tooltip|enabled|checked" of s, or of what c shows where s has a value ("*" elsewhere).
inline QString startState(const StartState& s, const ControlState* c = nullptr) {
    const auto field = [](const char* want, const QString& shown, bool given) {
        return !want ? u"*"_s : given ? shown : QString::fromUtf8(want);
    };
    const ControlState none{};
    const ControlState& shown = c ? *c : none;
    const bool enabled = c ? c->enabled : s.enabled, checked = c ? c->checked : s.checked;
    return QStringList{field(s.text, shown.text, c), field(s.toolTip, shown.toolTip, c),
                       enabled ? "enabled" : "disabled", checked ? "checked" : "unchecked"}
        .join(u'|');
}
