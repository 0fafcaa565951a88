// SPDX-License-Identifier: GPL-3.0-or-later
#include "pack_trials.h"
#include "support/suite.h"

#include <QtTest>

#include <ctime>

using Board::Battery;
using Board::Chemistry;
using trials::Cell;

namespace {

constexpr int nimh = static_cast<int>(Chemistry::NiMh);
constexpr int nicd = static_cast<int>(Chemistry::NiCd);
constexpr int lipo = static_cast<int>(Chemistry::LiPo);

/// Fails when the value has left its band, and says it for docs/virtual-board.md.
#define WITHIN(value, least, most)                                                                                     \
    do {                                                                                                               \
        const double measured = (value);                                                                               \
        qInfo("%s: %.4g (%g to %g)", QTest::currentDataTag() ? QTest::currentDataTag() : "", measured, double(least),  \
              double(most));                                                                                           \
        QCOMPARE_GE(measured, double(least));                                                                          \
        QCOMPARE_LE(measured, double(most));                                                                           \
    } while (false)

void PassSeconds(Battery &cell, int seconds, double amps)
{
    for (int i = 0; i < seconds; ++i)
        cell.Pass(1, amps);
}

/// The deepest fall below the highest voltage so far, in the first quarter of an hour of a 1 C charge.
double FalsePeak(double soc, double celsius, double days)
{
    Board::PackOptions options = Cell(Chemistry::NiMh, soc, celsius);
    options.restDays = days;
    Battery cell(options);
    double peak = 0;
    double fall = 0;
    for (int second = 0; second < 900; ++second) {
        cell.Pass(1, 2);
        peak = std::max(peak, cell.Volts(0));
        fall = std::max(fall, peak - cell.Volts(0));
    }
    return fall;
}

double AfterRest(double days, double celsius)
{
    Board::PackOptions options = Cell(Chemistry::NiMh, 1, celsius);
    options.restDays = days;
    return Battery(options).StateOfCharge();
}

} // namespace

/// The figures of the pack and the bands that they are to stay in: docs/virtual-board.md has where they are from.
class TestBoardPack : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void EndsItsCharge_data();
    void EndsItsCharge();
    void ShowsNoFallAtATenth_data();
    void ShowsNoFallAtATenth();
    void AcceptsLessFromThreeQuartersOn();
    void GetsHotWhenKeptOn();
    void VentsAndDriesWhenTooHot();
    void TheCanFollowsTheCore();
    void GivesLessTheFasterItIs_data();
    void GivesLessTheFasterItIs();
    void GivesLessInTheCold_data();
    void GivesLessInTheCold();
    void ResistsMoreWhenColdAndEmpty();
    void ChargesAtALowerVoltageWhenWarm();
    void HeatsAndCoolsByItsReaction();
    void FollowsThePublishedFit();
    void HasASmoothCurve_data();
    void HasASmoothCurve();
    void KnowsWhereItComesFrom();
    void RecoversInThreeSteps();
    void HasTheResistanceOfItsFormat();
    void LosesItsChargeAtRest();
    void ShowsAFalsePeakAfterRest();
    void GetsOld();
    void DiffersFromCellToCell();
    void IsTheSameForTheSameSeed();
    void GoesFast();
};

void TestBoardPack::EndsItsCharge_data()
{
    QTest::addColumn<int>("chemistry");
    QTest::addColumn<double>("leastFall"); // mV
    QTest::addColumn<double>("mostFall");
    QTest::newRow("NiMH") << nimh << 5.0 << 10.0;
    QTest::newRow("NiCd") << nicd << 10.0 << 20.0;
}

void TestBoardPack::EndsItsCharge()
{
    QFETCH(int, chemistry);
    QFETCH(double, leastFall);
    QFETCH(double, mostFall);
    const trials::ChargeEnd end = trials::Charge(Cell(static_cast<Chemistry>(chemistry), 0.05, 20), 1);
    QVERIFY(end.ended);
    WITHIN(end.putIn, 1.05, 1.12);
    WITHIN(end.fall * 1000, leastFall, mostFall);
    WITHIN(end.kelvinPerMinute, 0.8, 1.2);
}

void TestBoardPack::ShowsNoFallAtATenth_data()
{
    QTest::addColumn<int>("chemistry");
    QTest::newRow("NiMH") << nimh;
    QTest::newRow("NiCd") << nicd;
}

void TestBoardPack::ShowsNoFallAtATenth()
{
    QFETCH(int, chemistry);
    const trials::ChargeEnd end = trials::Charge(Cell(static_cast<Chemistry>(chemistry), 0.05, 20), 0.1);
    QVERIFY(!end.ended);
    WITHIN(end.mostFall * 1000, 0, 0.5);
}

