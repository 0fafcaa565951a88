// SPDX-License-Identifier: GPL-3.0-or-later
#include "runs/chargerules.h"
#include "support/suite.h"

#include <QtTest>

namespace {
/// Feeds one block whose counts add up to `sum`; true if the last step ended the block and no other did.
bool Block(RiseIndicator &rise, int sum, double elapsed)
{
    for (int step = 0; step < 49; ++step)
        if (rise.Add(0, elapsed))
            return false;
    return rise.Add(sum, elapsed);
}
} // namespace

class TestChargeRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void EndsTenCountsBelowThePeak()
    {
        DeltaPeak peak;
        QVERIFY(!peak.Add(700));
        QVERIFY(!peak.Add(691)); // 9 below
        QVERIFY(!peak.Add(691));
        QVERIFY(peak.Add(690)); // 10 below
        QCOMPARE(peak.Highest(), 700);
    }

    void TenCountsAtAnEndOfTheRangeSaturate_data()
    {
        QTest::addColumn<int>("end");
        QTest::newRow("ceiling") << 1023;
        QTest::newRow("nothing") << 0;
    }
    void TenCountsAtAnEndOfTheRangeSaturate()
    {
        QFETCH(int, end);
        DeltaSaturation saturation;
        for (int i = 0; i < 9; ++i)
            QVERIFY(!saturation.Add(end));
        QVERIFY(saturation.Add(end));
        QVERIFY(saturation.Add(end));
        QVERIFY(!saturation.Add(end == 0 ? 1 : 1022)); // inside again: ten more are needed
        for (int i = 0; i < 9; ++i)
            QVERIFY(!saturation.Add(end));
        QVERIFY(saturation.Add(end));
    }

    void PeakFollowsUpwardsOnly()
    {
        DeltaPeak peak;
        QCOMPARE(peak.Highest(), 0);
        peak.Add(5);
        peak.Add(3);
        QCOMPARE(peak.Highest(), 5);
        peak.Add(20);
        QCOMPARE(peak.Highest(), 20);
        QVERIFY(!peak.Add(11));
        peak.Reset();
        QVERIFY(!peak.Add(2));
        QCOMPARE(peak.Highest(), 2);
    }

    void NothingBeforeTheFiftiethStep()
    {
        RiseIndicator rise;
        for (int step = 0; step < 49; ++step)
            QVERIFY(!rise.Add(500, step));
        QCOMPARE(rise.BlockRise(), 0.0);
        QCOMPARE(rise.RiseAverage(), 0.0);
        QVERIFY(rise.Add(500, 50));
        QCOMPARE(rise.BlockRise(), 10.0);
        QCOMPARE(rise.RiseAverage(), 10.0);
    }

    void BlocksAndAverage()
    {
        RiseIndicator rise;
        struct
        {
            int sum;
            double blockRise;
            double average;
        } const blocks[] = {
            {25000, 10, 10},  // the first two blocks are replaced by a fixed rise
            {25900, 10, 10},  //
            {25930, 30, 16},  // Int(50 / 3)
            {25900, 0, 12},   // a fall is no rise: Int(50 / 4)
            {26200, 300, 70}, // 300 is still plausible: 350 / 5
            {26501, 0, 58},   // 301 is not: Int(350 / 6)
            {26502, 1, 50},   // compared with the block before, whatever it counted: Int(351 / 7)
        };
        for (const auto &block : blocks) {
            QVERIFY(Block(rise, block.sum, 100));
            QCOMPARE(rise.BlockRise(), block.blockRise);
            QCOMPARE(rise.RiseAverage(), block.average);
        }
        QCOMPARE(rise.Indicator(), RiseIndicator::Clear);
    }

    /// Ten flat blocks: the average is small (Int(20 / 10) = 2) and a rise of 7 or more stands out.
    static int Flat(RiseIndicator &rise, double elapsed)
    {
        for (int block = 0; block < 10; ++block)
            Block(rise, 1000, elapsed);
        return 1000;
    }

    void SuspectedOnlyAfter500Seconds()
    {
        RiseIndicator early;
        int sum = Flat(early, 400);
        Block(early, sum += 100, 500);
        QCOMPARE(early.Indicator(), RiseIndicator::Clear);
        RiseIndicator late;
        sum = Flat(late, 400);
        Block(late, sum += 100, 501);
        QCOMPARE(late.Indicator(), RiseIndicator::Suspected);
    }

    void SuspectedAboveThreeTimesTheAverageOnly()
    {
        RiseIndicator rise;
        int sum = Flat(rise, 600);
        // 11 blocks, sum of rises 20 + 6: average Int(26 / 11) = 2, and 6 is not above 6.
        Block(rise, sum += 6, 600);
        QCOMPARE(rise.Indicator(), RiseIndicator::Clear);
        Block(rise, sum += 7, 600); // Int(33 / 12) = 2, 7 > 6
        QCOMPARE(rise.Indicator(), RiseIndicator::Suspected);
    }

    void ConfirmedThreeBlocksAfterTheSuspicion()
    {
        RiseIndicator rise;
        int sum = Flat(rise, 600);
        Block(rise, sum += 100, 600); // counts as the first
        for (int block = 0; block < 2; ++block) {
            Block(rise, sum += 1, 600);
            QCOMPARE(rise.Indicator(), RiseIndicator::Suspected);
        }
        Block(rise, sum += 1, 600);
        QCOMPARE(rise.Indicator(), RiseIndicator::Set);
    }

    void AGrowingRiseRestartsTheCount()
    {
        RiseIndicator rise;
        int sum = Flat(rise, 600);
        Block(rise, sum += 100, 600);
        Block(rise, sum += 1, 600);
        Block(rise, sum += 101, 600); // larger: counts from 0 again
        for (int block = 0; block < 3; ++block) {
            Block(rise, sum += 1, 600);
            QCOMPARE(rise.Indicator(), RiseIndicator::Suspected);
        }
        Block(rise, sum += 1, 600);
        QCOMPARE(rise.Indicator(), RiseIndicator::Set);
    }

    void ALargerRiseClearsTheConfirmedIndicator()
    {
        RiseIndicator rise;
        int sum = Flat(rise, 600);
        Block(rise, sum += 100, 600);
        for (int block = 0; block < 3; ++block)
            Block(rise, sum += 1, 600);
        QCOMPARE(rise.Indicator(), RiseIndicator::Set);
        Block(rise, sum += 100, 600);
        QCOMPARE(rise.Indicator(), RiseIndicator::Set);
        Block(rise, sum += 101, 600);
        QCOMPARE(rise.Indicator(), RiseIndicator::Clear);
        Block(rise, sum += 50, 600); // its state stays: it is not raised a second time
        QCOMPARE(rise.Indicator(), RiseIndicator::Clear);
    }

    void RestartKeepsTheAverageUntilTheFirstBlock()
    {
        RiseIndicator rise;
        int sum = Flat(rise, 600);
        Block(rise, sum += 100, 600);
        const double average = rise.RiseAverage();
        QVERIFY(average > 0);
        rise.Restart();
        QCOMPARE(rise.RiseAverage(), average);
        QCOMPARE(rise.BlockRise(), 0.0);
        QCOMPARE(rise.Indicator(), RiseIndicator::Clear);
        Block(rise, 5000, 10);
        QCOMPARE(rise.RiseAverage(), 10.0);
    }
};

REGISTER_TEST(TestChargeRules)
#include "tst_chargerules.moc"
