#pragma once

#include <QString>

#include <optional>

// Everything modal the tool asks of the user, behind one seam: the window answers with Qt
// dialogs, the tests with a script, the command-line tool without asking anybody.
class Dialogs {
public:
    enum class Buttons {
        Ok,
        YesNo
    };
    enum class Icon {
        None,
        Question,
        Critical
    };
    enum class Answer {
        Ok,
        Yes,
        No
    };

    virtual ~Dialogs() = default;

    // A message box with the application title. The text is shown exactly as given (two-line
    // messages are joined by CR LF); detail, when not empty, is a further explanation shown
    // below it (the platform's reason for a failed port open, for example).
    virtual Answer message(const QString& text, Buttons buttons = Buttons::Ok,
                           Icon icon = Icon::None, const QString& detail = {}) = 0;
    // A one-line input box; nullopt when cancelled.
    virtual std::optional<QString> input(const QString& prompt, const QString& title,
                                         const QString& defaultText = {}) = 0;
    // File dialogs; filter as "Label (*.ext)|*.ext|All Files (*.*)|*.*". nullopt when cancelled.
    virtual std::optional<QString> openFile(const QString& filter, const QString& name) = 0;
    virtual std::optional<QString> saveFile(const QString& filter, const QString& name) = 0;
    // The explanation window of the observation picture, shown modally.
    virtual void showExplanation() = 0;
    virtual void beep() = 0;
    // Lets pending user-interface events run.
    virtual void yieldToUi() = 0;
    // Shows the progress of a long operation at once (the indicator during a device scan on a
    // slow port) without letting any other event run. Nothing to do without a window.
    virtual void repaintNow() {}
};
