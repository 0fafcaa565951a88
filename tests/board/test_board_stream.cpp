// SPDX-License-Identifier: GPL-3.0-or-later
#include "pc.h"
#include "support/suite.h"

#include <QtTest>

#include <cmath>

using Board::Bytes;

namespace {

struct Record
{
    int prompt;
    int sample;
    int seconds;
    int volts;       // 10 mV
    int current;     // mA
    int temperature; // 0.1 °C
    int delta;
    int resistance; // mohm
    int capacity;   // mAh
    int type;
    int rise;
    int supply;
    int doubler;
    int meanRise;
    int mostRise;
};

/// Takes a record apart after the layout of its 29 bytes; throws when a word's high byte is above 127.
Record Decode(const Bytes &bytes)
{
    if (bytes.size() != 30 || bytes[0] != 10)
        throw std::runtime_error("not a record");
    const auto word = [&bytes](std::size_t at) {
        if (bytes[at] > 127)
            throw std::runtime_error("a word above 32767");
        return bytes[at] * 256 + bytes[at + 1];
    };
    return {bytes[1],  word(2),   bytes[4] * 3600 + bytes[5] * 60 + bytes[6],
            word(8),   word(10),  word(12),
            word(14),  word(16),  word(18),
            bytes[20], bytes[21], word(22),
            word(24),  word(26),  word(28)};
}

Record Next(Pc &pc, double seconds)
{
    pc.Wait(seconds);
    Bytes bytes;
    pc.board.AppendRecord(pc.now, bytes);
    return Decode(bytes);
}

} // namespace

/// The records that the board sends while it runs by itself.
class TestBoardStream : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void BeginsAndEnds();
    void DoesNoCommandsMeanwhile();
    void RunsACharge();
    void ReportsWhatThePcLeftOn();
    void CarriesItsType();
    void KeepsWordsBelow32768();
};

void TestBoardStream::BeginsAndEnds()
{
    Pc pc({});
    QVERIFY(!pc.board.Streaming());
    QCOMPARE(pc.Exchange({27, 3}), Bytes{});
    QVERIFY(pc.board.Streaming());
    const Record first = Next(pc, 1);
    QCOMPARE(first.sample, 1);
    QCOMPARE(first.seconds, 1);
    QCOMPARE(Next(pc, 1).sample, 2);
    QCOMPARE(pc.Exchange({85}), Bytes({27}));
    QVERIFY(!pc.board.Streaming());
    QCOMPARE(pc.Exchange({170}), Bytes({85}));
    QCOMPARE(pc.Exchange({27, 0}), Bytes({6}));
    // A new run counts anew.
    pc.Exchange({27, 3});
    QCOMPARE(Next(pc, 1).sample, 1);
}

void TestBoardStream::DoesNoCommandsMeanwhile()
{
    Pc pc({});
    pc.Exchange({27, 3});
    QCOMPARE(pc.Exchange({27, 13}), Bytes{});
    // A parameter is not a greeting.
    QCOMPARE(pc.Exchange({27, 19, 85}), Bytes{});
    QCOMPARE(pc.Exchange({27, 39, 85, 85}), Bytes{});
    QVERIFY(pc.board.Streaming());
    QCOMPARE(pc.Exchange({27, 3}), Bytes{});
    QVERIFY(pc.board.Streaming());
    QCOMPARE(pc.board.Hardware().Setting(19), 100);
    QCOMPARE(pc.board.Stored().Writes(), 0ul);
    QCOMPARE(pc.Exchange({85}), Bytes({27}));
}

void TestBoardStream::RunsACharge()
{
    Pc pc({});
    pc.Exchange({27, 3});
    Record last{};
    int peak = 0;
    int hottest = 0;
    int ended = 0;
    for (int second = 1; second <= 2 * 3600; ++second) {
        const Record record = Next(pc, 1);
        QCOMPARE(record.prompt, '>');
        QCOMPARE(record.sample, second);
        QCOMPARE(record.seconds, second);
        QCOMPARE(record.type, 2);
        QCOMPARE_LE(std::abs(record.resistance - 100), 40); // more while it is empty, less while it is warm
        QCOMPARE_GE(record.capacity, last.capacity);
        QCOMPARE_GT(record.supply, 1300);
        QCOMPARE_GT(record.doubler, 2500);
        QCOMPARE_LE(record.rise, record.mostRise);
        QCOMPARE_LE(record.meanRise, record.mostRise);
        peak = std::max(peak, record.delta);
        hottest = std::max(hottest, record.temperature);
        if (ended == 0 && record.delta <= peak - 10)
            ended = second;
        else if (ended == 0)
            QVERIFY(std::abs(record.current - 1961) <= 1);
        else
            QCOMPARE(record.current, 0);
        last = record;
    }
    // The board ended its own charge a little past full.
    QCOMPARE_GT(ended, 3400);
    QCOMPARE_LT(ended, 4000);
    QCOMPARE_GT(last.capacity, 1900);
    QCOMPARE_LT(last.capacity, 2160);
    QCOMPARE_GT(hottest, 350);
    QCOMPARE_LT(last.temperature, hottest);
    QCOMPARE_GT(last.mostRise, 0);
}

void TestBoardStream::ReportsWhatThePcLeftOn()
{
    Board::DeviceOptions options;
    options.pack.stateOfCharge = 0.5;
    Pc pc(options);
    pc.Write({{16, 1}, {18, 1}});
    const Board::Lines lines = pc.board.Hardware().Switches();
    pc.Exchange({27, 3});
    QCOMPARE(pc.board.Hardware().Switches(), lines);
    QVERIFY(std::abs(Next(pc, 10).current - 980) <= 1);
    QCOMPARE(Next(pc, 3590).capacity, 980);
    pc.Exchange({85});
    QCOMPARE(pc.board.Hardware().Switches(), lines);

    // Its own charge does not outlast the run.
    Pc idle(options);
    idle.Exchange({27, 3});
    QCOMPARE_GT(idle.board.Hardware().Amps(), 1.9);
    idle.Exchange({85});
    QCOMPARE(idle.board.Hardware().Switches(), Board::Lines{});
    QCOMPARE(idle.board.Hardware().Amps(), 0.0);
}

void TestBoardStream::CarriesItsType()
{
    for (const int type : {0, 1, 27, 255}) {
        Pc pc({}, static_cast<std::uint8_t>(type));
        pc.Exchange({27, 3});
        QCOMPARE(Next(pc, 1).type, type);
    }
}

void TestBoardStream::KeepsWordsBelow32768()
{
    Board::DeviceOptions options;
    options.pack.ambientCelsius = -5;
    options.pack.capacityAmpHours = 20;
    Pc pc(options);
    pc.Exchange({27, 3});
    QCOMPARE(Next(pc, 1).temperature, 0);
    for (int i = 2; i <= 32767; ++i)
        Next(pc, 0.5);
    // The sample number starts again.
    QCOMPARE(Next(pc, 0.5).sample, 1);
    QCOMPARE_LT(Next(pc, 86400 * 3).seconds, 86400);
}

REGISTER_TEST(TestBoardStream)
#include "test_board_stream.moc"
