// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "memory/profile.h"
#include "support/suite.h"

#include <QtTest>

class TestProfile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void FieldsOfAText()
    {
        const profile::Fields fields = profile::Fields::Of("016208111222013059345");
        QCOMPARE(fields.flags, QByteArray("016"));
        QCOMPARE(fields.type, QByteArray("2"));
        QCOMPARE(fields.cells, QByteArray("08"));
        QCOMPARE(fields.charge, QByteArray("111"));
        QCOMPARE(fields.discharge, QByteArray("222"));
        QCOMPARE(fields.hours, QByteArray("01"));
        QCOMPARE(fields.minutes, QByteArray("30"));
        QCOMPARE(fields.cycles, QByteArray("59"));
        QCOMPARE(fields.volts, QByteArray("345"));
    }

    void TextsOfFields_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("shown");
        const QByteArray empty(21, '0');
        QTest::newRow("whole") << QByteArray("254199987654321059123") << QByteArray("254199987654321059123");
        QTest::newRow("empty") << QByteArray() << empty;
        QTest::newRow("missing") << QByteArray("0") << empty;
        QTest::newRow("fresh") << QByteArray(24, '0') << empty;
        QTest::newRow("short") << QByteArray("0082") << QByteArray("008200000000000000000");
        QTest::newRow("blanks") << QByteArray("  8 0 4") << QByteArray("008000400000000000000");
        QTest::newRow("no digits") << QByteArray("\xFF\0-+,A.e\r\n\x1A", 11) << empty;
        QTest::newRow("too long") << QByteArray(30, '7') << QByteArray(21, '7');
    }
    void TextsOfFields()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, shown);
        QCOMPARE(profile::Fields::Of(text).Text(), shown);
    }

    void OptionsInTheFlags()
    {
        QCOMPARE(std::vector(profile::optionBits.begin(), profile::optionBits.end()),
                 (std::vector{2, 4, 8, 16, 32, 64}));
    }

    void Blocks_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("block");
        // Flags, type, cells, two currents; the ones of the hours, the tens of the minutes, the ones of the cycles;
        // volts.
        QTest::newRow("every field") << QByteArray("065206123456987654321") << QByteArray("A206123456874321");
        QTest::newRow("fresh") << QByteArray(24, '0') << QByteArray(1, '\0') + QByteArray(15, '0');
        QTest::newRow("empty") << QByteArray() << QByteArray(1, '\0') + QByteArray(15, '0');
        QTest::newRow("missing") << QByteArray("0") << QByteArray(1, '\0') + QByteArray(15, '0');
        QTest::newRow("blank") << QByteArray(" ") << QByteArray(1, '\0') + QByteArray(15, '0');
        QTest::newRow("blanks") << QByteArray(" 65 1 2") << QByteArray("A010200000000000");
        QTest::newRow("flags 255") << QByteArray("255000000000000000000") << '\xFF' + QByteArray(15, '0');
        QTest::newRow("flags 27") << QByteArray("027000000000000000000") << '\x1B' + QByteArray(15, '0');
        QTest::newRow("currents 999") << QByteArray("000000999999000000000") << QByteArray(1, '\0') + "000999999000000";
        QTest::newRow("75 minutes") << QByteArray("000000000000007500000") << QByteArray(1, '\0') + "000000000070000";
        QTest::newRow("99 minutes") << QByteArray("000000000000019900000") << QByteArray(1, '\0') + "000000000190000";
        QTest::newRow("volts 999") << QByteArray("000000000000000000999") << QByteArray(1, '\0') + "000000000000999";
        QTest::newRow("99 cells") << QByteArray("000999000000000000000") << QByteArray(1, '\0') + "999000000000000";
    }
    void Blocks()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, block);
        QCOMPARE(profile::ParameterBlock(text, QStringLiteral("profil 1")), block);
    }

    void FlagsThatDoNotFitAByte_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("256") << QByteArray("256000000000000000000");
        QTest::newRow("999") << QByteArray("999000000000000000000");
        QTest::newRow("nothing else") << QByteArray("300");
    }
    void FlagsThatDoNotFitAByte()
    {
        QFETCH(QByteArray, text);
        try {
            profile::ParameterBlock(text, QStringLiteral("profil 7"));
            QFAIL("no overflow");
        } catch (const Overflow &error) {
            QVERIFY2(error.Text().contains(QStringLiteral("profil 7")), qPrintable(error.Text()));
        }
    }

    void OnlyDigitsAreWritten_data()
    {
        QTest::addColumn<int>("place");
        for (int place = 0; place < 21; ++place)
            QTest::addRow("%d", place) << place;
    }
    void OnlyDigitsAreWritten()
    {
        QFETCH(int, place);
        for (const char foreign : {'x', '-', '/', ':', '\0', '\xFF'}) {
            QByteArray text(21, '0');
            text[place] = foreign;
            QVERIFY_EXCEPTION_THROWN(profile::ParameterBlock(text, QStringLiteral("profil 1")), TypeMismatch);
        }
    }

    void BlocksThatAreRead_data()
    {
        QTest::addColumn<QByteArray>("block");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("every field") << QByteArray("A206123456874321") << QByteArray("065206123456087004321");
        QTest::newRow("zeros") << QByteArray(16, '\0') << QByteArray(21, '0');
        QTest::newRow("erased") << QByteArray(16, '\xFF') << "255" + QByteArray(18, '0');
        QTest::newRow("digits") << QByteArray(16, '9') << QByteArray("057999999999099009999");
        QTest::newRow("escape") << '\x1B' + QByteArray(15, '0') << QByteArray("027000000000000000000");
        QTest::newRow("blanks") << QByteArray("\0  8  4 12 3 9  ", 16) << QByteArray("000008004012003000009");
        QTest::newRow("begun with digits")
            << QByteArray("\00011x12x1xxxxx1.5", 16) << QByteArray("000101012001000000001");
    }
    void BlocksThatAreRead()
    {
        QFETCH(QByteArray, block);
        QFETCH(QByteArray, text);
        QCOMPARE(block.size(), 16);
        QCOMPARE(profile::ParameterText(block), text);
    }

    void WhatIsWrittenIsRead()
    {
        for (int flags = 0; flags < 256; ++flags)
            for (const QByteArray &rest : {QByteArray("206123456080004321"), QByteArray("999999999099009999")}) {
                const QByteArray text = QByteArray::number(flags).rightJustified(3, '0') + rest;
                const QByteArray written = profile::ParameterBlock(text, QString());
                QByteArray kept =
                    text; // the tens of the hours, the ones of the minutes and the tens of the cycles are not
                kept[12] = kept[15] = kept[16] = '0';
                QCOMPARE(profile::ParameterText(written), kept);
                QCOMPARE(profile::ParameterBlock(kept, QString()), written);
            }
    }

    void Names()
    {
        QCOMPARE(profile::Padded("abc"), QByteArray("abc             "));
        QCOMPARE(profile::Padded(""), QByteArray(16, ' '));
        QCOMPARE(profile::Padded("0123456789ABCDEF"), QByteArray("0123456789ABCDEF"));
        QCOMPARE(profile::Padded("0123456789ABCDEFG"), QByteArray("0123456789ABCDEF"));
    }
};

REGISTER_TEST(TestProfile)
#include "tst_profile.moc"
