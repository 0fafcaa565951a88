// SPDX-License-Identifier: GPL-3.0-or-later
#include "charge_window.h"
#include "support/suite.h"

#include <QtTest>

using Board::Chemistry;

namespace {

Board::DeviceOptions Pack(Chemistry chemistry, int cells, double soc, std::uint64_t seed = 1)
{
    Board::DeviceOptions options;
    options.pack.chemistry = chemistry;
    options.pack.cells = cells;
    options.pack.stateOfCharge = soc;
    options.seed = seed;
    return options;
}

} // namespace

/// A fast charge from the PC, with its end rule, on the board as it is born.
class TestBoardCharge : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void EndsAFewPercentPastFull_data();
    void EndsAFewPercentPastFull();
    void EndsWhereverItBegins_data();
    void EndsWhereverItBegins();
    void EndsAtOtherRates_data();
    void EndsAtOtherRates();
    void EndsWhenReadUnderCurrent();
    void SurvivesLongInterruptions_data();
    void SurvivesLongInterruptions();
    void ShowsAnEarlyBump_data();
    void ShowsAnEarlyBump();
    void EndsOnAColdAndOnAHotDay_data();
    void EndsOnAColdAndOnAHotDay();
    void LithiumTapersAndEnds();
};

void TestBoardCharge::EndsAFewPercentPastFull_data()
{
    QTest::addColumn<int>("chemistry");
    QTest::addColumn<int>("cells");
    QTest::addColumn<int>("seed");
    for (const Chemistry chemistry : {Chemistry::NiMh, Chemistry::NiCd}) {
        for (int cells = 1; cells <= 8; ++cells) {
            for (const int seed : {1, 2, 3})
                QTest::addRow("%s %d cells seed %d", chemistry == Chemistry::NiMh ? "NiMH" : "NiCd", cells, seed)
                    << static_cast<int>(chemistry) << cells << seed;
        }
    }
}

void TestBoardCharge::EndsAFewPercentPastFull()
{
    QFETCH(int, chemistry);
    QFETCH(int, cells);
    QFETCH(int, seed);
    Pc pc(Pack(static_cast<Chemistry>(chemistry), cells, 0.05, static_cast<std::uint64_t>(seed)));
    const ChargeRun run = RunCharge(pc, {});
    QVERIFY(run.fallOfSix && run.fallOfTen);
    QCOMPARE_GT(run.fallOfSix->putIn, 1.0);
    QCOMPARE_GT(run.fallOfTen->putIn, 1.04);
    QCOMPARE_LT(run.fallOfTen->putIn, 1.12);
    QCOMPARE_GT(run.fallOfTen->celsius, 25.0 + 5);
    QCOMPARE_LT(run.fallOfTen->celsius, 60.0);
    QCOMPARE_GT(run.lowest, 0);
    QCOMPARE_LT(run.highest, 1023);
    // What the PC adds up differs from the truth by the converter's gain error of 2 % and by the interruptions.
    QCOMPARE_GT(run.countedAmpHours, (run.fallOfTen->putIn - 0.05) * 2 * 0.95);
    QCOMPARE_LT(run.countedAmpHours, (run.fallOfTen->putIn - 0.05) * 2 * 1.08);
}

void TestBoardCharge::EndsWhereverItBegins_data()
{
    QTest::addColumn<int>("chemistry");
    QTest::addColumn<double>("soc");
    for (const Chemistry chemistry : {Chemistry::NiMh, Chemistry::NiCd}) {
        for (const double soc : {0.0, 0.3, 0.5, 0.7, 0.9, 0.97, 1.0})
            QTest::addRow("%s from %.0f %%", chemistry == Chemistry::NiMh ? "NiMH" : "NiCd", soc * 100)
                << static_cast<int>(chemistry) << soc;
    }
}

void TestBoardCharge::EndsWhereverItBegins()
{
    QFETCH(int, chemistry);
    QFETCH(double, soc);
    for (const std::uint64_t seed : {11u, 12u, 13u}) {
        Pc pc(Pack(static_cast<Chemistry>(chemistry), 4, soc, seed));
        const ChargeRun run = RunCharge(pc, {});
        QVERIFY(run.fallOfSix && run.fallOfTen);
        QCOMPARE_GE(run.fallOfSix->putIn, 1.0);
        QCOMPARE_LT(run.fallOfTen->putIn, 1.10);
    }
}

void TestBoardCharge::EndsAtOtherRates_data()
{
    QTest::addColumn<int>("setting"); // 51 per ampere
    QTest::addColumn<double>("most");
    QTest::newRow("0.3 C") << 31 << 1.20; // its fall is small and slow
    QTest::newRow("0.5 C") << 51 << 1.12;
    QTest::newRow("2 C") << 204 << 1.10;
}

void TestBoardCharge::EndsAtOtherRates()
{
    QFETCH(int, setting);
    QFETCH(double, most);
    for (const std::uint64_t seed : {21u, 22u}) {
        Pc pc(Pack(Chemistry::NiMh, 4, 0.05, seed));
        pc.Write(19, setting);
        const ChargeRun run = RunCharge(pc, {});
        QVERIFY(run.fallOfSix && run.fallOfTen);
        QCOMPARE_GT(run.fallOfSix->putIn, 1.0);
        QCOMPARE_LT(run.fallOfTen->putIn, most);
    }
}

