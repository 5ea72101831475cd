#include "actions/Tester.h"
#include "bus/I2cBus.h"
#include "model/Trace.h"
#include "sim/SimulatedBoard.h"
#include "support/ScriptedDialogs.h"

#include <QFile>
#include <QImageReader>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

constexpr QSize kSize{533, 37}; // data baseline 7.4 (low 17.4), clock baseline 24.42 (34.42)
const QRgb kGrey = Trace::kBackground.rgb();
const QRgb kYellow = Trace::kDataColour.rgb();
const QRgb kCyan = Trace::kClockColour.rgb();
const QRgb kOrange = Trace::kAckColour.rgb();
const QRgb kWhite = Trace::kSeparatorColour.rgb();

// Hand-drawn expectations, inclusive pixel ranges.
void row(QImage& img, int y, int x0, int x1, QRgb c) {
    for (int x = x0; x <= x1; ++x)
        img.setPixel(x, y, c);
}
void column(QImage& img, int x, int y0, int y1, QRgb c) {
    for (int y = y0; y <= y1; ++y)
        img.setPixel(x, y, c);
}

// The first differing pixel, or an empty string when the images are equal.
std::string difference(const QImage& actual, const QImage& expected) {
    for (int y = 0; y < expected.height(); ++y)
        for (int x = 0; x < expected.width(); ++x)
            if (actual.pixel(x, y) != expected.pixel(x, y))
                return "pixel (" + std::to_string(x) + ", " + std::to_string(y) + ") is " +
                       QColor(actual.pixel(x, y)).name().toStdString() + ", expected " +
                       QColor(expected.pixel(x, y)).name().toStdString();
    return {};
}

int countColour(const QImage& img, QRgb c, QRect area) {
    int n = 0;
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            n += img.pixel(x, y) == c;
    return n;
}

QImage blank() {
    QImage img(kSize, QImage::Format_RGB32);
    img.fill(kGrey);
    return img;
}

struct TraceFixture : ::testing::Test {
    SimulatedBoard board;
    PortLines lines{board};
    Trace trace{kSize};
    I2cBus i2c{lines};
    void SetUp() override {
        lines.setRecorder(&trace);
        lines.setAnalysisOn(true);
        lines.openPortI2c();
        trace.init(true);
        trace.begin(false); // no labels: the pixels below are the traces' alone
    }
};

} // namespace

TEST_F(TraceFixture, StartSeparatorAndOneWrittenBitDrawPixelForPixel) {
    EXPECT_FLOAT_EQ(trace.dataBaseline(), 7.4f);
    EXPECT_FLOAT_EQ(trace.clockBaseline(), 24.42f);
    i2c.start();
    trace.separator();
    i2c.sendOne();
    EXPECT_EQ(trace.currentX(), 35);

    QImage expected = blank();
    for (int y = 0; y < 37; y += 2)
        expected.setPixel(20, y, kWhite); // the separator, 5 after the last data x (15)
    row(expected, 7, 0, 14, kYellow);     // data high from 0 to 15
    column(expected, 15, 7, 16, kYellow); // falling at 15
    row(expected, 17, 15, 24, kYellow);   // low from 15 to 25
    column(expected, 25, 8, 17, kYellow); // rising at 25
    row(expected, 24, 0, 19, kCyan);      // clock high from 0 to 20
    column(expected, 20, 24, 33, kCyan);  // falling at 20
    row(expected, 34, 20, 29, kCyan);     // low from 20 to 30
    column(expected, 30, 25, 34, kCyan);  // rising at 30
    row(expected, 24, 30, 34, kCyan);     // high from 30 to 35
    column(expected, 35, 24, 33, kCyan);  // falling at 35
    EXPECT_EQ(difference(trace.image(), expected), "");
}

