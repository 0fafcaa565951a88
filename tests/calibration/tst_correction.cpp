// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "calibration/correction.h"
#include "support/suite.h"

#include <QtTest>

using namespace calibration;

class TestCorrection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Corrections_data()
    {
        QTest::addColumn<double>("count");
        QTest::addColumn<double>("hundredths");
        QTest::addColumn<double>("word");
        QTest::newRow("15.00 V") << 1000.0 << 1500.0 << 682.0;
        QTest::newRow("as many as counts") << 1000.0 << 1024.0 << 1000.0;
        QTest::newRow("12.00 V") << 1000.0 << 1200.0 << 853.0;
        QTest::newRow("1.50 A") << 300.0 << 150.0 << 2048.0;
        QTest::newRow("2.00 A") << 500.0 << 200.0 << 2560.0;
        QTest::newRow("towards minus infinity") << 1000.0 << -1500.0 << -683.0;
        QTest::newRow("no count") << 0.0 << 1200.0 << 0.0;
    }
    void Corrections()
    {
        QFETCH(double, count);
        QFETCH(double, hundredths);
        QTEST(Correction(count, hundredths, {}), "word");
    }

    void Scales_data()
    {
        QTest::addColumn<double>("setting");
        QTest::addColumn<double>("hundredths");
        QTest::addColumn<double>("scale");
        QTest::newRow("120 for 1.50 A") << 120.0 << 150.0 << 80.0;
        QTest::newRow("cut") << 100.0 << 150.0 << 66.0;
        QTest::newRow("no setting") << 0.0 << 150.0 << 0.0;
    }
    void Scales()
    {
        QFETCH(double, setting);
        QFETCH(double, hundredths);
        QTEST(SettingScale(setting, hundredths, {}), "scale");
    }

    void NothingMeasuredIsAnError()
    {
        QVERIFY_THROWS_EXCEPTION(DivisionByZero, Correction(1000, 0, {}));
        QVERIFY_THROWS_EXCEPTION(DivisionByZero, SettingScale(120, 0, {}));
    }

    void Splits_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<int>("high");
        QTest::addColumn<int>("low");
        QTest::newRow("0") << 0.0 << 0 << 0;
        QTest::newRow("853") << 853.0 << 3 << 85;
        QTest::newRow("1024") << 1024.0 << 4 << 0;
        QTest::newRow("3000") << 3000.0 << 11 << 184;
        QTest::newRow("65535") << 65535.0 << 255 << 255;
    }
    void Splits()
    {
        QFETCH(double, value);
        for (const HiLo word : {SplitHiLo(value, {}), SplitLowBits(value)}) {
            QTEST(int(word.ValHi), "high");
            QTEST(int(word.ValLo), "low");
        }
    }

    void WordsThatDoNotFit()
    {
        QVERIFY_THROWS_EXCEPTION(Overflow, SplitHiLo(65536, {}));
        QVERIFY_THROWS_EXCEPTION(Overflow, SplitHiLo(-1, {}));
    }

    void LowBits_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<int>("high");
        QTest::addColumn<int>("low");
        QTest::newRow("-1") << -1.0 << 255 << 255;
        QTest::newRow("-396") << -396.0 << 254 << 116;
        QTest::newRow("-2872") << -2872.0 << 244 << 200;
        QTest::newRow("65536") << 65536.0 << 0 << 0;
        QTest::newRow("453612") << 453612.0 << 235 << 236;
    }
    void LowBits()
    {
        QFETCH(double, value);
        const HiLo word = SplitLowBits(value);
        QTEST(int(word.ValHi), "high");
        QTEST(int(word.ValLo), "low");
    }
};

REGISTER_TEST(TestCorrection)
#include "tst_correction.moc"
