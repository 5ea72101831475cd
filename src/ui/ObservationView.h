#pragma once

#include <QFrame>
#include <QLabel>

#include <functional>

class QImage;

// A label that reports double-clicks: the status bar panels and the note label.
class ClickLabel : public QLabel {
    Q_OBJECT
public:
    using QLabel::QLabel;
signals:
    void doubleClicked();

protected:
    void mouseDoubleClickEvent(QMouseEvent* event) override;
};

// The observation strip: a sunken picture that shows the trace's persistent image and opens
// the pop-up menu on a release of the right mouse button.
class ObservationView : public QFrame {
    Q_OBJECT
public:
    explicit ObservationView(QWidget* parent);
    void setImage(const QImage* image);
    // Called after every paint (the trace then reports its next change again).
    std::function<void()> painted;
signals:
    void rightButtonReleased(QPoint globalPos);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    const QImage* image_ = nullptr;
};