TEST_F(TraceFixture, EdgesAppearOnlyWhereTheLevelChanges) {
    trace.presetHigh();
    lines.dataHigh(); // x 5: same level, no edge
    lines.dataHigh(); // x 10
    lines.dataLow();  // x 15: edge
    lines.dataLow();  // x 20
    QImage expected = blank();
    row(expected, 7, 0, 14, kYellow);
    column(expected, 15, 7, 16, kYellow);
    row(expected, 17, 15, 19, kYellow);
    EXPECT_EQ(difference(trace.image(), expected), "");

    // After a preset the next record starts from high, whatever was drawn before.
    trace.presetHigh();
    lines.dataLow(); // x 25
    column(expected, 25, 7, 16, kYellow);
    row(expected, 7, 20, 24, kYellow);
    EXPECT_EQ(difference(trace.image(), expected), "");
}

TEST_F(TraceFixture, MarksStandOnTheLastDataPosition) {
    lines.clockHigh(); // x 5
    lines.dataLow();   // x 10
    trace.ackMark();
    trace.separator();
    EXPECT_EQ(countColour(trace.image(), kOrange, {10, 0, 1, 37}), 37);
    EXPECT_EQ(countColour(trace.image(), kWhite, {15, 0, 1, 37}), 19);
    EXPECT_EQ(countColour(trace.image(), kYellow, {16, 0, 517, 37}), 0); // nothing drawn after
}

TEST_F(TraceFixture, AFullStripSaysMoreTimeAndDrawsNothingMoreUntilTheNextRun) {
    for (int i = 0; i < 105; ++i) // x 5 .. 525
        lines.clockLow();
    EXPECT_EQ(trace.currentX(), 525);
    lines.dataLow(); // x 530: drawn
    const QImage before = trace.image();
    lines.dataHigh(); // x 535 >= 533: full
    EXPECT_EQ(trace.currentX(), Trace::kFullX);
    const QRect moreTime(533 - 75, 12, 75, 14);
    EXPECT_GT(countColour(trace.image(), Trace::kTextColour.rgb(), moreTime), 20);
    EXPECT_EQ(countColour(before, Trace::kTextColour.rgb(), moreTime), 0);
    const QImage full = trace.image();
    lines.clockHigh();
    lines.dataLow();
    EXPECT_EQ(trace.currentX(), Trace::kFullX);
    EXPECT_EQ(trace.image(), full);

    // Marks are skipped near the right edge: the last data x is 530.
    trace.ackMark();
    trace.separator();
    EXPECT_EQ(trace.image(), full);

    trace.begin(true);
    EXPECT_EQ(trace.currentX(), 0);
    lines.dataLow();
    EXPECT_EQ(trace.currentX(), 5);
    EXPECT_EQ(countColour(trace.image(), Trace::kTextColour.rgb(), moreTime), 0);
    EXPECT_GT(countColour(trace.image(), Trace::kTextColour.rgb(), {0, 7, 10, 24}), 5); // D, C
}

TEST_F(TraceFixture, TheStopConditionAddsTwoIdleRecords) {
    i2c.stop();
    EXPECT_EQ(trace.currentX(), 25);
    EXPECT_EQ(trace.lastDataX(), 20);
    EXPECT_EQ(trace.lastClockX(), 25);
}

namespace {

struct ObservationFixture : ::testing::Test {
    FrontPanel panel;
    SimulatedBoard board;
    ScriptedDialogs dialogs;
    Tester tester{panel, board, dialogs};
    QTemporaryDir dir;

    void SetUp() override {
        tester.startUp({});
        tester.power().TogglePower();
        tester.trace().begin(true);
        tester.i2c().start();
        tester.i2c().writeByte(0xA0);
    }
    void TearDown() override { EXPECT_TRUE(dialogs.scriptUsedUp()); }
    QString path(const char* name) const { return dir.filePath(QString::fromLatin1(name)); }
};

} // namespace

