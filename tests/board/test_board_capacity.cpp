// SPDX-License-Identifier: GPL-3.0-or-later
#include "capacity_window.h"
#include "support/suite.h"

#include <QtTest>

using Board::Chemistry;

namespace {

double Mean(const std::vector<int> &values)
{
    double sum = 0;
    for (const int value : values)
        sum += value;
    return sum / static_cast<double>(values.size());
}

} // namespace

/// The capacity measurement of the PC, from the first ramp to the last charge.
class TestBoardCapacity : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void MeasuresABelievableCycle_data();
    void MeasuresABelievableCycle();
    void ReportsLessThanWasTaken_data();
    void ReportsLessThanWasTaken();
    void FindsItsPlaceAtAnyCharge_data();
    void FindsItsPlaceAtAnyCharge();
    void FindsItsPlaceInADeeplyDrainedPack();
};

void TestBoardCapacity::MeasuresABelievableCycle_data()
{
    QTest::addColumn<int>("chemistry");
    QTest::addColumn<int>("cells");
    QTest::addColumn<double>("soc");
    QTest::addColumn<int>("seed");
    QTest::newRow("4 NiMH, nearly empty") << static_cast<int>(Chemistry::NiMh) << 4 << 0.05 << 1;
    QTest::newRow("4 NiMH, half full") << static_cast<int>(Chemistry::NiMh) << 4 << 0.5 << 2;
    QTest::newRow("4 NiMH, full") << static_cast<int>(Chemistry::NiMh) << 4 << 1.0 << 3;
    QTest::newRow("8 NiMH") << static_cast<int>(Chemistry::NiMh) << 8 << 0.05 << 4;
    QTest::newRow("1 NiMH") << static_cast<int>(Chemistry::NiMh) << 1 << 0.05 << 5;
    QTest::newRow("6 NiCd") << static_cast<int>(Chemistry::NiCd) << 6 << 0.05 << 6;
    QTest::newRow("3 LiPo") << static_cast<int>(Chemistry::LiPo) << 3 << 0.30 << 7;
}

void TestBoardCapacity::MeasuresABelievableCycle()
{
    QFETCH(int, chemistry);
    QFETCH(int, cells);
    QFETCH(double, soc);
    QFETCH(int, seed);
    Board::DeviceOptions options;
    options.pack.chemistry = static_cast<Chemistry>(chemistry);
    options.pack.cells = cells;
    options.pack.stateOfCharge = soc;
    options.seed = static_cast<std::uint64_t>(seed);
    const bool lithium = options.pack.chemistry == Chemistry::LiPo;
    Pc pc(options);
    CapacityWindow window(pc, cells, 100, 40);
    const double ohms = ResistanceOf(PresetOf(options.pack.chemistry), options.pack.capacityAmpHours) * cells;

    window.Ramp();
    QCOMPARE_LT(pc.Pack().ChargedAmpHours(), 0.01);
    const CapacityWindow::Charge first = window.RunCharge();
    QVERIFY(first.found);
    QVERIFY(first.ended);
    QCOMPARE_GT(pc.Pack().StateOfCharge(), lithium ? 0.94 : 0.97);
    QCOMPARE_LT(soc + pc.Pack().ChargedAmpHours() / 2, 1.08);
    const double hot = pc.Pack().Celsius();
    if (!lithium)
        QCOMPARE_GT(hot, 28.0);

    window.Pause();
    const double beforeDischarge = pc.Pack().DischargedAmpHours();
    const CapacityWindow::Discharge discharge = window.RunDischarge();
    const double taken = pc.Pack().DischargedAmpHours() - beforeDischarge;
    QCOMPARE_GT(taken, 2.0 * 0.94);
    QCOMPARE_LT(taken, 2.0 * 1.05);
    // The PC's reading of the discharge current is 2 % high, and a tick lasts a little longer than its two seconds.
    QCOMPARE_GT(discharge.ampHours, 2.0 * 0.93);
    QCOMPARE_LT(discharge.ampHours, 2.0 * 1.06);
    QCOMPARE_GT(discharge.resistances.size(), 100u);
    const double step = cells * PresetOf(options.pack.chemistry).highestVolts > 10.2 ? 20 : 10;
    // Warm from the charge it begins lower, and it ends higher, as the pack is empty.
    QCOMPARE_LT(std::abs(Mean(discharge.resistances) - ohms * 1000), step + 0.1 * ohms * 1000);

    window.Pause();
    const CapacityWindow::Charge second = window.RunCharge();
    QVERIFY(second.found);
    QVERIFY(second.ended);
    QCOMPARE_GT(second.ampHours, 2.0 * (lithium ? 0.88 : 0.97));
    QCOMPARE_LT(second.ampHours, 2.0 * 1.10);
    QCOMPARE_GT(second.afterSearch, 700);
    QCOMPARE_LT(second.afterSearch, 1001);
    QCOMPARE_GE(second.trims, 1);
    QCOMPARE_GT(second.lowestOffset, 10);
}

