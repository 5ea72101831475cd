// The observation: the trace pixel for pixel, analysis on and off, the bitmap and VCD
// exports and their dialogs, and the line event log behind the VCD.
#include "bus/I2cBus.h"
#include "files/ObservationVcd.h"
#include "model/FileTexts.h"
#include "model/Trace.h"
#include "sim/WireRecorder.h"
#include "support/Rig.h"
#include "support/SigrokCli.h"

#include <QBuffer>
#include <QImageReader>
#include <QProcess>
#include <QStandardPaths>
#include <QThread>

#include <tuple>

namespace {

constexpr QSize kSize{533, 37}; // data baseline 7.4 (low 17.4), clock baseline 24.42 (34.42)
const QRgb kGrey = Trace::kBackground.rgb();
const QRgb kYellow = Trace::kDataColour.rgb();
const QRgb kCyan = Trace::kClockColour.rgb();
const QRgb kText = Trace::kTextColour.rgb();
const QRgb kWhite = Trace::kSeparatorColour.rgb();

// A hand-drawn expectation: rows and columns of pixels (x0, y0 to x1, y1, inclusive, every
// step-th pixel) on the background.
struct Segment {
    QRgb colour;
    int x0, y0, x1, y1, step = 1;
};
QImage drawn(const std::vector<Segment>& segments) {
    QImage img(kSize, QImage::Format_RGB32);
    img.fill(kGrey);
    for (const Segment& s : segments)
        for (int y = s.y0; y <= s.y1; y += s.step)
            for (int x = s.x0; x <= s.x1; ++x)
                img.setPixel(x, y, s.colour);
    return img;
}

// The first differing pixel, or an empty string when the images are equal.
std::string difference(const QImage& actual, const QImage& expected) {
    for (int i = 0, w = expected.width(); i < w * expected.height(); ++i)
        if (actual.pixel(i % w, i / w) != expected.pixel(i % w, i / w))
            return std::to_string(i % w) + ", " + std::to_string(i / w) + " is " +
                   QColor(actual.pixel(i % w, i / w)).name().toStdString();
    return {};
}

int countColour(const QImage& img, QRgb c, QRect area) {
    int n = 0;
    for (int i = 0; i < area.width() * area.height(); ++i)
        n += img.pixel(area.left() + i % area.width(), area.top() + i / area.width()) == c;
    return n;
}

struct TraceTest : ::testing::Test {
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

TEST_F(TraceTest, StartSeparatorAndOneWrittenBitDrawPixelForPixel) {
    EXPECT_FLOAT_EQ(trace.dataBaseline(), 7.4f);
    EXPECT_FLOAT_EQ(trace.clockBaseline(), 24.42f);
    i2c.start();
    trace.separator();
    i2c.sendOne();
    EXPECT_EQ(trace.currentX(), 35);
    // The separator dotted 5 after the last data x (15). Data high from 0 to 15, falling at
    // 15, low to 25, rising at 25; clock high from 0 to 20, falling at 20, low to 30, rising
    // at 30, high to 35, falling at 35.
    // clang-format off
    EXPECT_EQ(difference(trace.image(), drawn({
        {kWhite, 20, 0, 20, 36, 2},
        {kYellow, 0, 7, 14, 7},   {kYellow, 15, 7, 15, 16}, {kYellow, 15, 17, 24, 17},
        {kYellow, 25, 8, 25, 17}, {kCyan, 0, 24, 19, 24},   {kCyan, 20, 24, 20, 33},
        {kCyan, 20, 34, 29, 34},
        {kCyan, 30, 25, 30, 34}, {kCyan, 30, 24, 34, 24},   {kCyan, 35, 24, 35, 33}})), "");
    // clang-format on
}

TEST_F(TraceTest, EdgesAppearOnlyWhereTheLevelChangesAndMarksStandOnTheLastDataPosition) {
    trace.presetHigh();
    lines.dataHigh(); // x 5: same level, no edge
    lines.dataHigh(); // x 10
    lines.dataLow();  // x 15: edge
    lines.dataLow();  // x 20
    std::vector<Segment> data = {
        {kYellow, 0, 7, 14, 7}, {kYellow, 15, 7, 15, 16}, {kYellow, 15, 17, 19, 17}};
    EXPECT_EQ(difference(trace.image(), drawn(data)), "");
    // After a preset the next record starts from high, whatever was drawn before.
    trace.presetHigh();
    lines.dataLow(); // x 25
    data.insert(data.end(), {{kYellow, 20, 7, 24, 7}, {kYellow, 25, 7, 25, 16}});
    EXPECT_EQ(difference(trace.image(), drawn(data)), "");
    lines.clockHigh(); // x 30
    trace.ackMark();
    trace.separator();
    EXPECT_EQ(countColour(trace.image(), Trace::kAckColour.rgb(), {25, 0, 1, 37}), 37);
    EXPECT_EQ(countColour(trace.image(), kWhite, {30, 0, 1, 37}), 19);
    EXPECT_EQ(countColour(trace.image(), kYellow, {31, 0, 502, 37}), 0); // nothing drawn after
    // The stop condition adds two idle records.
    trace.begin(false);
    i2c.stop();
    EXPECT_EQ(QList<int>({trace.currentX(), trace.lastDataX(), trace.lastClockX()}),
              QList<int>({25, 20, 25}));
}

TEST_F(TraceTest, AFullStripSaysMoreTimeAndDrawsNothingMoreUntilTheNextRun) {
    for (int i = 0; i < 105; ++i) // x 5 .. 525
        lines.clockLow();
    lines.dataLow(); // x 530: drawn
    const QImage before = trace.image();
    lines.dataHigh(); // x 535 >= 533: full
    EXPECT_EQ(trace.currentX(), Trace::kFullX);
    const QRect moreTime(533 - 75, 12, 75, 14);
    EXPECT_GT(countColour(trace.image(), kText, moreTime), 20);
    EXPECT_EQ(countColour(before, kText, moreTime), 0);
    const QImage full = trace.image();
    lines.clockHigh();
    lines.dataLow();
    trace.ackMark(); // marks are skipped near the right edge: the last data x is 530
    trace.separator();
    EXPECT_EQ(trace.currentX(), Trace::kFullX);
    EXPECT_EQ(trace.image(), full);

    trace.begin(true);
    lines.dataLow();
    EXPECT_EQ(trace.currentX(), 5);
    EXPECT_EQ(countColour(trace.image(), kText, moreTime), 0);
    EXPECT_GT(countColour(trace.image(), kText, {0, 7, 10, 24}), 5); // D, C
}

TEST_F(RigTest, TheAnalysisSwitchClearsButKeepsPositionsAndTheBitmapExportAsks) {
    power().TogglePower(); // analysis on, the trace begun and one address byte sent
    tester->trace().begin(true);
    tester->i2c().start();
    tester->i2c().writeByte(0xA0);
    Trace fresh(Trace::kPictureSize);
    fresh.init(true);
    EXPECT_GT(countColour(fresh.image(), kText, {226, 12, 60, 14}), 20);
    const auto x = tester->trace().currentX();
    observation().Anal_be_Click();
    EXPECT_FALSE(tester->analysisOn() || panel.isChecked(Anal_be));
    EXPECT_EQ(countColour(tester->trace().image(), kGrey, QRect({0, 0}, kSize)), 533 * 37);
    tester->lines().clockLow(); // not recorded
    EXPECT_EQ(tester->trace().currentX(), x);
    observation().Anal_be_Click();
    EXPECT_TRUE(tester->analysisOn());
    tester->lines().clockLow();
    observation().Rep_Clear_Click();
    EXPECT_EQ(tester->trace().currentX(), x + 5);

    // The export switches off and saves the strip as a bitmap, after asking.
    dialogs.thenSaveFile(std::nullopt); // cancel: nothing at all
    observation().ExportObservation();
    const QString bmp = path("strip.bmp");
    dialogs.thenSaveFile(bmp);
    observation().ExportObservation();
    EXPECT_FALSE(tester->powerOn());
    EXPECT_EQ(dialogs.asked(0),
              u"BitMap Pictures (*.bmp)|*.bmp|All Files (*.*)|*.*||No Title.bmp"_s);
    QImageReader reader(bmp);
    EXPECT_EQ(reader.format(), "bmp");
    EXPECT_EQ(reader.read().convertToFormat(QImage::Format_RGB32), tester->trace().image());
    QProcess identify;
    identify.start(QStandardPaths::findExecutable(u"identify"_s), {bmp});
    ASSERT_TRUE(identify.waitForFinished(10000)) << "ImageMagick's identify: scripts/setup.sh";
    EXPECT_TRUE(identify.readAllStandardOutput().contains("BMP3 533x37"));

    ASSERT_TRUE(writeFile(path("kept.bmp"), "precious"));
    dialogs.thenSaveFile(path("kept.bmp")).thenMessage(Dialogs::Answer::No);
    observation().ExportObservation();
    EXPECT_EQ(dialogs.shown.back().text, u"'kept.bmp' is exist ! Overwrite ?"_s);
    EXPECT_EQ(dialogs.shown.back().buttons, Dialogs::Buttons::YesNo);
    EXPECT_EQ(dialogs.shown.back().icon, Dialogs::Icon::Question);
    EXPECT_EQ(contents(path("kept.bmp")), QByteArray("precious"));
    dialogs.thenSaveFile(path("kept.bmp")).thenMessage(Dialogs::Answer::Yes);
    observation().ExportObservation();
    EXPECT_FALSE(QImage(path("kept.bmp")).isNull());

    dialogs.thenSaveFile(path("no/such/folder/x.bmp")).thenMessage();
    observation().ExportObservation();
    EXPECT_EQ(dialogs.messages().last(), u"Hiba: 76"_s);
    dialogs.thenSaveFile(dir.path()).thenMessage(Dialogs::Answer::Yes).thenMessage();
    observation().ExportObservation(); // a folder by the chosen name
    EXPECT_TRUE(dialogs.messages().last().startsWith(u"Hiba: "_s));
}

TEST_F(RigTest, SigrokDecodesTheExportedRunsAsTheBoardsOwnWires) {
    SKIP_WITHOUT_SIGROK();
    start("");
    // Two bytes into the EEPROM, then the dummy write and the read of the next run pair.
    cells(1, {"&hA0", "&h10", "&h41", "&h42"});
    runs().Go1_Click();
    dialogs.thenSaveFile(path("write.vcd"));
    observation().ExportObservationVcd();
    EXPECT_EQ(SigrokCli::decode(path("write.vcd")),
              QStringList({"Start", "Write", "Address write: A0", "ACK", "Data write: 10", "ACK",
                           "Data write: 41", "ACK", "Data write: 42", "ACK", "Stop"}));

    // As in the window, a pause between runs is time on the board: it ends the write cycle.
    board->followWallClock(true);
    QThread::msleep(10);
    cells(1, {"&hA0", "&h10"});
    cells(2, {"&hA1", "Dump1", "Dump1"});
    runs().Go1_Click();
    QThread::msleep(10);
    WireRecorder recorder;
    board->setRecorder(&recorder);
    runs().Go2_Click();
    board->setRecorder(nullptr);
    ASSERT_EQ(panel.text(Hex1), u"41 42 "_s);
    dialogs.thenSaveFile(path("read.vcd"));
    observation().ExportObservationVcd();
    ASSERT_TRUE(recorder.writeVcd(path("wires.vcd")));
    // The export knows the chip's bits only from the samples, yet reads as the wire does.
    const QStringList wires = SigrokCli::decode(path("wires.vcd"));
    EXPECT_EQ(SigrokCli::decode(path("read.vcd")), wires);
    EXPECT_TRUE(wires.contains(u"Data read: 41"_s) && wires.contains(u"Data read: 42"_s));
    // Real times from the run's start, also after a pause: the board's port calls are 10 us
    // apart, and the start condition's fall of the data line is the run's third.
    const QByteArray vcd = contents(path("read.vcd"));
    EXPECT_TRUE(vcd.contains("$timescale 1 ns $end") && vcd.contains("$end\n#30000\n0!\n0$\n"))
        << vcd.left(400).toStdString();

    // The Microwire reset character is on TXD until its stop bit has gone, long after the run.
    power().TogglePower();
    setup().Mset_micro_Click();
    cells(1, {"&h18", "Dump1"});
    runs().Go1_Click();
    dialogs.thenSaveFile(path("reset.vcd"));
    observation().ExportObservationVcd();
    EXPECT_EQ(
        SigrokCli::decode(path("reset.vcd"), u"uart:rx=txd:baudrate=2400"_s, u"uart=rx-data"_s),
        QStringList{u"FF"_s});
}

TEST(LineEventLog, GivesBackEveryEventInOrderAndKeepsAtMostItsLimit) {
    using S = LineEventLog::Signal;
    LineEventLog log;
    log.begin(1000, true, true);
    const std::uint64_t far = 31'000 + (std::uint64_t(1) << 40);
    const std::tuple<S, bool, std::uint64_t> added[] = {
        {S::Clock, false, 1000},  {S::DataOut, false, 11'000}, {S::DataIn, true, 21'000},
        {S::Clock, true, 31'000}, {S::DataIn, false, far},     {S::Clock, false, far},
        {S::Clock, true, 5000}}; // a time stamp that goes back counts as the one before
    for (std::size_t i = 0; i < std::size(added); ++i) {
        std::apply([&log](S s, bool level, std::uint64_t at) { log.add(s, level, at); }, added[i]);
        if (i == 2) // the frame of &h0F, its edges from the moment it was handed over
            log.character(0x0F, 21'000);
    }
    QStringList read;
    LineEventLog::Reader reader(log);
    for (LineEventLog::Event e{}; reader.next(e);)
        read << u"%1%2@%3"_s.arg(int(e.signal)).arg(e.level ? 'H' : 'L').arg(e.atNs);
    EXPECT_EQ(read.join(u' '), u"1L@1000 0L@11000 2H@21000 3L@21000 3H@437667 "
                               "3L@2104333 3H@3771000 1H@31000 2L@%1 1L@%1 1H@%1"_s.arg(far));

    // A full log counts what it leaves out, and the dump says so.
    LineEventLog full(10);
    full.begin(0, true, true);
    for (std::uint64_t i = 0; i < 13; ++i)
        full.add(S::Clock, i % 2 != 0, i * 10'000);
    full.character(0x00, 0);
    EXPECT_EQ(std::pair(full.size(), full.dropped()), (std::pair<std::size_t, std::size_t>(10, 5)));
    QByteArray vcd;
    QBuffer out(&vcd);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly) && writeObservationVcd(full, out));
    EXPECT_TRUE(vcd.contains("$comment the run had 5 line events more than the log keeps (10): "
                             "they are not in this dump $end"));
    EXPECT_TRUE(vcd.endsWith("#90000\n1\"\n#99000\n")) << vcd.toStdString();
}

TEST_F(RigTest, NothingToExportIsSaidAndAnExistingFileIsOnlyReplacedWhenTheUserSaysSo) {
    dialogs.thenMessage(); // nothing has run yet
    observation().ExportObservationVcd();
    EXPECT_EQ(dialogs.messages(), QStringList{FileTexts::kNoLineEvents});
    // A run without analysis empties the log of the one before.
    cells(1, {"&hA0"});
    runs().Go1_Click();
    EXPECT_FALSE(tester->lineEvents().empty());
    observation().Anal_be_Click();
    runs().Go1_Click();
    EXPECT_TRUE(tester->lineEvents().empty());
    dialogs.thenMessage();
    observation().ExportObservationVcd();
    EXPECT_EQ(dialogs.messages().size(), 2);

    // The suggested name follows the command file's title; "No" keeps the file as it was.
    observation().Anal_be_Click();
    runs().Go1_Click();
    ASSERT_TRUE(writeFile(path("keep.vcd"), "mine"));
    dialogs.thenSaveFile(path("keep.vcd")).thenMessage(Dialogs::Answer::No);
    observation().ExportObservationVcd();
    EXPECT_EQ(dialogs.shown[dialogs.shown.size() - 2].defaultText, u"No Title.vcd"_s);
    EXPECT_EQ(dialogs.messages().last(), u"'keep.vcd' is exist ! Overwrite ?"_s);
    EXPECT_EQ(contents(path("keep.vcd")), QByteArray("mine"));
    // A folder that is not there: a message naming the file, and nothing else written.
    dialogs.thenSaveFile(path("missing/run.vcd")).thenMessage();
    observation().ExportObservationVcd();
    EXPECT_TRUE(dialogs.messages().last().contains(u"run.vcd"_s) &&
                !QFile::exists(path("missing")));
}