void TestBoardCharge::EndsWhenReadUnderCurrent()
{
    Pc pc(Pack(Chemistry::NiMh, 4, 0.05));
    const ChargeRun run = RunCharge(pc, {.interrupted = false});
    QVERIFY(run.fallOfTen.has_value());
    QCOMPARE_GT(run.fallOfTen->putIn, 1.02);
    QCOMPARE_LT(run.fallOfTen->putIn, 1.08);
    QCOMPARE_LT(run.highest, 1023);
}

void TestBoardCharge::SurvivesLongInterruptions_data()
{
    QTest::addColumn<double>("pause");
    QTest::addColumn<double>("settle");
    QTest::addColumn<double>("exchange");
    QTest::newRow("real time") << 1.0 << 0.005 << 0.006;
    QTest::newRow("fast exchanges") << 1.0 << 0.005 << 0.0001;
    QTest::newRow("accelerated") << 1.2 << 0.2 << 0.02;
    QTest::newRow("much accelerated") << 2.0 << 1.0 << 0.1;
}

void TestBoardCharge::SurvivesLongInterruptions()
{
    QFETCH(double, pause);
    QFETCH(double, settle);
    QFETCH(double, exchange);
    for (const std::uint64_t seed : {31u, 32u, 33u}) {
        Pc pc(Pack(Chemistry::NiMh, 4, 0.05, seed));
        pc.exchangeSeconds = exchange;
        const ChargeRun run = RunCharge(pc, {.pause = pause, .settle = settle});
        QVERIFY(run.fallOfSix && run.fallOfTen);
        QCOMPARE_GT(run.fallOfSix->putIn, 1.0);
        // The drain of the interruptions takes some of the charge out again.
        QCOMPARE_LT(run.fallOfTen->putIn - pc.Pack().DischargedAmpHours() / 2, 1.12);
        QCOMPARE_GT(pc.Pack().StateOfCharge(), 0.97);
    }
}

void TestBoardCharge::ShowsAnEarlyBump_data()
{
    QTest::addColumn<int>("chemistry");
    QTest::newRow("NiMH") << static_cast<int>(Chemistry::NiMh);
    QTest::newRow("NiCd") << static_cast<int>(Chemistry::NiCd);
}

void TestBoardCharge::ShowsAnEarlyBump()
{
    QFETCH(int, chemistry);
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        Pc pc(Pack(static_cast<Chemistry>(chemistry), 4, 0.05, seed));
        const ChargeRun run = RunCharge(pc, {.mostHours = 0.2});
        QVERIFY(!run.fallOfSix); // of a pack that was used an hour ago
        // After a month there is a false peak, which an end rule takes for an end.
        Board::DeviceOptions rested = Pack(static_cast<Chemistry>(chemistry), 4, 0.5, seed);
        rested.pack.restDays = 30;
        Pc other(rested);
        const ChargeRun early = RunCharge(other, {.mostHours = 0.2});
        QCOMPARE_GE(early.earlyFall, 9);
        QCOMPARE_LE(early.earlyFall, 34);
    }
}

void TestBoardCharge::EndsOnAColdAndOnAHotDay_data()
{
    QTest::addColumn<double>("celsius");
    QTest::newRow("cold") << 0.0;
    QTest::newRow("hot") << 40.0;
}

void TestBoardCharge::EndsOnAColdAndOnAHotDay()
{
    QFETCH(double, celsius);
    Board::DeviceOptions options = Pack(Chemistry::NiMh, 6, 0.05);
    options.pack.ambientCelsius = celsius;
    Pc pc(options);
    const ChargeRun run = RunCharge(pc, {});
    QVERIFY(run.fallOfTen.has_value());
    QCOMPARE_GT(run.fallOfTen->putIn, 1.02);
    QCOMPARE_LT(run.fallOfTen->putIn, 1.12);
}

void TestBoardCharge::LithiumTapersAndEnds()
{
    Pc pc(Pack(Chemistry::LiPo, 3, 0.05));
    pc.Write({{18, 0}, {16, 0}, {17, 1}, {15, 1}});
    const double full = 3 * 4.2;
    double before = 3;
    double taperBegan = 0;
    while (pc.board.Hardware().Amps() > 0 || pc.now < 60) {
        pc.Wait(5);
        pc.ReadChannel(13);
        const double amps = pc.board.Hardware().Amps();
        QCOMPARE_LE(pc.board.Hardware().Truth().packVolts, full + 0.001);
        QCOMPARE_LE(amps, before + 1e-9);
        if (taperBegan == 0 && amps < 1.9)
            taperBegan = pc.now;
        before = amps;
        QCOMPARE_LT(pc.now, 4 * 3600.0);
    }
    // Two phases of some length, a nearly full pack, and no current for as long as it stays full.
    QCOMPARE_GT(taperBegan, 1200.0);
    QCOMPARE_GT(pc.now - taperBegan, 600.0);
    QCOMPARE_GT(pc.Pack().StateOfCharge(), 0.95);
    pc.Wait(3600);
    pc.ReadChannel(13);
    QCOMPARE(pc.board.Hardware().Amps(), 0.0);
    // The electrodes come to rest, which the PC's rule sees as a fall of the delta count.
    Pc again(Pack(Chemistry::LiPo, 3, 0.05));
    const ChargeRun run = RunCharge(again, {});
    QVERIFY(run.fallOfTen.has_value());
    QCOMPARE_GT(run.fallOfTen->putIn, 0.9);
}

REGISTER_TEST(TestBoardCharge)
#include "test_board_charge.moc"
