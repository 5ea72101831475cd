#pragma once

#include "ui/Dialogs.h"

#include <QStringList>

#include <cstdio>

// The dialogs of the command-line tool: nobody is asked anything. Messages are collected (and
// printed to a stream when one is given), questions are cancelled, yes/no questions answered No.
class ConsoleDialogs : public Dialogs {
public:
    explicit ConsoleDialogs(std::FILE* echo = nullptr) : echo_(echo) {}

    Answer message(const QString& text, Buttons buttons, Icon icon, const QString& detail) override;
    std::optional<QString> input(const QString&, const QString&, const QString&) override {
        return std::nullopt;
    }
    std::optional<QString> openFile(const QString&, const QString&) override {
        return std::nullopt;
    }
    std::optional<QString> saveFile(const QString&, const QString&) override {
        return std::nullopt;
    }
    void showExplanation() override {}
    void beep() override {}
    void yieldToUi() override;

    const QStringList& messages() const { return messages_; }

private:
    std::FILE* echo_;
    QStringList messages_;
};
