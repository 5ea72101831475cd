#pragma once

#include "model/Dialogs.h"

#include <QStringList>

#include <cstdio>
#include <optional>

// The dialogs of the command-line tool: nobody is asked anything. Messages are collected (and
// printed to a stream when one is given), questions are cancelled, yes/no questions answered No.
// The one exception: a path handed to answerNextOpen() answers the next open-file question, so
// "Open Commands" can load a file named on the command line.
class ConsoleDialogs : public Dialogs {
public:
    explicit ConsoleDialogs(std::FILE* echo = nullptr) : echo_(echo) {}

    Answer message(const QString& text, Buttons buttons, Icon icon, const QString& detail) override;
    std::optional<QString> input(const QString&, const QString&, const QString&) override {
        return std::nullopt;
    }
    std::optional<QString> openFile(const QString&, const QString&) override;
    std::optional<QString> saveFile(const QString&, const QString&) override {
        return std::nullopt;
    }
    void showExplanation() override {}
    void beep() override {}
    void yieldToUi() override;

    const QStringList& messages() const { return messages_; }
    // The next open-file question gets path as its answer; the ones after it are cancelled.
    void answerNextOpen(const QString& path) { openAnswer_ = path; }

private:
    std::FILE* echo_;
    QStringList messages_;
    std::optional<QString> openAnswer_;
};
