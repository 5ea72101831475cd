#include "ui/ObservationView.h"

#include <QMouseEvent>
#include <QPainter>

void ClickLabel::mouseDoubleClickEvent(QMouseEvent* event) {
    QLabel::mouseDoubleClickEvent(event);
    emit doubleClicked();
}

ObservationView::ObservationView(QWidget* parent) : QFrame(parent) {
    setFrameStyle(QFrame::Panel | QFrame::Sunken);
    setLineWidth(2);
}

void ObservationView::setImage(const QImage* image) {
    image_ = image;
    update();
}

void ObservationView::paintEvent(QPaintEvent* event) {
    QFrame::paintEvent(event);
    QPainter p(this);
    if (image_)
        p.drawImage(contentsRect().topLeft(), *image_);
    else
        p.fillRect(contentsRect(), QColor(128, 128, 128));
    if (painted)
        painted();
}

void ObservationView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::RightButton)
        emit rightButtonReleased(event->globalPosition().toPoint());
    QFrame::mouseReleaseEvent(event);
}
