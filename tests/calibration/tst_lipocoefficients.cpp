// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "calibration/lipocoefficients.h"
#include "support/suite.h"

#include <QtTest>

using namespace lipo;

Q_DECLARE_METATYPE(QList<int>)

namespace {
Table PointsOf(int cells, const QList<int> &counts)
{
    Table points{};
    const auto volts = References(cells);
    for (size_t i = 0; i < points.size(); ++i) {
        points[i].volts = volts[i];
        points[i].count = counts[qsizetype(i)];
    }
    return points;
}
} // namespace

class TestLipoCoefficients : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ReferencesAndCaptions_data()
    {
        QTest::addColumn<int>("cells");
        QTest::addColumn<QList<double>>("volts");
        QTest::addColumn<QStringList>("captions");
        const auto row = [](int cells, const QList<double> &volts, const char *captions) {
            QTest::addRow("%d", cells) << cells << volts << QString::fromLatin1(captions).split(u'/');
        };
        row(1, {4.4, 4.2, 4.1, 3.0, 2.7}, "4,4 V/4,2 V/4,1 V/3,0 V/2,7 V");
        row(2, {8.8, 8.4, 8.2, 6.0, 5.4}, "8,8 V/8,4 V/8,2 V/6,0 V/5,4 V");
        row(3, {13.2, 12.6, 12.3, 9.0, 8.1}, "13,2 V/12,6 V/12,2 V/9,0 V/8,1 V"); // 12,2 though it is 12.3
        row(4, {17.6, 16.8, 16.4, 12.0, 10.8}, "17,6 V/16,8 V/16,4 V/12,0 V/10,8 V");
    }
    void ReferencesAndCaptions()
    {
        QFETCH(int, cells);
        QFETCH(QList<double>, volts);
        QFETCH(QStringList, captions);
        const auto references = References(cells);
        const auto texts = Captions(cells);
        for (size_t i = 0; i < references.size(); ++i) {
            QVERIFY(qAbs(references[i] - volts[qsizetype(i)]) < 1e-9);
            QCOMPARE(texts[i], captions[qsizetype(i)]);
        }
    }

    void Coefficients_data()
    {
        QTest::addColumn<int>("cells");
        QTest::addColumn<QList<int>>("counts");
        QTest::addColumn<QList<double>>("gains");
        QTest::addColumn<QList<double>>("offsets");
        QTest::addColumn<double>("gain");
        QTest::addColumn<double>("offset");
        // 0.2 V / 116 counts = 1724.1 µV, and so on; 4.4 V - 990 × 1.724 mV = 2693.2 mV
        QTest::newRow("a straight line") << 1 << QList<int>{990, 874, 816, 178, 4}
                                         << QList<double>{1724, 1724, 1724, 1724, 1724}
                                         << QList<double>{2693, 2693, 2693, 2693} << 1724.0 << 2693.0;
        QTest::newRow("a negative offset")
            << 1 << QList<int>{3000, 2880, 2810, 2150, 1960} << QList<double>{1666, 1428, 1666, 1578, 1634}
            << QList<double>{-382, -391, -380, -428} << 1594.0 << -396.0;
        QTest::newRow("a negative gain") << 1 << QList<int>{100, 250, 400, 550, 690}
                                         << QList<double>{-1334, -667, -7334, -2143, -2882}
                                         << QList<double>{4687, 4918, 5248, 4579} << -2872.0 << 4858.0;
        QTest::newRow("four cells, a large gain")
            << 4 << QList<int>{40, 37, 34, 31, 18} << QList<double>{266666, 133333, 1466666, 92307, 309090}
            << QList<double>{-545, 16, 977, -2062} << 453612.0 << -404.0;
    }
    void Coefficients()
    {
        QFETCH(int, cells);
        QFETCH(QList<int>, counts);
        QFETCH(QList<double>, gains);
        QFETCH(QList<double>, offsets);
        Table points = PointsOf(cells, counts);
        const auto coefficients = Compute(points);
        for (size_t i = 0; i < points.size(); ++i)
            QCOMPARE(points[i].gain, gains[qsizetype(i)]);
        for (size_t i = 0; i < 4; ++i)
            QCOMPARE(points[i].offset, offsets[qsizetype(i)]);
        QTEST(coefficients.gain, "gain");
        QTEST(coefficients.offset, "offset");
    }

    void TheLowestPointCountsForTheGainOnly()
    {
        Table points = PointsOf(1, {990, 874, 816, 178, 4});
        Table lower = PointsOf(1, {990, 874, 816, 178, 3});
        lower[4].volts = 2.6; // steeper at the end
        const auto with = Compute(points);
        const auto changed = Compute(lower);
        QVERIFY(changed.gain > with.gain);
        QCOMPARE(lower[4].offset, 0.0);
    }

    void EqualCountsAreAnError_data()
    {
        QTest::addColumn<QList<int>>("counts");
        QTest::newRow("first two") << QList<int>{990, 990, 816, 178, 4};
        QTest::newRow("in the middle") << QList<int>{990, 874, 874, 178, 4};
        QTest::newRow("last two") << QList<int>{990, 874, 816, 4, 4};
        QTest::newRow("both ends") << QList<int>{990, 874, 816, 178, 990};
    }
    void EqualCountsAreAnError()
    {
        QFETCH(QList<int>, counts);
        Table points = PointsOf(1, counts);
        QVERIFY_THROWS_EXCEPTION(DivisionByZero, (void)Compute(points));
    }

    void WhatFits_data()
    {
        QTest::addColumn<double>("gain");
        QTest::addColumn<double>("offset");
        QTest::addColumn<bool>("fit");
        QTest::newRow("both") << 1724.0 << 2693.0 << true;
        QTest::newRow("edges") << 0.0 << 65535.0 << true;
        QTest::newRow("negative offset") << 1594.0 << -1.0 << false;
        QTest::newRow("negative gain") << -1.0 << 0.0 << false;
        QTest::newRow("large gain") << 65536.0 << 0.0 << false;
    }
    void WhatFits()
    {
        QFETCH(double, gain);
        QFETCH(double, offset);
        QTEST(FitTwoBytes({gain, offset}), "fit");
    }
};

REGISTER_TEST(TestLipoCoefficients)
#include "tst_lipocoefficients.moc"