void TestBoardPack::AcceptsLessFromThreeQuartersOn()
{
    const auto accepted = [](double from, double to) {
        Battery cell(Cell(Chemistry::NiMh, from, 20));
        while (cell.StateOfCharge() < to)
            cell.Pass(1, 2);
        return (to - from) * cell.CapacityAmpHours() / cell.ChargedAmpHours();
    };
    WITHIN(accepted(0.3, 0.7), 0.995, 1);
    WITHIN(accepted(0.75, 0.85), 0.97, 0.995);
    WITHIN(accepted(0.85, 0.95), 0.80, 0.97);
}

void TestBoardPack::GetsHotWhenKeptOn()
{
    Battery cell(Cell(Chemistry::NiMh, 0.05, 20));
    const double putIn = trials::Charge(Cell(Chemistry::NiMh, 0.05, 20), 1).putIn;
    const double start = 0.05 * cell.Preset().fullCapacity;
    while (start + cell.ChargedAmpHours() / 2 < putIn)
        cell.Pass(1, 2);
    PassSeconds(cell, 600, 2);
    WITHIN(cell.Celsius(), 50, 60);
    PassSeconds(cell, 600, 2);
    WITHIN(cell.Celsius(), 50, 60);
}

void TestBoardPack::VentsAndDriesWhenTooHot()
{
    Battery warm(Cell(Chemistry::NiMh, 1, 20));
    Battery hot(Cell(Chemistry::NiMh, 1, 40));
    const double capacity = hot.CapacityAmpHours();
    PassSeconds(warm, 3600, 2);
    QCOMPARE(warm.CapacityAmpHours(), capacity);
    PassSeconds(hot, 3600, 4);
    QCOMPARE_LT(hot.CapacityAmpHours(), 0.9 * capacity);
    hot.SetAmbient(25);
    warm.SetAmbient(25);
    PassSeconds(hot, 6 * 3600, 0);
    PassSeconds(warm, 6 * 3600, 0);
    QCOMPARE_GT(hot.ResistanceOhms(), 1.2 * warm.ResistanceOhms());
}

void TestBoardPack::TheCanFollowsTheCore()
{
    Board::Cell cell(PresetOf(Chemistry::NiMh), {.resistanceOhms = 0.025, .stateOfCharge = 1, .celsius = 20});
    int second = 0;
    while (cell.CoreCelsius() < 30)
        cell.Pass(1, 2, 20, false), ++second;
    const double core = second;
    while (cell.Celsius() < 20 + 10 * 0.88)
        cell.Pass(1, 2, 20, false), ++second;
    WITHIN(second - core, 90, 130);
}

void TestBoardPack::GivesLessTheFasterItIs_data()
{
    QTest::addColumn<double>("rate");
    QTest::addColumn<double>("least");
    QTest::addColumn<double>("most");
    QTest::newRow("0.2 C") << 0.2 << 1.01 << 1.05;
    QTest::newRow("1 C") << 1.0 << 0.98 << 1.02;
    QTest::newRow("2 C") << 2.0 << 0.94 << 0.98;
}

void TestBoardPack::GivesLessTheFasterItIs()
{
    QFETCH(double, rate);
    QFETCH(double, least);
    QFETCH(double, most);
    WITHIN(trials::Capacity(Cell(Chemistry::NiMh, 1, 20), rate, 1.0), least, most);
}

void TestBoardPack::GivesLessInTheCold_data()
{
    QTest::addColumn<int>("chemistry");
    QTest::addColumn<double>("celsius");
    QTest::addColumn<double>("limit");
    QTest::addColumn<double>("least");
    QTest::addColumn<double>("most");
    QTest::newRow("NiMH at 0 °C") << nimh << 0.0 << 1.0 << 0.82 << 0.88;
    QTest::newRow("LiPo at -5 °C") << lipo << -5.0 << 3.0 << 0.60 << 0.75;
}

void TestBoardPack::GivesLessInTheCold()
{
    QFETCH(int, chemistry);
    QFETCH(double, celsius);
    QFETCH(double, limit);
    QFETCH(double, least);
    QFETCH(double, most);
    WITHIN(trials::Capacity(Cell(static_cast<Chemistry>(chemistry), 1, celsius), 1, limit), least, most);
}

