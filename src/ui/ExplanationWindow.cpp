#include "ui/ExplanationWindow.h"

#include "files/ProgramIcons.h"
#include "ui/ExplanationPicture.h"

#include <QApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPixmap>
#include <QPushButton>
#include <QScreen>

namespace {
constexpr int kTwipsPerPixel = 15;
constexpr int nearestPixel(int twips) {
    return (twips + kTwipsPerPixel / 2) / kTwipsPerPixel;
}
// Image1: 8076 x 3252 twips at the top left; OK button 1932 x 252 twips at (2880, 3360).
constexpr QRect kImageRect(0, 0, 8076 / kTwipsPerPixel, 3252 / kTwipsPerPixel);
constexpr QRect kButtonRect(nearestPixel(2880), nearestPixel(3360), nearestPixel(1932),
                            nearestPixel(252));
constexpr int kClientHeight = 3696 / kTwipsPerPixel;
} // namespace

void ExplanationWindow::defaultBeep() {
    QApplication::beep();
}

ExplanationWindow::ExplanationWindow(QWidget* parent, const std::function<void()>& beep)
    : QDialog(parent, Qt::Dialog | Qt::WindowTitleHint | Qt::WindowCloseButtonHint |
                          Qt::MSWindowsFixedSizeDialogHint) {
    setWindowTitle(QStringLiteral("Explanation"));
    setWindowIcon(ProgramIcons::explanation());
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
    // It opens centred on the screen, wherever the main window is.
    if (const QScreen* screen = parent ? parent->screen() : QGuiApplication::primaryScreen())
        move(screen->availableGeometry().center() - rect().center());
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
