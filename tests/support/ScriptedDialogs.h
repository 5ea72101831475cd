#pragma once

#include "model/Dialogs.h"

#include <QString>
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
        QString text; // message text, input prompt
        QString title;
        QString defaultText;
        QString detail;
        Buttons buttons = Buttons::Ok;
        Icon icon = Icon::None;
    };

    // The next dialog of this kind gets this answer (nullopt: cancelled).
    ScriptedDialogs& thenInput(std::optional<QString> answer);
    ScriptedDialogs& thenMessage(Answer answer = Answer::Ok);
    ScriptedDialogs& thenOpenFile(std::optional<QString> path);
    ScriptedDialogs& thenSaveFile(std::optional<QString> path);

    Answer message(const QString& text, Buttons buttons, Icon icon, const QString& detail) override;
    std::optional<QString> input(const QString& prompt, const QString& title,
                                 const QString& defaultText) override;
    std::optional<QString> openFile(const QString& filter, const QString& name) override;
    std::optional<QString> saveFile(const QString& filter, const QString& name) override;
    void showExplanation() override { ++explanations; }
    void beep() override { ++beeps; }
    void yieldToUi() override {
        ++yields;
        if (duringYield)
            duringYield();
    }
    void repaintNow() override { ++repaints; }

    // The texts of the message boxes shown so far, in order.
    QStringList messages() const;
    bool scriptUsedUp() const { return script_.empty(); }

    // What happens while the program yields, or while a message box is open (a timer tick
    // or a click arriving then).
    std::function<void()> duringYield;
    std::function<void()> duringMessage;

    std::vector<Shown> shown;
    int beeps = 0;
    int explanations = 0;
    int yields = 0;
    int repaints = 0;

private:
    struct Step {
        Kind kind;
        std::optional<QString> text;
        Answer answer = Answer::Ok;
    };
    std::optional<Step> next(Kind kind, const QString& what);

    std::deque<Step> script_;
};
