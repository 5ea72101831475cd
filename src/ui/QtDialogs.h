#pragma once

#include "model/Dialogs.h"

#include <QElapsedTimer>

class QWidget;

// The dialogs of the window: Qt's message box, input dialog and file dialogs.
class QtDialogs : public Dialogs {
public:
    explicit QtDialogs(QWidget* parent = nullptr) : parent_(parent) {}
    void setParent(QWidget* parent) { parent_ = parent; }

    Answer message(const QString& text, Buttons buttons, Icon icon, const QString& detail) override;
    std::optional<QString> input(const QString& prompt, const QString& title,
                                 const QString& defaultText) override;
    std::optional<QString> openFile(const QString& filter, const QString& name) override;
    std::optional<QString> saveFile(const QString& filter, const QString& name) override;
    void showExplanation() override;
    void beep() override;
    void yieldToUi() override;
    // Repaints the main window's indicator, at most about 60 times a second.
    void repaintNow() override;

    // "Label (*.x)|*.x|All Files (*.*)|*.*" as a Qt name filter list.
    static QString qtFilter(const QString& filter);

private:
    QWidget* parent_;
    QElapsedTimer sinceRepaint_;
};