TEST_F(ObservationFixture, StartUpPrintsTheAnalysisStateAndTheSwitchClearsButKeepsPositions) {
    Trace fresh(Trace::kPictureSize);
    fresh.init(true);
    EXPECT_GT(countColour(fresh.image(), Trace::kTextColour.rgb(), {226, 12, 60, 14}), 20);

    const auto x = tester.trace().currentX();
    tester.observation().Anal_be_Click();
    EXPECT_FALSE(tester.analysisOn());
    EXPECT_FALSE(panel.isChecked(Ctl::Anal_be));
    EXPECT_EQ(countColour(tester.trace().image(), kGrey, QRect({0, 0}, Trace::kPictureSize)),
              533 * 37);
    tester.lines().clockLow(); // not recorded
    EXPECT_EQ(tester.trace().currentX(), x);
    tester.observation().Anal_be_Click();
    EXPECT_TRUE(tester.analysisOn());
    tester.lines().clockLow();
    EXPECT_EQ(tester.trace().currentX(), x + 5);

    tester.observation().Rep_Clear_Click();
    EXPECT_EQ(tester.trace().currentX(), x + 5);
}

TEST_F(ObservationFixture, ExportSwitchesOffAndSavesTheStripAsABitmap) {
    const QString bmp = path("strip.bmp");
    dialogs.thenSaveFile(bmp);
    tester.observation().ExportObservation();
    EXPECT_FALSE(tester.powerOn());
    EXPECT_EQ(dialogs.shown[0].defaultText, QStringLiteral("No Title.bmp"));
    EXPECT_EQ(dialogs.shown[0].text,
              QStringLiteral("BitMap Pictures (*.bmp)|*.bmp|All Files (*.*)|*.*"));
    QImageReader reader(bmp);
    EXPECT_EQ(reader.format(), "bmp");
    const QImage saved = reader.read();
    ASSERT_FALSE(saved.isNull());
    EXPECT_EQ(saved.convertToFormat(QImage::Format_RGB32), tester.trace().image());

    const QString identify = QStandardPaths::findExecutable(QStringLiteral("identify"));
    if (identify.isEmpty()) {
        ADD_FAILURE() << "ImageMagick's identify is missing: scripts/setup.sh installs it";
        return;
    }
    QProcess check;
    check.start(identify, {bmp});
    ASSERT_TRUE(check.waitForFinished(10000));
    const QByteArray said = check.readAllStandardOutput();
    EXPECT_TRUE(said.contains("BMP3 533x37")) << said.toStdString();
}

TEST_F(ObservationFixture, ExportAsksBeforeOverwritingAndReportsFailuresByNumber) {
    dialogs.thenSaveFile(std::nullopt); // cancel: nothing at all
    tester.observation().ExportObservation();

    const QString existing = path("kept.bmp");
    {
        QFile f(existing);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("precious");
    }
    dialogs.thenSaveFile(existing).thenMessage(Dialogs::Answer::No);
    tester.observation().ExportObservation();
    EXPECT_EQ(dialogs.shown[2].text, QStringLiteral("'kept.bmp' is exist ! Overwrite ?"));
    EXPECT_EQ(dialogs.shown[2].buttons, Dialogs::Buttons::YesNo);
    EXPECT_EQ(dialogs.shown[2].icon, Dialogs::Icon::Question);
    QFile f(existing);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    EXPECT_EQ(f.readAll(), QByteArray("precious"));
    f.close();

    dialogs.thenSaveFile(existing).thenMessage(Dialogs::Answer::Yes);
    tester.observation().ExportObservation();
    EXPECT_FALSE(QImage(existing).isNull());

    dialogs.thenSaveFile(path("no/such/folder/x.bmp")).thenMessage();
    tester.observation().ExportObservation();
    EXPECT_EQ(dialogs.messages().last(), QStringLiteral("Hiba: 76"));
    dialogs.thenSaveFile(dir.path()).thenMessage(Dialogs::Answer::Yes).thenMessage();
    tester.observation().ExportObservation(); // a folder by the chosen name
    EXPECT_TRUE(dialogs.messages().last().startsWith(QStringLiteral("Hiba: ")));
}
