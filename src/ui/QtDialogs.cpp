#include "ui/QtDialogs.h"

#include "base/LineEnds.h"

#include "model/PanelTexts.h"
#include "ui/ExplanationWindow.h"
#include "ui/MainWindow.h"

#include <QApplication>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>

Dialogs::Answer QtDialogs::message(const QString& text, Buttons buttons, Icon icon,
                                   const QString& detail) {
    QMessageBox box(parent_);
    box.setWindowTitle(PanelTexts::kApplicationTitle);
    box.setText(withLineFeeds(text));
    if (!detail.isEmpty())
        box.setInformativeText(detail);
    box.setIcon(icon == Icon::Question   ? QMessageBox::Question
                : icon == Icon::Critical ? QMessageBox::Critical
                                         : QMessageBox::NoIcon);
    if (buttons == Buttons::YesNo) {
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        return box.exec() == QMessageBox::Yes ? Answer::Yes : Answer::No;
    }
    box.setStandardButtons(QMessageBox::Ok);
    box.exec();
    return Answer::Ok;
}

std::optional<QString> QtDialogs::input(const QString& prompt, const QString& title,
                                        const QString& defaultText) {
    bool ok = false;
    const QString answer = QInputDialog::getText(parent_, title, withLineFeeds(prompt),
                                                 QLineEdit::Normal, defaultText, &ok);
    if (!ok)
        return std::nullopt;
    return answer;
}

QString QtDialogs::qtFilter(const QString& filter) {
    const QStringList parts = filter.split(u'|');
    QStringList entries;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        // The label of an entry already names its patterns ("Serial Commands (*.scm)").
        entries << (parts[i].contains(u'(')
                        ? parts[i]
                        : parts[i] + QStringLiteral(" (") + parts[i + 1] + QLatin1Char(')'));
    }
    return entries.join(QStringLiteral(";;"));
}

std::optional<QString> QtDialogs::openFile(const QString& filter, const QString& name) {
    const QString path = QFileDialog::getOpenFileName(parent_, QString(), name, qtFilter(filter));
    if (path.isEmpty())
        return std::nullopt;
    return path;
}

std::optional<QString> QtDialogs::saveFile(const QString& filter, const QString& name) {
    // The tool asks its own overwrite question.
    const QString path = QFileDialog::getSaveFileName(parent_, QString(), name, qtFilter(filter),
                                                      nullptr, QFileDialog::DontConfirmOverwrite);
    if (path.isEmpty())
        return std::nullopt;
    return path;
}

void QtDialogs::showExplanation() {
    ExplanationWindow window(parent_);
    window.exec();
}

void QtDialogs::beep() {
    QApplication::beep();
}

void QtDialogs::yieldToUi() {
    QCoreApplication::processEvents();
}

void QtDialogs::repaintNow() {
    auto* window = qobject_cast<MainWindow*>(parent_);
    if (!window || (sinceRepaint_.isValid() && sinceRepaint_.elapsed() < 16))
        return;
    window->repaintIndicator();
    sinceRepaint_.start();
}
