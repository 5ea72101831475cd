#include "support/ScriptedDialogs.h"

#include <gtest/gtest.h>

ScriptedDialogs::Step ScriptedDialogs::take(const Shown& dialog) {
    if (script_.empty() || script_.front().kind != dialog.kind) {
        const char* kinds[] = {"message box", "input box", "open dialog", "save dialog"};
        ADD_FAILURE() << "unexpected " << kinds[static_cast<int>(dialog.kind)] << ": "
                      << dialog.text.toStdString() << dialog.defaultText.toStdString();
        return {dialog.kind, std::nullopt, Answer::Ok, false};
    }
    const Step step = script_.front();
    script_.pop_front();
    return step;
}

Dialogs::Answer ScriptedDialogs::message(const QString& text, Buttons buttons, Icon icon,
                                         const QString& detail) {
    shown.push_back({Kind::Message, text, {}, {}, detail, buttons, icon});
    if (duringMessage)
        duringMessage();
    const Step step = take(shown.back());
    if (!step.expected && buttons == Buttons::YesNo)
        return Answer::No;
    return step.answer;
}

QStringList ScriptedDialogs::messages() const {
    QStringList texts;
    for (const Shown& s : shown)
        if (s.kind == Kind::Message)
            texts << s.text;
    return texts;
}
