// SPDX-License-Identifier: GPL-3.0-or-later
#include "monitor/chartrules.h"
#include "records.h"
#include "support/suite.h"

#include <QStringList>
#include <QtTest>

namespace {
/// Keeps what the rules do, in order, as "rows 1" and "1.2 = 100".
class Table : public ChartTable
{
public:
    void SetRowCount(qint64 rows) override { steps.append(QStringLiteral("rows %1").arg(rows)); }
    void SetCell(qint64 row, int column, double value) override
    {
        steps.append(QStringLiteral("%1.%2 = %3").arg(row).arg(column).arg(value, 0, 'g', 12));
    }
    QStringList Take() { return std::exchange(steps, {}); }
    QStringList steps;
};

/// Feeds the first `bytes` bytes of a record.
void Feed(ChartRules &rules, Table &table, const Record &record, int bytes = 29)
{
    rules.BeginRecord();
    stream::RecordDecoder decoder;
    const QByteArray sent = record.Bytes();
    for (int i = 1; i <= bytes; ++i)
        if (const auto field = decoder.Add(static_cast<quint8>(sent[i])))
            rules.Take(*field, table);
    if (decoder.Complete())
        rules.EndRecord();
}

void Feed(ChartRules &rules, Table &table, const Record &record, const char *times)
{
    for (int i = 0; i < QByteArray(times).toInt(); ++i)
        Feed(rules, table, record);
}
} // namespace

class TestChartRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void NineRecordsAddNothing()
    {
        ChartRules rules;
        Table table;
        Feed(rules, table, Record(), "9");
        QVERIFY(table.steps.isEmpty());
        QCOMPARE(rules.RecordIndex, 9);
        QCOMPARE(rules.TenCount, 9);
        QCOMPARE(rules.VbatSum, 9 * 500);
        QCOMPARE(rules.CourSum, 9 * 1000);
        QCOMPARE(rules.ChartRow(), 0);
    }

    void TenthRecordOfType2()
    {
        ChartRules rules;
        Table table;
        Record record;
        for (int i = 1; i <= 10; ++i) {
            record.vbat = 500 + i;
            record.cour = 1000 + i;
            record.capacity = 10 * i;
            Feed(rules, table, record);
        }
        QCOMPARE(table.Take(), QStringList({QStringLiteral("rows 1"), QStringLiteral("1.1 = 505.5"),
                                            QStringLiteral("1.2 = 1005.5"), QStringLiteral("1.3 = 100")}));
        QCOMPARE(rules.TenCount, 0);
        QCOMPARE(rules.VbatSum, 0);
        QCOMPARE(rules.CourSum, 0);
    }

    void TenthRecordOfAnotherType()
    {
        ChartRules rules;
        Table table;
        Record record;
        record.type = 1;
        for (int i = 1; i <= 10; ++i) {
            record.vbat = 500 + i;
            record.temper = 200 + i;
            record.vmoy = i;
            Feed(rules, table, record);
        }
        QCOMPARE(table.Take(), QStringList({QStringLiteral("rows 1"), QStringLiteral("1.1 = 505.5"),
                                            QStringLiteral("1.2 = 210"), QStringLiteral("1.3 = 10")}));
        QCOMPARE(rules.CourSum, 10 * 1000); // cleared only when used
    }

    /// What a tenth record does, byte by byte.
    void RulesApplyWhileTheRecordComesIn_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("bytes");
        QTest::addColumn<int>("steps");
        const int charge[] = {0, 2, 0, 3, 1, 8, 1, 9, 2, 10, 2, 11, 3, 18, 3, 19, 4, 29, 4};
        const int other[] = {0, 2, 0, 3, 1, 8, 1, 9, 2, 12, 2, 13, 3, 26, 3, 27, 4, 29, 4};
        for (size_t i = 1; i < std::size(charge); i += 2) {
            QTest::addRow("type 2, %d bytes", charge[i]) << 2 << charge[i] << charge[i + 1];
            QTest::addRow("type 1, %d bytes", other[i]) << 1 << other[i] << other[i + 1];
        }
    }
    void RulesApplyWhileTheRecordComesIn()
    {
        QFETCH(int, type);
        QFETCH(int, bytes);
        QFETCH(int, steps);
        ChartRules rules;
        Table table;
        Record record;
        record.type = type;
        Feed(rules, table, record, "9");
        Feed(rules, table, record, bytes);
        QCOMPARE(table.steps.size(), steps);
    }

    void TypeChangesTo2InTheTenthRecord()
    {
        ChartRules rules;
        Table table;
        Record record;
        record.type = 1;
        Feed(rules, table, record, "9");
        record.type = 2;
        Feed(rules, table, record);
        // The columns before Type go by the former one, those after it by the new one: column 3 stays empty.
        QCOMPARE(table.Take(),
                 QStringList({QStringLiteral("rows 1"), QStringLiteral("1.1 = 500"), QStringLiteral("1.2 = 251")}));
        QCOMPARE(rules.CourSum, 10 * 1000);
        // The current of the ten records before is still in the sum when it is used next.
        Feed(rules, table, record, "10");
        QCOMPARE(table.Take(), QStringList({QStringLiteral("rows 2"), QStringLiteral("2.1 = 500"),
                                            QStringLiteral("2.2 = 2000"), QStringLiteral("2.3 = 123")}));
    }

    void TypeChangesFrom2InTheTenthRecord()
    {
        ChartRules rules;
        Table table;
        Record record;
        Feed(rules, table, record, "9");
        record.type = 0;
        Feed(rules, table, record);
        QCOMPARE(table.Take(),
                 QStringList({QStringLiteral("rows 1"), QStringLiteral("1.1 = 500"), QStringLiteral("1.2 = 1000"),
                              QStringLiteral("1.3 = 123"), QStringLiteral("1.3 = 9")}));
        QCOMPARE(rules.CourSum, 0);
    }

    void TypeChangesInMidGroup()
    {
        ChartRules rules;
        Table table;
        Record record;
        record.type = 1;
        Feed(rules, table, record, "4");
        record.type = 2;
        Feed(rules, table, record, "6");
        QCOMPARE(table.Take(), QStringList({QStringLiteral("rows 1"), QStringLiteral("1.1 = 500"),
                                            QStringLiteral("1.2 = 1000"), QStringLiteral("1.3 = 123")}));
        Feed(rules, table, record, "4");
        record.type = 1;
        Feed(rules, table, record, "6");
        QCOMPARE(table.Take(), QStringList({QStringLiteral("rows 2"), QStringLiteral("2.1 = 500"),
                                            QStringLiteral("2.2 = 251"), QStringLiteral("2.3 = 9")}));
    }

    void LabelsSwitchOnceAndForAll()
    {
        ChartRules rules;
        Table table;
        Record record;
        record.type = 1;
        Feed(rules, table, record, "12");
        QVERIFY(!rules.LabelsSwitched);
        record.type = 2;
        Feed(rules, table, record, 19);
        QVERIFY(!rules.LabelsSwitched);
        Feed(rules, table, record, 20);
        QVERIFY(rules.LabelsSwitched);
        record.type = 1;
        Feed(rules, table, record, "30");
        QVERIFY(rules.LabelsSwitched);
        rules.Restart();
        QVERIFY(rules.LabelsSwitched);
    }

    void RestartBeginsTheCountersAnew()
    {
        ChartRules rules;
        Table table;
        Feed(rules, table, Record(), "17");
        rules.Restart();
        QCOMPARE(rules.RecordIndex, 0);
        QCOMPARE(rules.TenCount, 0);
        QCOMPARE(rules.VbatSum, 0);
        QCOMPARE(rules.CourSum, 0);
        table.Take();
        Feed(rules, table, Record(), "10");
        QCOMPARE(table.steps.first(), QStringLiteral("rows 1"));
    }

    void SumsAndIndexHaveNoSixteenBitLimit()
    {
        ChartRules rules;
        Table table;
        Record record;
        record.vbat = 32767;
        record.cour = 32767;
        record.type = 1;
        rules.RecordIndex = 3000000000;
        Feed(rules, table, record, "10000");
        QCOMPARE(rules.RecordIndex, 3000010000);
        QCOMPARE(rules.CourSum, 327670000);
        QCOMPARE(table.steps.at(table.steps.size() - 3), QStringLiteral("300001000.1 = 32767"));
    }
};

REGISTER_TEST(TestChartRules)
#include "tst_chartrules.moc"
