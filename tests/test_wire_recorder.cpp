#include "base/UartFrame.h"
#include "sim/SimulatedBoard.h"
#include "sim/WireRecorder.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using Wire = WireRecorder::Wire;
using Edges = std::vector<std::pair<std::uint64_t, bool>>; // (time after t0, level)

Edges edgesOf(const WireRecorder& recorder, Wire wire, std::uint64_t t0) {
    Edges edges;
    for (const auto& c : recorder.changes())
        if (c.wire == wire && c.atNs >= t0)
            edges.emplace_back(c.atNs - t0, c.level);
    return edges;
}

} // namespace

TEST(WireRecorder, SeesTheResetCharacterAsAUartFrameOnTxdAndAsAPulseOnChipSelect) {
    SimulatedBoard board;
    QString why;
    ASSERT_TRUE(board.open(&why));
    WireRecorder recorder;
    board.setRecorder(&recorder);
    EXPECT_TRUE(recorder.level(Wire::Txd)); // idle high
    EXPECT_FALSE(recorder.level(Wire::ChipSelect));

    board.sendByte(0xC5); // 1100 0101: two leading ones, so CS lasts 3 bit times
    const std::uint64_t t0 = board.nowNs();
    board.sendByte(0x00); // handed over during the first frame: waits for it
    const std::uint64_t t1 = board.nowNs();
    while (board.nowNs() < t0 + UartFrame::bitTimesNs(21))
        board.cts();

    auto b = [](int k) { return UartFrame::bitTimesNs(k); };
    // Start bit, then bits 0..7 = 1 0 1 0 0 0 1 1, stop bit high; then 0x00: start and eight
    // zeros, stop bit high.
    const Edges txd = {{0, false},    {b(1), true}, {b(2), false},  {b(3), true},
                       {b(4), false}, {b(7), true}, {b(10), false}, {b(19), true}};
    EXPECT_EQ(edgesOf(recorder, Wire::Txd, t0), txd);
    // CS rose with the first character; the second one, handed over 10 us later while CS was
    // still high, dropped it for 1 us and started its own pulse of one bit time.
    const std::uint64_t d = t1 - t0;
    const Edges cs = {{0, true}, {d, false}, {d + 1000, true}, {d + 1000 + b(1), false}};
    EXPECT_EQ(edgesOf(recorder, Wire::ChipSelect, t0), cs);
}

TEST(WireRecorder, FollowsClockDataAndDsrAndWritesThemAsAValueChangeDump) {
    SimulatedBoard board;
    QString why;
    ASSERT_TRUE(board.open(&why));
    board.setRts(true);
    WireRecorder recorder;
    board.setRecorder(
        &recorder);      // at 10 us: dtr low, rts high, data low, dsr high, txd high, cs low
    board.setDtr(true);  // 20 us
    board.setRts(false); // 30 us
    board.setRts(false); // 40 us: no change, nothing recorded
    board.cts();

    const QByteArray expected = "$version Tamsolvix simulated board recorder $end\n"
                                "$timescale 1 us $end\n"
                                "$scope module board $end\n"
                                "$var wire 1 ! dtr $end\n"
                                "$var wire 1 \" rts $end\n"
                                "$var wire 1 # data $end\n"
                                "$var wire 1 $ dsr $end\n"
                                "$var wire 1 % txd $end\n"
                                "$var wire 1 & cs $end\n"
                                "$upscope $end\n"
                                "$enddefinitions $end\n"
                                "#0\n"
                                "$dumpvars\n0!\n1\"\n0#\n1$\n1%\n0&\n$end\n"
                                "#20\n1!\n1#\n"
                                "#30\n0\"\n0$\n"
                                "#40\n";
    EXPECT_EQ(recorder.vcd(), expected);

    // Changes are sorted by time; within one microsecond the last level of a wire stands, and
    // a pulse that ends where it began leaves no trace.
    WireRecorder loose;
    loose.record(Wire::Data, true, 0);
    loose.record(Wire::Data, false, 5'000);
    loose.record(Wire::Clock, true, 4'000);
    loose.record(Wire::Data, true, 5'200);
    loose.record(Wire::Clock, false, 7'000);
    const QByteArray body = loose.vcd().mid(loose.vcd().indexOf("#0"));
    EXPECT_EQ(body, QByteArray("#0\n$dumpvars\n1\"\n1#\n$end\n#7\n0\"\n#17\n"));
}
