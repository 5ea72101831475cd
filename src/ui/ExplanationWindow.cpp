#include "ui/ExplanationWindow.h"

#include "ui/ExplanationPicture.h"

#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPixmap>
#include <QPushButton>

namespace {
constexpr int kTwipsPerPixel = 15;
// Image1: 8076 x 3252 twips at the top left; OK button at (2880, 3360), 1932 wide.
constexpr QRect kImageRect(0, 0, 8076 / kTwipsPerPixel, 3252 / kTwipsPerPixel);
constexpr QRect kButtonRect(2880 / kTwipsPerPixel, 3360 / kTwipsPerPixel, 1932 / kTwipsPerPixel,
                            22);
constexpr int kClientHeight = 3696 / kTwipsPerPixel;
} // namespace

void ExplanationWindow::defaultBeep() {
    QApplication::beep();
}

ExplanationWindow::ExplanationWindow(QWidget* parent, const std::function<void()>& beep)
    : QDialog(parent, Qt::Dialog | Qt::WindowTitleHint | Qt::WindowCloseButtonHint |
                          Qt::MSWindowsFixedSizeDialogHint) {
    setWindowTitle(QStringLiteral("Explanation"));
    setModal(true);

    image1_ = new QLabel(this);
    image1_->setGeometry(kImageRect);
    image1_->setScaledContents(true); // the picture is stretched to the control
    image1_->setPixmap(QPixmap::fromImage(explanationPicture()));
    image1_->installEventFilter(this);

    command1_ = new QPushButton(QStringLiteral("OK"), this);
    command1_->setGeometry(kButtonRect);
    connect(command1_, &QPushButton::clicked, this, &QDialog::accept);

    // The window is as wide as its picture.
    setFixedSize(kImageRect.width(), kClientHeight);
    beep();
}

void ExplanationWindow::mousePressEvent(QMouseEvent* event) {
    QDialog::mousePressEvent(event);
    accept();
}

bool ExplanationWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == image1_ && event->type() == QEvent::MouseButtonPress) {
        accept();
        return true;
    }
    return QDialog::eventFilter(watched, event);
}
