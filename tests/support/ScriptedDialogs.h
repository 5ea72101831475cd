#pragma once

#include "model/Dialogs.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <vector>

// Dialogs that answer from a script. Every dialog the code opens is recorded; one that the
// script did not expect fails the test (and is answered with Cancel or No).
class ScriptedDialogs : public Dialogs {
public:
    // clang-format off
    enum class Kind { Message, Input, OpenFile, SaveFile };
    // clang-format on
    struct Shown {
        Kind kind;
        QString text, title, defaultText, detail; // text: message, prompt or filter
        Buttons buttons = Buttons::Ok;
        Icon icon = Icon::None;
    };

    // The next dialog of this kind gets this answer (nullopt: cancelled).
    ScriptedDialogs& thenInput(std::optional<QString> a) { return then(Kind::Input, a); }
    ScriptedDialogs& thenOpenFile(std::optional<QString> a) { return then(Kind::OpenFile, a); }
    ScriptedDialogs& thenSaveFile(std::optional<QString> a) { return then(Kind::SaveFile, a); }
    ScriptedDialogs& thenMessage(Answer answer = Answer::Ok) {
        return then(Kind::Message, {}, answer);
    }

    Answer message(const QString& text, Buttons buttons, Icon icon,
                   const QString& detail) override {
        shown.push_back({Kind::Message, text, {}, {}, detail, buttons, icon});
        if (duringMessage)
            duringMessage();
        return take().answer;
    }
    std::optional<QString> input(const QString& prompt, const QString& title,
                                 const QString& defaultText) override {
        shown.push_back({Kind::Input, prompt, title, defaultText, {}});
        return take().text;
    }
    std::optional<QString> openFile(const QString& filter, const QString& name) override {
        shown.push_back({Kind::OpenFile, filter, {}, name, {}});
        return take().text;
    }
    std::optional<QString> saveFile(const QString& filter, const QString& name) override {
        shown.push_back({Kind::SaveFile, filter, {}, name, {}});
        return take().text;
    }
    void showExplanation() override { ++explanations; }
    void beep() override { ++beeps; }
    void yieldToUi() override {
        ++yields;
        if (duringYield)
            duringYield();
    }
    void repaintNow() override { ++repaints; }

    // "text|title|default text" of the i-th dialog shown.
    QString asked(std::size_t i) const {
        return shown.at(i).text + u'|' + shown.at(i).title + u'|' + shown.at(i).defaultText;
    }
    // The texts of the message boxes shown so far, in order.
    QStringList messages() const {
        QStringList texts;
        for (const Shown& s : shown)
            if (s.kind == Kind::Message)
                texts << s.text;
        return texts;
    }
    bool scriptUsedUp() const { return script_.empty(); }

    // What happens while the program yields, or while a message box is open (a timer tick
    // or a click arriving then).
    std::function<void()> duringYield, duringMessage;
    std::vector<Shown> shown;
    int beeps = 0, explanations = 0, yields = 0, repaints = 0;

private:
    struct Step {
        Kind kind;
        std::optional<QString> text;
        Answer answer = Answer::No;
    };
    ScriptedDialogs& then(Kind kind, std::optional<QString> text, Answer answer = Answer::Ok) {
        script_.push_back({kind, std::move(text), answer});
        return *this;
    }
    // The script's next step, which must be for the dialog shown last.
    Step take() {
        const Shown& dialog = shown.back();
        if (script_.empty() || script_.front().kind != dialog.kind) {
            ADD_FAILURE() << "unexpected dialog: " << dialog.text.toStdString()
                          << dialog.defaultText.toStdString();
            return {dialog.kind, std::nullopt};
        }
        const Step step = script_.front();
        script_.pop_front();
        return step;
    }
    std::deque<Step> script_;
};
