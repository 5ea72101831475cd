#include "support/ScriptedDialogs.h"

#include <gtest/gtest.h>

namespace {
const char* kindName(ScriptedDialogs::Kind k) {
    switch (k) {
    case ScriptedDialogs::Kind::Message:
        return "message box";
    case ScriptedDialogs::Kind::Input:
        return "input box";
    case ScriptedDialogs::Kind::OpenFile:
        return "open dialog";
    case ScriptedDialogs::Kind::SaveFile:
        return "save dialog";
    }
    return "?";
}
} // namespace

ScriptedDialogs& ScriptedDialogs::thenInput(std::optional<QString> answer) {
    script_.push_back({Kind::Input, std::move(answer)});
    return *this;
}
ScriptedDialogs& ScriptedDialogs::thenMessage(Answer answer) {
    script_.push_back({Kind::Message, std::nullopt, answer});
    return *this;
}
ScriptedDialogs& ScriptedDialogs::thenOpenFile(std::optional<QString> path) {
    script_.push_back({Kind::OpenFile, std::move(path)});
    return *this;
}
ScriptedDialogs& ScriptedDialogs::thenSaveFile(std::optional<QString> path) {
    script_.push_back({Kind::SaveFile, std::move(path)});
    return *this;
}

std::optional<ScriptedDialogs::Step> ScriptedDialogs::next(Kind kind, const QString& what) {
    if (script_.empty() || script_.front().kind != kind) {
        ADD_FAILURE() << "unexpected " << kindName(kind) << ": " << what.toStdString();
        return std::nullopt;
    }
    Step step = script_.front();
    script_.pop_front();
    return step;
}

Dialogs::Answer ScriptedDialogs::message(const QString& text, Buttons buttons, Icon icon,
                                         const QString& detail) {
    shown.push_back({Kind::Message, text, {}, {}, detail, buttons, icon});
    if (duringMessage)
        duringMessage();
    const auto step = next(Kind::Message, text);
    if (!step)
        return buttons == Buttons::YesNo ? Answer::No : Answer::Ok;
    return step->answer;
}

std::optional<QString> ScriptedDialogs::input(const QString& prompt, const QString& title,
                                              const QString& defaultText) {
    shown.push_back({Kind::Input, prompt, title, defaultText, {}});
    const auto step = next(Kind::Input, prompt);
    return step ? step->text : std::nullopt;
}

std::optional<QString> ScriptedDialogs::openFile(const QString& filter, const QString& name) {
    shown.push_back({Kind::OpenFile, filter, {}, name, {}});
    const auto step = next(Kind::OpenFile, name);
    return step ? step->text : std::nullopt;
}

std::optional<QString> ScriptedDialogs::saveFile(const QString& filter, const QString& name) {
    shown.push_back({Kind::SaveFile, filter, {}, name, {}});
    const auto step = next(Kind::SaveFile, name);
    return step ? step->text : std::nullopt;
}

QStringList ScriptedDialogs::messages() const {
    QStringList texts;
    for (const Shown& s : shown)
        if (s.kind == Kind::Message)
            texts << s.text;
    return texts;
}
