#include "files/ProgramIcons.h"

#include "model/Trace.h"

#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QPixmap>

#include <iterator>

namespace ProgramIcons {

namespace {

// Both icons are drawn on a 48 x 48 grid.
constexpr int kGrid = 48;
constexpr int kSizes[] = {16, 24, 32, 48, 64};

// The chip: a dark body with a pin-1 dot and its name, three legs above and below, one at each
// side.
constexpr QLine kLegs[] = {{15, 4, 15, 12},  {24, 4, 24, 12},  {33, 4, 33, 12}, {15, 36, 15, 44},
                           {24, 36, 24, 44}, {33, 36, 33, 44}, {4, 24, 12, 24}, {36, 24, 44, 24}};
constexpr int kLegWidth = 3;
constexpr QRect kBody(10, 10, 28, 28);
constexpr int kBodyRadius = 3;
constexpr QPointF kDot(16, 16);
constexpr double kDotRadius = 2.5;
constexpr QPoint kLabelAt(24, 29); // the middle of the label's baseline
constexpr int kLabelSize = 10;
const QColor kLegColour(0x8a, 0x8a, 0x8a);
const QColor kBodyColour(0x2e, 0x34, 0x36);
const QColor kDotColour(0xba, 0xbd, 0xb6);
const QColor kLabelColour(0x8a, 0xe2, 0x34);
const QString kLabel = QStringLiteral("I2C");

void paintChip(QPainter& p) {
    p.setPen(QPen(kLegColour, kLegWidth, Qt::SolidLine, Qt::FlatCap));
    for (const QLine& leg : kLegs)
        p.drawLine(leg);
    p.setPen(Qt::NoPen);
    p.setBrush(kBodyColour);
    p.drawRoundedRect(kBody, kBodyRadius, kBodyRadius);
    p.setBrush(kDotColour);
    p.drawEllipse(kDot, kDotRadius, kDotRadius);
    QFont font(QStringLiteral("sans-serif"));
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(kLabelSize);
    font.setBold(true);
    p.setFont(font);
    p.setPen(kLabelColour);
    p.drawText(
        QPointF(kLabelAt.x() - QFontMetricsF(font).horizontalAdvance(kLabel) / 2, kLabelAt.y()),
        kLabel);
}

// The explanation: a yellow data trace over a cyan clock trace on the picture's dark ground.
constexpr QRect kGround(2, 2, 44, 44);
const QColor kGroundColour(24, 26, 40);
constexpr int kTraceWidth = 3;
constexpr QPoint kData[] = {{6, 12}, {14, 12}, {14, 20}, {30, 20}, {30, 12}, {42, 12}};
constexpr QPoint kClock[] = {{6, 36},  {10, 36}, {10, 28}, {18, 28}, {18, 36},
                             {26, 36}, {26, 28}, {34, 28}, {34, 36}, {42, 36}};

void paintExplanation(QPainter& p) {
    p.setPen(Qt::NoPen);
    p.setBrush(kGroundColour);
    p.drawRoundedRect(kGround, 4, 4);
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(Trace::kDataColour, kTraceWidth, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    p.drawPolyline(kData, static_cast<int>(std::size(kData)));
    p.setPen(QPen(Trace::kClockColour, kTraceWidth, Qt::SolidLine, Qt::SquareCap, Qt::MiterJoin));
    p.drawPolyline(kClock, static_cast<int>(std::size(kClock)));
}

QIcon iconOf(void (*paint)(QPainter&)) {
    QIcon icon;
    for (const int size : kSizes) {
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        p.scale(double(size) / kGrid, double(size) / kGrid);
        paint(p);
        p.end();
        icon.addPixmap(QPixmap::fromImage(image));
    }
    return icon;
}

} // namespace

QByteArray programSvg() {
    QString legs;
    for (const QLine& leg : kLegs)
        legs +=
            QStringLiteral("M%1 %2L%3 %4").arg(leg.x1()).arg(leg.y1()).arg(leg.x2()).arg(leg.y2());
    return QStringLiteral(
               "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%1\" height=\"%1\" "
               "viewBox=\"0 0 %1 %1\">\n"
               "  <path d=\"%2\" stroke=\"%3\" stroke-width=\"%4\"/>\n"
               "  <rect x=\"%5\" y=\"%6\" width=\"%7\" height=\"%8\" rx=\"%9\" fill=\"%10\"/>\n"
               "  <circle cx=\"%11\" cy=\"%12\" r=\"%13\" fill=\"%14\"/>\n"
               "  <text x=\"%15\" y=\"%16\" font-family=\"sans-serif\" font-size=\"%17\" "
               "font-weight=\"bold\" fill=\"%18\" text-anchor=\"middle\">%19</text>\n"
               "</svg>\n")
        .arg(kGrid)
        .arg(legs, kLegColour.name())
        .arg(kLegWidth)
        .arg(kBody.x())
        .arg(kBody.y())
        .arg(kBody.width())
        .arg(kBody.height())
        .arg(kBodyRadius)
        .arg(kBodyColour.name())
        .arg(kDot.x())
        .arg(kDot.y())
        .arg(kDotRadius)
        .arg(kDotColour.name())
        .arg(kLabelAt.x())
        .arg(kLabelAt.y())
        .arg(kLabelSize)
        .arg(kLabelColour.name(), kLabel)
        .toUtf8();
}

QIcon program() {
    return iconOf(paintChip);
}

QIcon explanation() {
    return iconOf(paintExplanation);
}

} // namespace ProgramIcons
