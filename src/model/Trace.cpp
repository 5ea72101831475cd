#include "model/Trace.h"

#include <QFontMetrics>
#include <QPainter>

#include <algorithm>

namespace {
int pixel(double coordinate) {
    return qRound(coordinate);
}
const QRgb kDataRgb = Trace::kDataColour.rgb();
const QRgb kClockRgb = Trace::kClockColour.rgb();
} // namespace

Trace::Trace(QSize size)
    : image_(size, QImage::Format_RGB32), width_(size.width()), height_(size.height()) {
    image_.fill(kBackground);
}

QFont Trace::textFont() {
    // A bold sans serif of 7.8 points at 96 dots per inch.
    QFont font(QStringLiteral("Liberation Sans"));
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(10);
    font.setBold(true);
    return font;
}

void Trace::changed() {
    if (changePending_)
        return;
    changePending_ = true;
    if (listener_)
        listener_();
}

void Trace::hLine(int x1, int x2, int y, QRgb colour) {
    if (y < 0 || y >= height_ || x1 == x2)
        return;
    const int step = x1 < x2 ? 1 : -1;
    auto* row = reinterpret_cast<QRgb*>(image_.scanLine(y));
    for (int x = std::clamp(x1, -1, width_); x != std::clamp(x2, -1, width_); x += step)
        if (x >= 0 && x < width_)
            row[x] = colour;
    changed();
}

void Trace::vLine(int x, int y1, int y2, QRgb colour, bool dotted) {
    if (x < 0 || x >= width_ || y1 == y2)
        return;
    const int step = y1 < y2 ? 1 : -1;
    uchar* const bits = image_.bits();
    const qsizetype stride = image_.bytesPerLine();
    for (int y = std::clamp(y1, -1, height_); y != std::clamp(y2, -1, height_); y += step)
        if (y >= 0 && y < height_ && (!dotted || (y - y1) % 2 == 0))
            reinterpret_cast<QRgb*>(bits + y * stride)[x] = colour;
    changed();
}

void Trace::print(const QString& text, int x, int y) {
    QPainter painter(&image_);
    const QFont font = textFont();
    painter.setFont(font);
    painter.setPen(kTextColour);
    painter.drawText(QPoint(x, y + QFontMetrics(font).ascent()), text);
    changed();
}

bool Trace::advance() {
    currentX_ = static_cast<std::int16_t>(currentX_ + kStep);
    if (currentX_ < width())
        return true;
    // Full: nothing more is drawn until the next run. Printing the same text at the same place
    // again changes no pixel, so it is printed once per fill.
    currentX_ = kFullX;
    if (!moreTimeShown_) {
        print(QStringLiteral("More Time!"), width() - 75, pixel(height() / 3.0));
        moreTimeShown_ = true;
    }
    return false;
}

void Trace::drawLevel(LineState line, bool high) {
    const QRgb colour = line.colour;
    const int top = pixel(line.baseline);
    const int bottom = pixel(line.baseline + static_cast<float>(kSwing));
    if (line.lastLevel == 1) {
        hLine(line.lastX, currentX_, top, colour);
        if (!high)
            vLine(currentX_, top, bottom, colour);
    } else {
        hLine(line.lastX, currentX_, bottom, colour);
        if (high)
            vLine(currentX_, bottom, top, colour);
    }
    line.lastX = currentX_;
    line.lastLevel = high ? 1 : 0;
}

void Trace::level(Line line, bool high) {
    if (!advance())
        return;
    if (line == Line::Data)
        drawLevel({lastDataX_, lastDataLevel_, dataBaseline_, kDataRgb}, high);
    else
        drawLevel({lastClockX_, lastClockLevel_, clockBaseline_, kClockRgb}, high);
}

void Trace::ackMark() {
    if (lastDataX_ + kStep >= width())
        return;
    vLine(lastDataX_, 0, height(), kAckColour.rgb());
}

void Trace::separator() {
    if (lastDataX_ + 2 * kStep >= width())
        return;
    vLine(lastDataX_ + kStep, 0, height(), kSeparatorColour.rgb(), true);
}

void Trace::presetHigh() {
    lastDataLevel_ = 1;
    lastClockLevel_ = 1;
}

void Trace::clear() {
    image_.fill(kBackground);
    moreTimeShown_ = false;
    changed();
}

void Trace::begin(bool analysisOn) {
    clear();
    currentX_ = 0;
    lastDataX_ = 0;
    lastClockX_ = 0;
    if (analysisOn) {
        print(QStringLiteral("D"), 0, pixel(dataBaseline_));
        print(QStringLiteral("C"), 0, pixel(clockBaseline_));
    }
}

void Trace::init(bool analysisOn) {
    print(analysisOn ? QStringLiteral("Analysis ON") : QStringLiteral("Analysis OFF"),
          pixel(width() / 2.0 - 40), pixel(height() / 3.0));
    dataBaseline_ = static_cast<float>(height() * 0.2);
    clockBaseline_ = static_cast<float>(height() * 0.66);
}
