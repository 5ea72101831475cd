#include "app/ConsoleDialogs.h"

#include <QCoreApplication>

Dialogs::Answer ConsoleDialogs::message(const QString& text, Buttons buttons, Icon /*icon*/,
                                        const QString& detail) {
    messages_ << text;
    if (echo_) {
        QString shown = text;
        shown.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
        std::fprintf(echo_, "%s\n", qPrintable(shown));
        if (!detail.isEmpty())
            std::fprintf(echo_, "  (%s)\n", qPrintable(detail));
    }
    return buttons == Buttons::YesNo ? Answer::No : Answer::Ok;
}

void ConsoleDialogs::yieldToUi() {
    QCoreApplication::processEvents();
}
