// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "base/number.h"
#include "support/suite.h"

#include <QLocale>
#include <QtTest>

class TestNumber : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Str_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << 0.0 << " 0";
        QTest::newRow("negative zero") << -0.0 << " 0";
        QTest::newRow("whole") << 512.0 << " 512";
        QTest::newRow("decimals") << 12.34 << " 12.34";
        QTest::newRow("below one") << 0.5 << " 0.5";
        QTest::newRow("negative") << -10.25 << "-10.25";
        QTest::newRow("hour of a day") << 3600.0 / 86400 << " 0.0416666666666667";
        QTest::newRow("second of a day") << 1.0 / 86400 << " 0.0000115740740740741";
        QTest::newRow("tiny") << -1e-5 << "-0.00001";
        QTest::newRow("tiny with digits") << 1.5e-7 << " 0.00000015";
        QTest::newRow("fifteen digits") << 123456789012345.0 << " 123456789012345";
        QTest::newRow("large") << 1e15 << " 1000000000000000";
        QTest::newRow("sum of cents") << 0.1 + 0.2 << " 0.3";
    }
    void Str()
    {
        QFETCH(double, value);
        QTEST(number::Str(value), "text");
        QCOMPARE(number::Plain(value), number::Str(value).trimmed());
    }

    void FileTextFollowsTheLocale()
    {
        QLocale::setDefault(QLocale::c());
        QCOMPARE(number::FileText(12.5), QStringLiteral(" 12.5 "));
        QCOMPARE(number::FileText(-3), QStringLiteral("-3 "));
        QLocale::setDefault(QLocale(QLocale::French, QLocale::France));
        QCOMPARE(number::FileText(12.5), QStringLiteral(" 12,5 "));
        QCOMPARE(number::FileText(12345678), QStringLiteral(" 12345678 "));
        QCOMPARE(number::Str(12.5), QStringLiteral(" 12.5"));
        QLocale::setDefault(QLocale::c());
    }

    void TheShortestFormHasAnExponent()
    {
        QLocale::setDefault(QLocale::c());
        QCOMPARE(number::ShortestFileText(1.0 / 86400), QStringLiteral(" 1.15740740740741E-05 "));
        QCOMPARE(number::ShortestFileText(-1e15), QStringLiteral("-1E+15 "));
        QLocale::setDefault(QLocale(QLocale::French, QLocale::France));
        QCOMPARE(number::ShortestFileText(1.0 / 86400), QStringLiteral(" 1,15740740740741E-05 "));
        QCOMPARE(number::FileText(1.0 / 86400), QStringLiteral(" 0,0000115740740740741 "));
        QCOMPARE(number::ShortestFileText(12.5), QStringLiteral(" 12,5 "));
        QLocale::setDefault(QLocale::c());
    }

    void Val_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("value");
        QTest::newRow("empty") << "" << 0.0;
        QTest::newRow("word") << "abc" << 0.0;
        QTest::newRow("whole") << "12" << 12.0;
        QTest::newRow("blanks") << " 1 2 " << 12.0;
        QTest::newRow("followed by a word") << "4 éléments" << 4.0;
        QTest::newRow("point") << "1.5" << 1.5;
        QTest::newRow("comma ends it") << "1,5" << 1.0;
        QTest::newRow("leading point") << ".25" << 0.25;
        QTest::newRow("trailing point") << "3." << 3.0;
        QTest::newRow("negative") << "-7" << -7.0;
        QTest::newRow("exponent") << "2E2" << 200.0;
        QTest::newRow("other exponent") << "2d2" << 200.0;
        QTest::newRow("sign alone") << "-" << 0.0;
    }
    void Val()
    {
        QFETCH(QString, text);
        QTEST(number::Val(text), "value");
    }

    void IntCutsTowardsMinusInfinity()
    {
        QCOMPARE(number::Int(1365.33), 1365.0);
        QCOMPARE(number::Int(-9.2), -10.0);
        QCOMPARE(number::Int(-10), -10.0);
    }

    void CheckedConversions()
    {
        QCOMPARE(number::ToByte(0, {}), quint8(0));
        QCOMPARE(number::ToByte(255, {}), quint8(255));
        QCOMPARE(number::ToByte(255.4, {}), quint8(255));
        QCOMPARE(number::ToByte(2.5, {}), quint8(2));
        QCOMPARE(number::ToByte(3.5, {}), quint8(4));
        QVERIFY_EXCEPTION_THROWN(number::ToByte(256, {}), Overflow);
        QVERIFY_EXCEPTION_THROWN(number::ToByte(-1, {}), Overflow);
        QVERIFY_EXCEPTION_THROWN(number::ToByte(qQNaN(), {}), Overflow);
        QCOMPARE(number::ToInt16(-32768, {}), qint16(-32768));
        QCOMPARE(number::ToInt16(32767, {}), qint16(32767));
        QVERIFY_EXCEPTION_THROWN(number::ToInt16(32768, {}), Overflow);
    }

    void DivisionNamesItsPlace()
    {
        QCOMPARE(number::Divide(3, 4, {}), 0.75);
        try {
            number::Divide(1, 0, QStringLiteral("tension"));
            QFAIL("nothing thrown");
        } catch (const DivisionByZero &error) {
            QCOMPARE(error.Text(), QStringLiteral("Division par zéro : tension"));
        }
    }
};

REGISTER_TEST(TestNumber)
#include "tst_number.moc"
