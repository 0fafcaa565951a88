// SPDX-License-Identifier: GPL-3.0-or-later
#include "device.h"
#include "pack_trials.h"
#include "support/suite.h"

#include <QtTest>

#include <cmath>

using Board::Battery;
using Board::Chemistry;

namespace {

Battery Cell(Chemistry chemistry, double soc)
{
    return Battery({.chemistry = chemistry, .cells = 1, .stateOfCharge = soc});
}

void PassSeconds(Battery &battery, int seconds, double amps)
{
    for (int i = 0; i < seconds; ++i)
        battery.Pass(1, amps);
}

} // namespace

/// The pack by itself.
class TestBoardBattery : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void FallsAfterFull_data();
    void FallsAfterFull();
    void RisesUntilFull_data();
    void RisesUntilFull();
    void GivesItsCapacity_data();
    void GivesItsCapacity();
    void ShowsItsResistance_data();
    void ShowsItsResistance();
    void RefusesChargeWhenFull();
    void WarmsWhenOvercharged();
    void CoolsFasterWithTheFan();
    void DoesNotCareHowTimeIsCut();
    void ScalesWithTheCells();
    void RecoversAfterADischarge();
};

void TestBoardBattery::FallsAfterFull_data()
{
    QTest::addColumn<int>("chemistry");
    QTest::addColumn<double>("least");
    QTest::addColumn<double>("most");
    QTest::newRow("NiMH") << static_cast<int>(Chemistry::NiMh) << 0.005 << 0.010;
    QTest::newRow("NiCd") << static_cast<int>(Chemistry::NiCd) << 0.010 << 0.020;
}

void TestBoardBattery::FallsAfterFull()
{
    QFETCH(int, chemistry);
    QFETCH(double, least);
    QFETCH(double, most);
    const trials::ChargeEnd end = trials::Charge(trials::Cell(static_cast<Chemistry>(chemistry), 0.05, 20), 1);
    QVERIFY(end.ended);
    QCOMPARE_GE(end.fall, least);
    QCOMPARE_LE(end.fall, most);
}

void TestBoardBattery::RisesUntilFull_data()
{
    QTest::addColumn<int>("chemistry");
    QTest::newRow("NiMH") << static_cast<int>(Chemistry::NiMh);
    QTest::newRow("NiCd") << static_cast<int>(Chemistry::NiCd);
    QTest::newRow("LiPo") << static_cast<int>(Chemistry::LiPo);
}

void TestBoardBattery::RisesUntilFull()
{
    QFETCH(int, chemistry);
    Battery cell = Cell(static_cast<Chemistry>(chemistry), 0.05);
    PassSeconds(cell, 240, 2);
    double before = cell.Volts(0);
    while (cell.StateOfCharge() < 0.95) { // a little before the peak
        PassSeconds(cell, 20, 2);
        QCOMPARE_GT(cell.Volts(0), before);
        before = cell.Volts(0);
    }
}

void TestBoardBattery::GivesItsCapacity_data()
{
    QTest::addColumn<int>("chemistry");
    QTest::addColumn<double>("amps");
    QTest::addColumn<double>("limit");
    for (const double amps : {0.4, 1.0, 2.0}) {
        QTest::addRow("NiMH at %.1f A", amps) << static_cast<int>(Chemistry::NiMh) << amps << 0.9;
        QTest::addRow("NiCd at %.1f A", amps) << static_cast<int>(Chemistry::NiCd) << amps << 0.9;
        QTest::addRow("LiPo at %.1f A", amps) << static_cast<int>(Chemistry::LiPo) << amps << 3.0;
    }
}

void TestBoardBattery::GivesItsCapacity()
{
    QFETCH(int, chemistry);
    QFETCH(double, amps);
    QFETCH(double, limit);
    Battery cell = Cell(static_cast<Chemistry>(chemistry), 1.0);
    while (cell.Volts(0) > limit)
        cell.Pass(1, -amps);
    QCOMPARE_GT(cell.DischargedAmpHours(), 2 * 0.95);
    QCOMPARE_LT(cell.DischargedAmpHours(), 2 * 1.06);
}