void TestBoardPack::ResistsMoreWhenColdAndEmpty()
{
    const auto ohms = [](double soc, double celsius) {
        return Battery(Cell(Chemistry::NiMh, soc, celsius)).ResistanceOhms();
    };
    const double usual = ohms(0.7, 25);
    WITHIN(ohms(0.7, 0) / usual, 2.0, 2.3);
    WITHIN(ohms(0.7, 45) / usual, 0.5, 0.65);
    WITHIN(ohms(0, 25) / usual, 1.3, 1.7);
}

void TestBoardPack::ChargesAtALowerVoltageWhenWarm()
{
    const auto volts = [](double celsius) {
        Battery cell(Cell(Chemistry::NiMh, 0.5, celsius));
        PassSeconds(cell, 600, 2);
        return cell.Volts(2);
    };
    WITHIN((volts(20) - volts(0)) / 20 * 1000, -3.5, -2.5);
}

void TestBoardPack::HeatsAndCoolsByItsReaction()
{
    // At a tenth of C the ohmic heat is next to nothing: what is left has the reaction's sign.
    const auto warmth = [](Chemistry chemistry, double amps) {
        Battery cell(Cell(chemistry, 0.5, 20));
        PassSeconds(cell, 3600, amps);
        return cell.Celsius() - 20;
    };
    QCOMPARE_GT(warmth(Chemistry::NiMh, 0.2), 0.1);
    QCOMPARE_LT(warmth(Chemistry::NiMh, -0.2), 0.0);
    QCOMPARE_LT(warmth(Chemistry::NiCd, 0.2), 0.0);
    QCOMPARE_GT(warmth(Chemistry::NiCd, -0.2), 0.05);
}

void TestBoardPack::FollowsThePublishedFit()
{
    // E0 - K Q/(Q - it) it + A exp(-B it), per unit of a capacity of 6.5 Ah.
    const Board::Curve &curve = PresetOf(Chemistry::NiMh).discharging;
    for (const double taken : {0.02, 0.1, 0.3, 0.5, 0.7, 0.9, 1.0}) {
        const double volts = 1.2844 - 0.00142 * 6.5 * taken / (1 - taken / 1.082) + 0.110 * std::exp(-15.002 * taken);
        QCOMPARE_LT(std::abs(curve.At(1 - taken / 1.045) - volts), 0.0005);
    }
}

void TestBoardPack::HasASmoothCurve_data()
{
    QTest::addColumn<int>("chemistry");
    for (const int chemistry : {nimh, nicd, lipo})
        QTest::addRow("%d", chemistry) << chemistry;
}

// No step of the slope is larger than a tenth of it, as on a staircase, and nowhere does it fall.
void TestBoardPack::HasASmoothCurve()
{
    QFETCH(int, chemistry);
    for (const Board::Curve *curve : {&PresetOf(static_cast<Chemistry>(chemistry)).charging,
                                      &PresetOf(static_cast<Chemistry>(chemistry)).discharging}) {
        constexpr double step = 0.0005;
        double before = 0;
        for (double charge = 0.06; charge < 0.995; charge += step) {
            const double slope = (curve->At(charge + step) - curve->At(charge)) / step;
            QCOMPARE_GT(slope, 0);
            if (before > 0)
                QCOMPARE_LT(std::abs(slope - before), 0.1 * before);
            before = slope;
        }
    }
}

void TestBoardPack::KnowsWhereItComesFrom()
{
    Battery charged(Cell(Chemistry::NiMh, 0.3, 25));
    Battery discharged(Cell(Chemistry::NiMh, 0.7, 25));
    while (charged.StateOfCharge() < 0.5)
        charged.Pass(1, 0.4);
    while (discharged.StateOfCharge() > 0.5)
        discharged.Pass(1, -0.4);
    PassSeconds(charged, 6 * 3600, 0);
    PassSeconds(discharged, 6 * 3600, 0);
    WITHIN((charged.Volts(0) - discharged.Volts(0)) * 1000, 40, 90);
}

void TestBoardPack::RecoversInThreeSteps()
{
    Battery cell(Cell(Chemistry::NiMh, 0.8, 25));
    PassSeconds(cell, 1800, -2);
    const double loaded = cell.Volts(0);
    PassSeconds(cell, 30, 0);
    const double soon = cell.Volts(0);
    PassSeconds(cell, 270, 0);
    const double later = cell.Volts(0);
    PassSeconds(cell, 3300, 0);
    QCOMPARE_GT(soon, loaded + 0.010);
    QCOMPARE_GT(later, soon + 0.004);
    QCOMPARE_GT(cell.Volts(0), later + 0.0003);
}