void TestBoardCapacity::ReportsLessThanWasTaken_data()
{
    QTest::addColumn<int>("setting"); // 40.8 an ampere
    QTest::addColumn<double>("share");
    QTest::newRow("0.2 C") << 16 << 0.901;
    QTest::newRow("0.5 C") << 41 << 0.953;
    QTest::newRow("1 C") << 82 << 0.969;
}

// The resistance is measured with one second of an ampere every fifteenth tick, which is not in the total; and a tick
// counts for two seconds, a little less than the current was on, of a current that is cut off at a hundredth. The guide
// has these figures, for a board whose current is calibrated: here its reading is 2 % high.
void TestBoardCapacity::ReportsLessThanWasTaken()
{
    QFETCH(int, setting);
    QFETCH(double, share);
    Board::DeviceOptions options;
    options.pack.stateOfCharge = 0.9;
    Pc pc(options);
    pc.Write(20, setting);
    CapacityWindow window(pc, 4, 100, setting);
    const CapacityWindow::Discharge discharge = window.RunDischarge();
    const double reported = discharge.ampHours / 1.02 / pc.Pack().DischargedAmpHours();
    qInfo("%.3f of what was taken", reported);
    QCOMPARE_GT(reported, share - 0.01);
    QCOMPARE_LT(reported, share + 0.01);
}

void TestBoardCapacity::FindsItsPlaceAtAnyCharge_data()
{
    QTest::addColumn<int>("chemistry");
    for (const Chemistry chemistry : {Chemistry::NiMh, Chemistry::NiCd, Chemistry::LiPo})
        QTest::addRow("%d", static_cast<int>(chemistry)) << static_cast<int>(chemistry);
}

void TestBoardCapacity::FindsItsPlaceAtAnyCharge()
{
    QFETCH(int, chemistry);
    for (int percent = 0; percent <= 100; percent += 2) {
        Board::DeviceOptions options;
        options.pack.chemistry = static_cast<Chemistry>(chemistry);
        options.pack.stateOfCharge = percent / 100.0;
        Pc pc(options);
        pc.Write({{21, 0}, {22, 255}});
        int offset = 0;
        while (pc.ReadChannel(12) <= 700) {
            offset += 10;
            QCOMPARE_LE(offset, 240);
            pc.Write(21, offset);
        }
        pc.Write(21, offset + 10);
        QCOMPARE_LT(pc.ReadChannel(12), 1000);
    }
}

void TestBoardCapacity::FindsItsPlaceInADeeplyDrainedPack()
{
    Board::DeviceOptions options;
    options.pack.stateOfCharge = 0.02;
    Pc pc(options);
    pc.Write({{16, 1}, {18, 1}});
    pc.Wait(2 * 3600);
    pc.Write(16, 0);
    // There is an end to what can be taken out, and the sink gives up before.
    QCOMPARE_GT(pc.Pack().StateOfCharge(), -0.031);
    QCOMPARE_LT(pc.Pack().StateOfCharge(), -0.02);
    QCOMPARE_LT(pc.board.Hardware().Truth().packVolts, 4 * 0.5);
    pc.Wait(600);
    CapacityWindow window(pc, 4, 100, 40);
    window.Ramp();
    const CapacityWindow::Charge run = window.RunCharge();
    QVERIFY(run.found);
    QVERIFY(run.ended);
    QCOMPARE_GT(pc.Pack().StateOfCharge(), 0.97);
}

REGISTER_TEST(TestBoardCapacity)
#include "test_board_capacity.moc"
