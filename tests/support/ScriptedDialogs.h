#pragma once

#include "model/Dialogs.h"

#include <QStringList>

#include <deque>
#include <functional>
#include <vector>

// Dialogs that answer from a script. Every dialog the code opens is recorded; one that the
// script did not expect fails the test (and is answered with Cancel / OK / No).
class ScriptedDialogs : public Dialogs {
public:
    enum class Kind {
        Message,
        Input,
        OpenFile,
        SaveFile
    };
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

    Answer message(const QString& text, Buttons buttons, Icon icon, const QString& detail) override;
    std::optional<QString> input(const QString& prompt, const QString& title,
                                 const QString& defaultText) override {
        return ask({Kind::Input, prompt, title, defaultText, {}}).text;
    }
    std::optional<QString> openFile(const QString& filter, const QString& name) override {
        return ask({Kind::OpenFile, filter, {}, name, {}}).text;
    }
    std::optional<QString> saveFile(const QString& filter, const QString& name) override {
        return ask({Kind::SaveFile, filter, {}, name, {}}).text;
    }
    void showExplanation() override { ++explanations; }
    void beep() override { ++beeps; }
    void yieldToUi() override {
        ++yields;
        if (duringYield)
            duringYield();
    }

    // "text|title|default text" of the i-th dialog shown.
    QString asked(std::size_t i) const {
        return shown.at(i).text + u'|' + shown.at(i).title + u'|' + shown.at(i).defaultText;
    }
    // The texts of the message boxes shown so far, in order.
    QStringList messages() const;
    bool scriptUsedUp() const { return script_.empty(); }

    // What happens while the program yields, or while a message box is open (a timer tick
    // or a click arriving then).
    std::function<void()> duringYield, duringMessage;
    std::vector<Shown> shown;
    int beeps = 0, explanations = 0, yields = 0;

private:
    struct Step {
        Kind kind;
        std::optional<QString> text;
        Answer answer = Answer::Ok;
        bool expected = true;
    };
    ScriptedDialogs& then(Kind kind, std::optional<QString> text, Answer answer = Answer::Ok) {
        script_.push_back({kind, std::move(text), answer});
        return *this;
    }
    // Records the dialog and takes the script's next step, which must be of its kind.
    Step ask(const Shown& dialog) {
        shown.push_back(dialog);
        return take(dialog);
    }
    Step take(const Shown& dialog);
    std::deque<Step> script_;
};
