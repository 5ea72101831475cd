#pragma once

#include <QDialog>

#include <functional>

class QLabel;
class QPushButton;

// The explanation window He: the explanation picture and an OK button. A click on the
// button, on the picture or on the window closes it. It beeps once when it opens.
class ExplanationWindow : public QDialog {
    Q_OBJECT
public:
    explicit ExplanationWindow(QWidget* parent = nullptr,
                               const std::function<void()>& beep = defaultBeep);

    QLabel* picture() const { return image1_; }
    QPushButton* okButton() const { return command1_; }

protected:
    void mousePressEvent(QMouseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    static void defaultBeep();
    QLabel* image1_;
    QPushButton* command1_;
};
