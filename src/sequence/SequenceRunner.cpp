#include "sequence/SequenceRunner.h"

#include "base/Numbers.h"
#include "sequence/CommandCells.h"

using CommandCells::Kind;

void SequenceRunner::setRunPanel(int sequence, bool running) {
    panel_.setText(FrontPanel::panel(1 + sequence),
                   QStringLiteral("Sequence %1: %2")
                       .arg(sequence)
                       .arg(running ? QStringLiteral("Run") : QStringLiteral("Stop")));
}

void SequenceRunner::showRead(Kind kind, int byte) {
    if (kind == Kind::Indicator) {
        panel_.setValue(Ctl::Analog_be, byte);
        panel_.setText(Ctl::Analog_be_sz, numberText(panel_.value(Ctl::Analog_be)));
        return;
    }
    const bool first = kind == Kind::Dump1;
    panel_.appendText(first ? Ctl::Hex1 : Ctl::Hex2, CommandCells::hexEntry(byte));
    panel_.appendText(first ? Ctl::Dump1 : Ctl::Dump2, CommandCells::decimalEntry(byte));
}

void SequenceRunner::RunI2cSequence(int sequence) {
    if (!state_.powerOn)
        return;
    setRunPanel(sequence, true);
    for (int n = 4; n <= 7; ++n)
        panel_.setText(FrontPanel::panel(n), QString());
    trace_.begin(analysing());
    lines_.beginRun();
    i2c_.start();
    if (analysing())
        trace_.separator();
    Cell outcome = Cell::Done;
    for (int k = 1; k <= 4 && outcome == Cell::Done; ++k) {
        outcome = i2cCell(sequence, k);
        if (outcome == Cell::Done && analysing())
            trace_.separator();
    }
    i2c_.stop();
    setRunPanel(sequence, false);
    if (outcome == Cell::RejectedTimerOff)
        selectNoff_();
}

SequenceRunner::Cell SequenceRunner::i2cCell(int sequence, int k) {
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
        const bool more = k < 4 && panel_.text(FrontPanel::cell(sequence, k + 1)) != u"Stop";
        showRead(kind, i2c_.readByte(more));
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
    if (analysing())
        trace_.ackMark();
    if (acknowledged)
        panel_.setText(FrontPanel::panel(3 + k), QStringLiteral("A"));
    return Cell::Done;
}

void SequenceRunner::RunMicrowireSequence(int sequence) {
    if (!state_.powerOn)
        return;
    setRunPanel(sequence, true);
    for (int n = 4; n <= 7; ++n)
        panel_.setText(FrontPanel::panel(n), QStringLiteral("NA"));
    trace_.begin(analysing());
    lines_.beginRun();
    microwire_.resetPulse(state_.resetTension);
    if (analysing())
        trace_.separator();
    if (state_.startBitOn) {
        microwire_.writeBit(true);
        if (analysing())
            trace_.ackMark();
    }
    Cell outcome = Cell::Done;
    for (int k = 1; k <= 4 && outcome == Cell::Done; ++k) {
        outcome = microwireCell(sequence, k);
        if (outcome == Cell::Done && analysing())
            trace_.separator();
    }
    microwire_.end();
    setRunPanel(sequence, false);
    if (outcome == Cell::RejectedTimerOff)
        selectNoff_();
}

SequenceRunner::Cell SequenceRunner::microwireCell(int sequence, int k) {
    const Ctl cell = FrontPanel::cell(sequence, k);
    const QString text = panel_.text(cell);
    const Kind kind = CommandCells::kind(text, true);
    switch (kind) {
    case Kind::Stop:
        return Cell::Stopped;
    case Kind::Dump1:
    case Kind::Dump2:
    case Kind::Indicator:
        showRead(kind, microwire_.readByte());
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
