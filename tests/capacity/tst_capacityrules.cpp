// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "capacity/capacityrules.h"
#include "support/suite.h"

#include <QtTest>

using namespace capacity;

class TestCapacityRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void CyclesOfAText_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("cycles");
        const struct
        {
            const char *text;
            int cycles;
        } rows[] = {{"0", 1},    {"1", 1},   {"2", 2},      {"1.9", 1},      {"abc", 1}, {"", 1},
                    {"-3", 1},   {"0.5", 1}, {"3 fois", 3}, {" 2", 2},       {"2,9", 2}, {"12.99", 12},
                    {"1e1", 10}, {"+4", 4},  {"1 0", 10},   {"99999", 99999}};
        for (const auto &row : rows)
            QTest::newRow(row.text) << QString::fromLatin1(row.text) << row.cycles;
    }
    void CyclesOfAText()
    {
        QFETCH(QString, text);
        QFETCH(int, cycles);
        QCOMPARE(Cycles(text), cycles);
    }

    void VoltsPerCell()
    {
        QCOMPARE(CellVolts(5.12, 4), 1.28);
        QCOMPARE(CellVolts(3.61, 4), 0.9);
        QCOMPARE(CellVolts(3.59, 4), 0.89);
        QCOMPARE(CellVolts(5, 3), 1.66);
        QCOMPARE(CellVolts(0, 4), 0.0);
        QCOMPARE(CellVolts(1, -3), -0.34); // towards minus infinity
        QVERIFY_EXCEPTION_THROWN(CellVolts(5, 0), DivisionByZero);
    }

    void ResistanceIsSigned16Bits()
    {
        QCOMPARE(Resistance(5.0, 5.5), 500);
        QCOMPARE(Resistance(5.5, 5.0), -500);
        QCOMPARE(Resistance(5.03, 5.12), 89); // 0.09 is a little less in binary
        QCOMPARE(Resistance(5, 5), 0);
        QCOMPARE(Resistance(0, 32.5), 32500);
        QVERIFY_EXCEPTION_THROWN(Resistance(0, 33), Overflow);
        QVERIFY_EXCEPTION_THROWN(Resistance(33, 0), Overflow);
    }

    void MilliampereHoursOfAmpereSeconds()
    {
        QCOMPARE(MilliampereHours(3600), 1000.0);
        QCOMPARE(MilliampereHours(3), 0.0);
        QCOMPARE(MilliampereHours(3.6), 1.0);
        QCOMPARE(MilliampereHours(-1), -1.0);
    }

    void CountdownCountsTheSecondsLeft()
    {
        QCOMPARE(Countdown(0), QStringLiteral(" 120Pause ... "));
        QCOMPARE(Countdown(20), QStringLiteral(" 100Pause ... "));
        QCOMPARE(Countdown(119), QStringLiteral(" 1Pause ... "));
    }

    void Durations()
    {
        QCOMPARE(DurationText(0), QStringLiteral("Durée de la phase : 0:00:00"));
        QCOMPARE(DurationText(3 * 3600 + 5 * 60 + 9), QStringLiteral("Durée de la phase : 3:05:09"));
        QCOMPARE(DurationText(16 * 3600), QStringLiteral("Durée de la phase : 16:00:00"));
        QCOMPARE(longPhaseSeconds, 57600);
    }

    void OffsetLosesASixteenth()
    {
        QCOMPARE(LoweredOffset(0), 0);
        QCOMPARE(LoweredOffset(1), 0);
        QCOMPARE(LoweredOffset(10), 9);
        QCOMPARE(LoweredOffset(16), 15);
        QCOMPARE(LoweredOffset(100), 93);
        QCOMPARE(LoweredOffset(240), 225);
    }

    void ChargeEndsSixCountsBelowThePeak()
    {
        DeltaFall delta;
        QVERIFY(!delta.Add(0));
        QVERIFY(!delta.Add(800));
        QVERIFY(!delta.Add(820));
        QVERIFY(!delta.Add(815));
        QVERIFY(delta.Add(814));
    }

    void ChargeGoesOnAfterTheAmplifierWasMoved()
    {
        DeltaFall delta;
        QVERIFY(!delta.Add(1000));
        delta.Restart();
        QVERIFY(!delta.Add(10));
        QVERIFY(!delta.Add(930));
        QVERIFY(delta.Add(924));
    }

    void TemperatureLimits()
    {
        QVERIFY(!FanNeeded(50));
        QVERIFY(FanNeeded(51));
        QVERIFY(!FanNoLongerNeeded(45));
        QVERIFY(FanNoLongerNeeded(44));
        QVERIFY(!Overheated(90));
        QVERIFY(Overheated(91));
        QVERIFY(!CooledDown(86));
        QVERIFY(CooledDown(85));
    }
};

REGISTER_TEST(TestCapacityRules)
#include "tst_capacityrules.moc"
