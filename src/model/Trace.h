#pragma once

#include "bus/PortLines.h"

#include <QColor>
#include <QFont>
#include <QImage>
#include <QSize>
#include <QString>

#include <cstdint>
#include <functional>

// The observation trace: a logic-analyser view of the data and clock lines, drawn into a
// persistent picture. Time is not measured: each recorded level moves the drawing position
// 5 pixels to the right, on one x axis shared by both lines. A line's segment since its
// previous record is drawn only when that line is recorded again, at the old level; a change
// of level adds a 10-pixel edge at the new position.
//
// Lines are drawn as the platform's line primitive draws them: from the start point up to,
// but not including, the end point; coordinates are rounded to whole pixels.
class Trace : public LevelRecorder {
public:
    static inline const QColor kBackground{128, 128, 128};
    static inline const QColor kTextColour{0, 255, 0};
    static inline const QColor kDataColour{255, 255, 0};
    static inline const QColor kClockColour{0, 255, 255};
    static inline const QColor kAckColour{255, 128, 0};
    // The desktop's window-background colour: white on Windows' standard scheme, and the base
    // colour of Qt's standard light palettes. Fixed, so that exports look alike everywhere.
    static inline const QColor kSeparatorColour{255, 255, 255};
    static constexpr int kStep = 5;
    static constexpr int kSwing = 10;
    static constexpr std::int16_t kFullX = 667;
    // The observation picture's inner area, inside its sunken border in the window.
    static constexpr QSize kPictureSize{533, 37};

    // size: the picture's inner area.
    explicit Trace(QSize size);

    void recordLevel(Line line, bool high) override { level(line, high); }
    void level(Line line, bool high);
    void ackMark();
    void separator();

    // Both lines count as high now; nothing is drawn.
    void presetHigh() override;
    // Clears the picture and starts the positions at 0; prints "D" and "C" when analysing.
    void begin(bool analysisOn);
    // Start-up: prints "Analysis ON" or "Analysis OFF" and computes the baselines.
    void init(bool analysisOn);
    // Clears the picture; the positions are kept.
    void clear();

    const QImage& image() const { return image_; }
    int width() const { return width_; }
    int height() const { return height_; }
    std::int16_t currentX() const { return currentX_; }
    std::int16_t lastDataX() const { return lastDataX_; }
    std::int16_t lastClockX() const { return lastClockX_; }
    float dataBaseline() const { return dataBaseline_; }
    float clockBaseline() const { return clockBaseline_; }
    static QFont textFont();

    // Called once after the picture changes, until changeShown() says it has been shown, so
    // that a view repaints once per frame however many records a run makes.
    void setChangeListener(std::function<void()> listener) { listener_ = std::move(listener); }
    void changeShown() { changePending_ = false; }

private:
    struct LineState {
        std::int16_t& lastX;
        std::uint8_t& lastLevel;
        float baseline;
        QRgb colour;
    };
    bool advance(); // one step right; false once the strip is full
    void drawLevel(LineState line, bool high);
    void hLine(int x1, int x2, int y, QRgb colour);
    void vLine(int x, int y1, int y2, QRgb colour, bool dotted = false);
    void print(const QString& text, int x, int y);
    void changed();

    QImage image_;
    int width_;
    int height_;
    std::int16_t currentX_ = 0;
    std::int16_t lastDataX_ = 0;
    std::int16_t lastClockX_ = 0;
    std::uint8_t lastDataLevel_ = 0;
    std::uint8_t lastClockLevel_ = 0;
    float dataBaseline_ = 0;
    float clockBaseline_ = 0;
    bool moreTimeShown_ = false;
    bool changePending_ = false;
    std::function<void()> listener_;
};