void TestBoardBattery::ShowsItsResistance_data()
{
    QTest::addColumn<double>("wanted"); // ohm, 0: the preset's
    QTest::addColumn<double>("expected");
    QTest::newRow("preset") << 0.0 << 0.100;
    QTest::newRow("chosen") << 0.240 << 0.240;
}

void TestBoardBattery::ShowsItsResistance()
{
    QFETCH(double, wanted);
    QFETCH(double, expected);
    Battery pack({.chemistry = Chemistry::NiMh, .cells = 4, .stateOfCharge = 0.5, .packResistanceOhms = wanted});
    PassSeconds(pack, 60, -1);
    // A little warmer and emptier by now.
    QCOMPARE_LT(std::abs(pack.ResistanceOhms() / expected - 1), 0.005);
    QCOMPARE_LT(std::abs((pack.Volts(0) - pack.Volts(-1)) - pack.ResistanceOhms()), 1e-9);
}

void TestBoardBattery::RefusesChargeWhenFull()
{
    Battery cell = Cell(Chemistry::NiMh, 0.5);
    PassSeconds(cell, 360, 2);
    QCOMPARE_LT(std::abs(cell.StateOfCharge() - (0.5 + 0.1 / cell.Preset().fullCapacity)), 1e-3);
    PassSeconds(cell, 3 * 3600, 2);
    QCOMPARE_LE(cell.StateOfCharge(), 1.0);
    QCOMPARE_GT(cell.StateOfCharge(), 0.97); // hot as it is it takes no more
}

void TestBoardBattery::WarmsWhenOvercharged()
{
    Battery cell = Cell(Chemistry::NiMh, 0.05);
    while (cell.StateOfCharge() < 0.9)
        cell.Pass(1, 2);
    const double beforeFull = cell.Celsius();
    QCOMPARE_GT(beforeFull, 25.5);
    QCOMPARE_LT(beforeFull, 40.0);
    PassSeconds(cell, 720, 2);
    QCOMPARE_GT(cell.Celsius(), beforeFull + 15);
    PassSeconds(cell, 6 * 3600, 2);
    QCOMPARE_LT(cell.Celsius(), 130.0);
    const double hot = cell.Celsius();
    PassSeconds(cell, 600, 0);
    QCOMPARE_LT(cell.Celsius(), hot - 10);
    PassSeconds(cell, 6 * 3600, 0);
    QCOMPARE_LT(std::abs(cell.Celsius() - 25), 0.2);
}

void TestBoardBattery::CoolsFasterWithTheFan()
{
    Battery still = Cell(Chemistry::NiMh, 1.0);
    PassSeconds(still, 900, 2);
    Battery blown = still;
    blown.SetFan(true);
    PassSeconds(still, 300, 0);
    PassSeconds(blown, 300, 0);
    QCOMPARE_LT(blown.Celsius(), still.Celsius() - 5);
}

void TestBoardBattery::DoesNotCareHowTimeIsCut()
{
    Battery coarse = Cell(Chemistry::NiMh, 0.9);
    Battery fine = Cell(Chemistry::NiMh, 0.9);
    PassSeconds(coarse, 600, 2);
    for (int i = 0; i < 60000; ++i)
        fine.Pass(0.01, 2);
    QCOMPARE_LT(std::abs(coarse.Volts(0) - fine.Volts(0)), 0.0002);
    QCOMPARE_LT(std::abs(coarse.Celsius() - fine.Celsius()), 0.1);
}

void TestBoardBattery::ScalesWithTheCells()
{
    Battery one = Cell(Chemistry::NiCd, 0.4);
    Battery eight({.chemistry = Chemistry::NiCd, .cells = 8, .stateOfCharge = 0.4});
    PassSeconds(one, 100, 2);
    PassSeconds(eight, 100, 2);
    QCOMPARE_LT(std::abs(one.Volts(2) * 8 - eight.Volts(2)), 1e-9);
}

void TestBoardBattery::RecoversAfterADischarge()
{
    Battery cell = Cell(Chemistry::NiMh, 0.8);
    PassSeconds(cell, 1800, -1);
    const double tired = cell.Volts(0);
    PassSeconds(cell, 1200, 0);
    QCOMPARE_GT(cell.Volts(0), tired + 0.01);
}

REGISTER_TEST(TestBoardBattery)
#include "test_board_battery.moc"
