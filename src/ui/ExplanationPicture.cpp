#include "ui/ExplanationPicture.h"

#include "bus/I2cBus.h"
#include "bus/PortLines.h"
#include "model/Trace.h"

#include <QPainter>

#include <deque>

namespace {

constexpr QSize kPictureSize{669, 267};
const QColor kBackground(24, 26, 40);
const QColor kText(235, 235, 235);

// A bus with one device that answers from a list of data-in levels.
class ExampleBus : public PortBackend {
public:
    std::deque<bool> answers;
    void selectPort(int) override {}
    int selectedPort() const override { return 1; }
    bool isOpen() const override { return true; }
    bool open(QString*) override { return true; }
    void close() override {}
    void setDtr(bool) override {}
    void setRts(bool) override {}
    bool cts() override {
        if (answers.empty())
            return true;
        const bool level = answers.front();
        answers.pop_front();
        return level;
    }
    bool dsr() override { return false; }
    void sendByte(std::uint8_t) override {}
};

// One strip: a start, an address byte and its acknowledge, and optionally a byte read back.
QImage exampleStrip(int address, int readValue) {
    ExampleBus bus;
    PortLines lines(bus);
    Trace trace(Trace::kPictureSize);
    I2cBus i2c(lines);
    lines.setRecorder(&trace);
    lines.setAnalysisOn(true);
    trace.init(false);
    trace.begin(true);
    i2c.start();
    trace.separator();
    bus.answers = {false}; // the device acknowledges its address
    i2c.writeByte(address);
    trace.ackMark();
    trace.separator();
    if (readValue >= 0) {
        for (int bit = 7; bit >= 0; --bit)
            bus.answers.push_back(((readValue >> bit) & 1) != 0);
        i2c.readByte(false);
        trace.separator();
        for (int i = 0; i < 40; ++i) // runs on until the strip is full
            lines.clockLow(), lines.clockHigh();
    } else {
        i2c.stop();
    }
    return trace.image();
}

void swatch(QPainter& p, int x, int y, const QColor& colour, bool dotted = false) {
    p.setPen(QPen(colour, 2, dotted ? Qt::DotLine : Qt::SolidLine));
    p.drawLine(x, y - 4, x + 18, y - 4);
}

} // namespace

QImage explanationPicture() {
    QImage picture(kPictureSize, QImage::Format_RGB888);
    picture.fill(kBackground);
    QPainter p(&picture);
    QFont font(QStringLiteral("Liberation Sans"));
    font.setStyleHint(QFont::SansSerif);
    font.setPixelSize(12);
    QFont bold = font;
    bold.setBold(true);
    const int left = (kPictureSize.width() - Trace::kPictureSize.width()) / 2;

    p.setFont(bold);
    p.setPen(kText);
    p.drawText(QRect(0, 6, kPictureSize.width(), 18), Qt::AlignHCenter,
               QStringLiteral("The observation picture: every line level, one step at a time"));

    p.setFont(font);
    p.drawText(left, 44, QStringLiteral("Write 0xA0: start, 1 0 1 0 0 0 0 0, acknowledge, stop"));
    p.drawImage(left, 50, exampleStrip(0xA0, -1));
    p.drawText(left, 148,
               QStringLiteral("Address 0xA1, then a byte read (0x5A) without acknowledge"));
    p.drawImage(left, 154, exampleStrip(0xA1, 0x5A));

    // The legend between and below the strips.
    const struct {
        QColor colour;
        bool dotted;
        const char* text;
        int x, y;
    } legend[] = {
        {Trace::kDataColour, false, "D: data line (DTR out, CTS in), high above low", left, 108},
        {Trace::kClockColour, false, "C: clock line (RTS)", left + 300, 108},
        {Trace::kAckColour, false, "acknowledge read in the ninth clock", left, 126},
        {Trace::kSeparatorColour, true, "separator between commands", left + 300, 126},
    };
    for (const auto& l : legend) {
        swatch(p, l.x, l.y, l.colour, l.dotted);
        p.setPen(kText);
        p.drawText(l.x + 24, l.y, QString::fromLatin1(l.text));
    }
    p.drawText(QRect(left, 200, Trace::kPictureSize.width(), 64), Qt::TextWordWrap,
               QStringLiteral("Time is not to scale: each level set or read moves 5 pixels to "
                              "the right; a written bit takes 4 steps, a read bit 5. \"More "
                              "Time!\" means the strip is full: the rest of the run is not drawn. "
                              "Right-click the picture to clear or export it."));
    return picture;
}
