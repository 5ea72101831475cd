#include "sequence/SequenceRunner.h"

#include "base/Numbers.h"
#include "model/PanelTexts.h"
#include "sequence/CommandCells.h"

using CommandCells::Kind;

RunOutcome& RunOutcome::operator+=(const RunOutcome& next) {
    timerOff = timerOff || next.timerOff;
    bytesRead.insert(bytesRead.end(), next.bytesRead.begin(), next.bytesRead.end());
    return *this;
}

void SequenceRunner::showRead(Kind kind, int byte, RunOutcome& outcome) {
    outcome.bytesRead.push_back(byte);
    if (kind == Kind::Indicator) {
        panel_.setValue(Ctl::Analog_be, byte);
        panel_.setText(Ctl::Analog_be_sz, numberText(panel_.value(Ctl::Analog_be)));
        return;
    }
    const bool first = kind == Kind::Dump1;
    panel_.appendText(first ? Ctl::Hex1 : Ctl::Hex2, CommandCells::hexEntry(byte));
    panel_.appendText(first ? Ctl::Dump1 : Ctl::Dump2, CommandCells::decimalEntry(byte));
}

RunOutcome SequenceRunner::run(int sequence, bool microwire) {
    RunOutcome outcome;
    if (!state_.powerOn)
        return outcome;
    panel_.setText(FrontPanel::panel(1 + sequence), PanelTexts::sequence(sequence, true));
    for (int n = 4; n <= 7; ++n)
        panel_.setText(FrontPanel::panel(n), microwire ? PanelTexts::kNotAcknowledged : QString());
    trace_.begin(analysisOn());
    lines_.beginRun();
    if (microwire)
        openMicrowire();
    else
        openI2c();
    Cell cell = Cell::Done;
    for (int k = 1; k <= 4 && cell == Cell::Done; ++k) {
        cell = microwire ? microwireCell(sequence, k, outcome) : i2cCell(sequence, k, outcome);
        if (cell == Cell::Done && analysisOn())
            trace_.separator();
    }
    if (microwire)
        microwire_.end();
    else
        i2c_.stop();
    panel_.setText(FrontPanel::panel(1 + sequence), PanelTexts::sequence(sequence, false));
    outcome.timerOff = cell == Cell::RejectedTimerOff;
    return outcome;
}

void SequenceRunner::openI2c() {
    i2c_.start();
    if (analysisOn())
        trace_.separator();
}

void SequenceRunner::openMicrowire() {
    microwire_.resetPulse(state_.resetTension);
    if (analysisOn())
        trace_.separator();
    if (state_.startBitOn) {
        microwire_.writeBit(true);
        if (analysisOn())
            trace_.ackMark();
    }
}

SequenceRunner::Cell SequenceRunner::i2cCell(int sequence, int k, RunOutcome& outcome) {
    const Ctl cell = FrontPanel::cell(sequence, k);
    const QString text = panel_.text(cell);
    const Kind kind = CommandCells::kind(text, false);
    switch (kind) {
    case Kind::Stop:
        return Cell::Stopped;
    case Kind::Dump1:
    case Kind::Dump2:
    case Kind::Indicator: {
        // The byte is acknowledged (more to come) unless the next cell ends the transfer.
        const bool more =
            k < 4 && !CommandCells::isStop(panel_.text(FrontPanel::cell(sequence, k + 1)));
        showRead(kind, i2c_.readByte(more), outcome);
        return Cell::Done;
    }
    case Kind::Potmeter:
    case Kind::Constant:
    case Kind::BitString: // not a command on this bus: a constant like any other text
        break;
    }
    int value = panel_.value(Ctl::Analog_ki);
    if (kind != Kind::Potmeter) {
        const auto constant = CommandCells::constantValue(text);
        if (!constant) {
            dialogs_.message(QStringLiteral("Error! Wrong Constans value!\r\n"
                                            "Valid value 0...255 or &h0...&hFF"));
            return Cell::RejectedTimerOff;
        }
        value = *constant;
        panel_.setText(cell, CommandCells::rewrittenConstant(value));
    }
    const bool acknowledged = i2c_.writeByte(value);
    if (analysisOn())
        trace_.ackMark();
    if (acknowledged)
        panel_.setText(FrontPanel::panel(3 + k), PanelTexts::kAcknowledged);
    return Cell::Done;
}

SequenceRunner::Cell SequenceRunner::microwireCell(int sequence, int k, RunOutcome& outcome) {
    const Ctl cell = FrontPanel::cell(sequence, k);
    const QString text = panel_.text(cell);
    const Kind kind = CommandCells::kind(text, true);
    switch (kind) {
    case Kind::Stop:
        return Cell::Stopped;
    case Kind::Dump1:
    case Kind::Dump2:
    case Kind::Indicator:
        showRead(kind, microwire_.readByte(), outcome);
        return Cell::Done;
    case Kind::Potmeter:
        microwire_.writeByte(panel_.value(Ctl::Analog_ki));
        return Cell::Done;
    case Kind::BitString:
        for (const QChar bit : QStringView(text).mid(1)) {
            if (bit != u'0' && bit != u'1') {
                // The bits before the bad character have gone out already.
                dialogs_.message(QStringLiteral("Wrong command! Illegal character in string!\r\n"
                                                "Valid characters 0 and 1 !"));
                return Cell::RejectedTimerOff;
            }
            microwire_.writeBit(bit == u'1');
        }
        return Cell::Done;
    case Kind::Constant:
        break;
    }
    const auto constant = CommandCells::constantValue(text);
    if (!constant) {
        // Unlike an illegal bit, this leaves the non-stop timer running.
        dialogs_.message(QStringLiteral("Error! Wrong Constans value!\r\nValid value 0...255"));
        return Cell::Rejected;
    }
    panel_.setText(cell, CommandCells::rewrittenConstant(*constant));
    microwire_.writeByte(*constant);
    return Cell::Done;
}
