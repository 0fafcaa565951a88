// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "monitor/monitorlog.h"
#include "records.h"
#include "support/suite.h"

#include <QDir>
#include <QLocale>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

using stream::Column;

namespace {
std::vector<stream::Field> Decode(const QByteArray &record)
{
    std::vector<stream::Field> fields;
    stream::RecordDecoder decoder;
    for (qsizetype i = 1; i < record.size(); ++i)
        if (const auto field = decoder.Add(static_cast<quint8>(record[i])))
            fields.push_back(*field);
    return decoder.Complete() ? fields : std::vector<stream::Field>();
}

QString LineOf(const Record &record)
{
    QString line;
    for (const stream::Field &field : Decode(record.Bytes()))
        MonitorLog::Append(line, field);
    return line;
}
} // namespace

class TestStreamRecord : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void Columns_data()
    {
        QTest::addColumn<int>("column");
        QTest::addColumn<int>("firstByte"); // counted from 1, after the line feed
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("value");
        const struct
        {
            Column column;
            int firstByte;
            std::initializer_list<int> bytes;
            int value;
        } rows[] = {
            {Column::Prompt, 1, {65}, 65},
            {Column::Prompt, 1, {10}, 10},
            {Column::Prompt, 1, {255}, 255},
            {Column::Echantillon, 2, {0, 0}, 0},
            {Column::Echantillon, 2, {1, 2}, 258},
            {Column::Echantillon, 2, {10, 27}, 2587},
            {Column::Echantillon, 2, {127, 255}, 32767},
            {Column::Temps, 4, {0, 0, 0}, 0},
            {Column::Temps, 4, {1, 1, 1}, 3661},
            {Column::Temps, 4, {10, 10, 10}, 36610},
            {Column::Temps, 4, {23, 59, 59}, 86399},
            {Column::Temps, 4, {255, 255, 255}, 933555},
            {Column::Equals, 7, {0}, 0},
            {Column::VBat, 8, {2, 10}, 522},
            {Column::Cour, 10, {10, 10}, 2570},
            {Column::Temper, 12, {0, 250}, 250},
            {Column::Vdelta, 14, {27, 3}, 6915},
            {Column::Resist, 16, {0, 27}, 27},
            {Column::Capacite, 18, {8, 0}, 2048},
            {Column::Type, 20, {2}, 2},
            {Column::Type, 20, {200}, 200},
            {Column::CDV, 21, {255}, 255},
            {Column::Valim, 22, {5, 85}, 1365},
            {Column::Vdbl, 24, {9, 0}, 2304},
            {Column::Vmoy, 26, {0, 128}, 128},
            {Column::Maxidv, 28, {127, 10}, 32522},
        };
        for (const auto &row : rows) {
            QByteArray bytes;
            for (const int byte : row.bytes)
                bytes.append(static_cast<char>(byte));
            QTest::addRow("byte %d: %s", row.firstByte, bytes.toHex(' ').constData())
                << static_cast<int>(row.column) << row.firstByte << bytes << row.value;
        }
    }
    void Columns()
    {
        QFETCH(int, column);
        QFETCH(int, firstByte);
        QFETCH(QByteArray, bytes);
        QFETCH(int, value);
        QByteArray record(30, '\0');
        record[0] = '\n';
        record.replace(firstByte, bytes.size(), bytes);
        const auto fields = Decode(record);
        QCOMPARE(fields.size(), size_t(16));
        for (const stream::Field &field : fields)
            QCOMPARE(field.value, static_cast<int>(field.column) == column ? value : 0);
    }

    void ColumnsComeInOrder()
    {
        const auto fields = Decode(Record().Bytes());
        QCOMPARE(fields.size(), size_t(16));
        for (size_t i = 0; i < fields.size(); ++i)
            QCOMPARE(static_cast<size_t>(fields[i].column), i);
    }

    void AColumnIsGivenWithItsLastByte()
    {
        stream::RecordDecoder decoder;
        QVERIFY(decoder.Add(65));
        QVERIFY(!decoder.Add(1));
        QCOMPARE(decoder.Add(2)->value, 258);
        QVERIFY(!decoder.Add(1));
        QVERIFY(!decoder.Add(1));
        QVERIFY(decoder.Add(1));
        QVERIFY(!decoder.Complete());
    }

    void WordsBeyondSignedSixteenBitsOverflow_data()
    {
        QTest::addColumn<int>("highByte");
        QTest::addColumn<QString>("name");
        const struct
        {
            int highByte;
            const char *name;
        } words[] = {{2, "Echantillon"}, {8, "VBat"},   {10, "Cour"}, {12, "Temper"}, {14, "Vdelta"}, {16, "Resist"},
                     {18, "Capacité"},   {22, "Valim"}, {24, "Vdbl"}, {26, "Vmoy"},   {28, "Maxidv"}};
        for (const auto &word : words)
            QTest::newRow(word.name) << word.highByte << QString::fromUtf8(word.name);
    }
    void WordsBeyondSignedSixteenBitsOverflow()
    {
        QFETCH(int, highByte);
        QFETCH(QString, name);
        QByteArray record(30, '\0');
        record[highByte] = char(127);
        record[highByte + 1] = char(255);
        QCOMPARE(Decode(record).size(), size_t(16));
        record[highByte] = char(128);
        record[highByte + 1] = 0;
        try {
            Decode(record);
            QFAIL("no overflow");
        } catch (const Overflow &overflow) {
            QVERIFY(overflow.Text().endsWith(name));
        }
    }

    void LineByteForByte_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::newRow("C") << QLocale::c();
        QTest::newRow("French") << QLocale(QLocale::French, QLocale::France);
    }
    void LineByteForByte()
    {
        QFETCH(QLocale, locale);
        QLocale::setDefault(locale);
        QCOMPARE(LineOf(Record()).toUtf8(),
                 QByteArray(">, 1 , 3723 ,=, 500 , 1000 , 251 , 700 , 40 , 123 , 2 , 3 , 1365 "
                            ", 2304 , 9 , 11 "));
        Record record;
        record.sample = 32767;
        record.hours = 23;
        record.minutes = 59;
        record.seconds = 59;
        record.vbat = 0;
        QCOMPARE(LineOf(record).toUtf8(), QByteArray(">, 32767 , 86399 ,=, 0 , 1000 , 251 , 700 , 40 , 123 , 2 , 3 "
                                                     ", 1365 , 2304 , 9 , 11 "));
    }

    void PromptIsTheCharacterOfItsCode_data()
    {
        QTest::addColumn<int>("code");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("letter") << int('C') << QByteArray("C");
        QTest::newRow("blank") << 32 << QByteArray(" ");
        QTest::newRow("comma") << int(',') << QByteArray(",");
        QTest::newRow("nothing") << 0 << QByteArray(1, '\0');
        QTest::newRow("line feed") << 10 << QByteArray("\n");
        QTest::newRow("e acute") << 0xe9 << QByteArray("\xc3\xa9");
        QTest::newRow("last") << 255 << QByteArray("\xc3\xbf");
    }
    void PromptIsTheCharacterOfItsCode()
    {
        QFETCH(int, code);
        QFETCH(QByteArray, text);
        Record record;
        record.prompt = code;
        QVERIFY(LineOf(record).toUtf8().startsWith(text + ", 1 , 3723 ,=,"));
    }

    void UnusedByteNeverReachesTheLog()
    {
        Record record;
        const QString line = LineOf(record);
        for (const int byte : {0, 10, 27, 255}) {
            record.unused = byte;
            QCOMPARE(LineOf(record), line);
        }
    }

    void FileHasAHeaderAndNoEmptyLine()
    {
        QTemporaryDir folder;
        MonitorLog log(folder.path());
        log.WriteLine(QStringLiteral("é"));
        static const QRegularExpression name(QStringLiteral("^MOni_CHrg_D\\d\\d_\\d\\d_\\d\\dT\\d\\d_\\d\\d\\.txt$"));
        QVERIFY(name.match(QFileInfo(log.Path()).fileName()).hasMatch());
        QFile file(log.Path());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(),
                 QByteArray("Prompt,Echantillon,Temps,=,VBat,Cour,Temper,Vdelta,Resist,Capacité,Type,CDV,"
                            "Valim,Vdbl,Vmoy,Maxidv\r\né\r\n"));
    }

    void AFileOfTheSameNameIsReplaced()
    {
        QTemporaryDir folder;
        MonitorLog(folder.path()).WriteLine(QStringLiteral("before"));
        const MonitorLog log(folder.path());
        QFile file(log.Path());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(!file.readAll().contains("before"));
    }

    void AMissingFolderIsAFileError()
    {
        QTemporaryDir folder;
        QVERIFY_EXCEPTION_THROWN(MonitorLog(folder.filePath(QStringLiteral("none"))), FileError);
    }
};

REGISTER_TEST(TestStreamRecord)
#include "tst_streamrecord.moc"
