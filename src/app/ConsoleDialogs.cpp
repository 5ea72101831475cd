#include "app/ConsoleDialogs.h"

#include "base/LineEnds.h"

#include <QCoreApplication>

#include <utility>

Dialogs::Answer ConsoleDialogs::message(const QString& text, Buttons buttons, Icon /*icon*/,
                                        const QString& detail) {
    messages_ << text;
    if (echo_) {
        std::fprintf(echo_, "%s\n", qPrintable(withLineFeeds(text)));
        if (!detail.isEmpty())
            std::fprintf(echo_, "  (%s)\n", qPrintable(detail));
    }
    return buttons == Buttons::YesNo ? Answer::No : Answer::Ok;
}

std::optional<QString> ConsoleDialogs::openFile(const QString&, const QString&) {
    return std::exchange(openAnswer_, std::nullopt);
}

void ConsoleDialogs::yieldToUi() {
    QCoreApplication::processEvents();
}