void TestBoardPack::HasTheResistanceOfItsFormat()
{
    const Board::CellPreset &preset = PresetOf(Chemistry::NiMh);
    QCOMPARE(ResistanceOf(preset, 1.5), ResistanceOf(preset, 2.5)); // an AA is an AA
    QCOMPARE_LT(ResistanceOf(preset, 4.0), ResistanceOf(preset, 2.5) / 3);
}

void TestBoardPack::LosesItsChargeAtRest()
{
    WITHIN(AfterRest(1, 25), 0.92, 0.96);
    WITHIN(AfterRest(31, 25) / AfterRest(1, 25), 0.83, 0.87);
    WITHIN(std::log(AfterRest(61, 40) / AfterRest(31, 40)) / std::log(AfterRest(61, 25) / AfterRest(31, 25)), 2.8, 3.2);
    // The same while the board is left alone for that long.
    Battery cell(Cell(Chemistry::NiMh, 1, 25));
    cell.Pass(31 * 86400.0, 0);
    QCOMPARE_LT(std::abs(cell.StateOfCharge() - AfterRest(31, 25)), 1e-9);
}

void TestBoardPack::ShowsAFalsePeakAfterRest()
{
    QCOMPARE_LT(FalsePeak(0.5, 25, 0), 0.0005);
    WITHIN(FalsePeak(0.5, 25, 30) * 1000, 3, 10);
    QCOMPARE_GT(FalsePeak(0.5, 25, 30), FalsePeak(0.5, 25, 10));
    QCOMPARE_GT(FalsePeak(0.5, 10, 30), FalsePeak(0.5, 25, 30));
}

void TestBoardPack::GetsOld()
{
    Board::PackOptions options = Cell(Chemistry::NiMh, 1, 25);
    const Battery fresh(options);
    options.cycles = 500;
    const Battery old(options);
    QCOMPARE_LT(std::abs(old.CapacityAmpHours() / fresh.CapacityAmpHours() - 0.8), 1e-9);
    QCOMPARE_LT(std::abs(old.ResistanceOhms() / fresh.ResistanceOhms() - 2), 1e-9);
}

void TestBoardPack::DiffersFromCellToCell()
{
    const auto pack = [](double spread, double soc) {
        Board::PackOptions options = Cell(Chemistry::NiMh, soc, 20);
        options.cells = 6;
        options.spread = spread;
        return Battery(options);
    };
    // How often the fall of the voltage slows down again in the knee: the weak cells go first, one by one.
    const auto steps = [&pack](double spread) {
        Battery discharged = pack(spread, 1);
        int count = 0;
        double steepest = 0;
        for (double before = discharged.Volts(-0.4); before > 6 * 0.7;) {
            for (int second = 0; second < 10; ++second)
                discharged.Pass(1, -0.4);
            const double drop = before - discharged.Volts(-0.4);
            before -= drop;
            if (before > 6 * 1.2)
                continue;
            steepest = std::max(steepest, drop);
            if (drop < 0.7 * steepest) {
                ++count;
                steepest = 0;
            }
        }
        return count;
    };
    QCOMPARE(steps(0), 0);
    QCOMPARE_GE(steps(0.03), 2);
    const auto fall = [](double spread) {
        Board::PackOptions options = Cell(Chemistry::NiMh, 0.05, 20);
        options.cells = 6;
        options.spread = spread;
        return trials::Charge(options, 1).fall;
    };
    QCOMPARE_LT(fall(0.03), 0.95 * fall(0));
}

void TestBoardPack::IsTheSameForTheSameSeed()
{
    const auto volts = [](std::uint64_t seed) {
        Board::PackOptions options = Cell(Chemistry::NiCd, 0.5, 20);
        options.cells = 8;
        options.spread = 0.03;
        options.seed = seed;
        Battery pack(options);
        PassSeconds(pack, 1000, -2);
        return pack.Volts(0);
    };
    QVERIFY(volts(4) == volts(4));
    QVERIFY(volts(4) != volts(5));
}

// 100 hours of charge and discharge; a thousand a second are wanted of a machine that has nothing else to do, and a
// fifth of that is asked for here.
void TestBoardPack::GoesFast()
{
    Battery pack(Cell(Chemistry::NiMh, 0.05, 20));
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &before);
    for (int second = 0; second < 100 * 3600; ++second)
        pack.Pass(1, second % 7200 < 3600 ? 2.0 : -1.9);
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &after);
    const double seconds =
        static_cast<double>(after.tv_sec - before.tv_sec) + static_cast<double>(after.tv_nsec - before.tv_nsec) * 1e-9;
    qInfo("%.0f hours a second", 100 / seconds);
    QCOMPARE_GT(100 / seconds, 200.0);
}

REGISTER_TEST(TestBoardPack)
#include "test_board_pack.moc"
