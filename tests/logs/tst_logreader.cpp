// SPDX-License-Identifier: GPL-3.0-or-later
#include "capacity/capacityfile.h"
#include "logs/logreader.h"
#include "monitor/monitorlog.h"
#include "runs/runlog.h"
#include "support/suite.h"

#include <QtTest>

#include <ctime>

namespace {
const std::string chargeHeader = RunLog::chargeHeader.toStdString() + "\r\n\r\n";

/// A charge's record of which only the time, the current and the capacity matter.
std::string Charged(int seconds, const std::string &amperes, int milliampereHours)
{
    return " " + std::to_string(seconds) + " : 800 : 900 : 0 : 13.65 : 0 : 0 : 25 : 300 : 600 : 700 : " + amperes +
           " : 5.12 : 710 : " + std::to_string(milliampereHours) + " : 0.5 \r\n";
}

std::string Counted(int seconds, const std::string &totals)
{
    return " " + std::to_string(seconds) + " : 25 : 1.5 : 2 :" + totals + ": 7.2 : 1.2 : 700 : 40 : 0 \r\n";
}

std::string Streamed(const std::string &prompt, int seconds)
{
    return prompt + ", 1 , " + std::to_string(seconds) +
           " ,=, 500 , 1000 , 251 , 700 , 40 , 123 , 2 , 3 , 1365 , 2304 , 9 , 11 \r\n";
}

Log Read(const std::string &text)
{
    LogReader reader;
    reader.Take(text);
    return reader.Contents() ? *reader.Contents() : Log();
}

std::vector<double> Values(const Log &log, const char *column)
{
    return log.Find(QString::fromUtf8(column))->values;
}

using Numbers = std::vector<double>;
} // namespace

class TestLogReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void EitherDecimalSeparatorAndLineEnd_data()
    {
        QTest::addColumn<QByteArray>("amperes");
        QTest::addColumn<bool>("carriageReturns");
        for (const char *amperes : {"1.5", "1,5"})
            for (const bool returns : {true, false})
                QTest::addRow("%s %d", amperes, returns) << QByteArray(amperes) << returns;
    }
    void EitherDecimalSeparatorAndLineEnd()
    {
        QFETCH(QByteArray, amperes);
        QFETCH(bool, carriageReturns);
        std::string text = chargeHeader + Charged(1, amperes.toStdString(), 0) + Charged(2, "-2E-05", 0);
        if (!carriageReturns)
            std::erase(text, '\r');
        const Log log = Read(text);
        QCOMPARE(log.kind, Log::Kind::Charge);
        QCOMPARE(Values(log, "ICHRG"), (Numbers{1.5, -2e-5}));
        QCOMPARE(log.seconds, (Numbers{1, 2}));
        QCOMPARE(log.columns.size(), size_t(16));
        QCOMPARE(log.Find(QStringLiteral("ICHRG"))->label, QStringLiteral("Courant"));
        QCOMPARE(log.Find(QStringLiteral("ICHRG"))->unit, QStringLiteral("A"));
    }

    void PiecesOfAnySizeMakeTheSameLog()
    {
        const std::string text =
            chargeHeader + Charged(1, "1", 0) + "noise\n" + Charged(2, "2", 1) + Charged(3, "3", 2);
        for (size_t size = 1; size < text.size(); ++size) {
            LogReader reader;
            for (size_t at = 0; at < text.size(); at += size)
                reader.Take(std::string_view(text).substr(at, size));
            QVERIFY(reader.Contents());
            QCOMPARE(Values(*reader.Contents(), "ICHRG"), (Numbers{1, 2, 3}));
            QCOMPARE(reader.Unreadable(), size_t(1));
        }
    }

    void ATornLastLineCountsOnceItIsWhole()
    {
        const std::string text = chargeHeader + Charged(1, "1", 0) + Charged(2, "2", 1);
        LogReader reader;
        reader.Take(std::string_view(text).substr(0, text.size() - 5));
        QCOMPARE(reader.Contents()->Records(), size_t(1));
        reader.Take(std::string_view(text).substr(text.size() - 5));
        QCOMPARE(reader.Contents()->Records(), size_t(2));
        QCOMPARE(reader.Unreadable(), size_t(0));
    }

    void GarbageIsLeftOutAndCounted_data()
    {
        QTest::addColumn<QByteArray>("line");
        const QByteArray good = QByteArray::fromStdString(Charged(1, "1", 0)).trimmed();
        QTest::newRow("few fields") << good.left(20);
        QTest::newRow("many fields") << good + ": 1";
        QTest::newRow("text") << QByteArray(good).replace("700", "abc");
        QTest::newRow("two points") << QByteArray(good).replace("5.12", "5.1.2");
        QTest::newRow("empty field") << QByteArray(good).replace("700", "");
        QTest::newRow("infinite") << QByteArray(good).replace("700", "inf");
        QTest::newRow("no number") << QByteArray(good).replace("700", "nan");
        QTest::newRow("too large") << QByteArray(good).replace("700", "1e999");
        QTest::newRow("zero bytes") << QByteArray(50, '\0');
        QTest::newRow("endless") << QByteArray(100000, ':');
        QTest::newRow("blanks without end") << good + QByteArray(5000, ' ');
    }
    void GarbageIsLeftOutAndCounted()
    {
        QFETCH(QByteArray, line);
        LogReader reader;
        reader.Take(chargeHeader + Charged(1, "1", 0));
        for (const char byte : line + "\n")
            reader.Take({&byte, 1});
        reader.Take(Charged(2, "2", 0));
        QCOMPARE(reader.Unreadable(), size_t(1));
        QCOMPARE(Values(*reader.Contents(), "ICHRG"), (Numbers{1, 2}));
    }

    void ForeignFiles_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("prose") << QByteArray("Il était une fois\n");
        QTest::newRow("a header and more") << QByteArray::fromStdString(chargeHeader).trimmed() + ":MORE\r\n";
        QTest::newRow("empty first line") << QByteArray("\r\n") + QByteArray::fromStdString(chargeHeader);
        QTest::newRow("bytes without line end") << QByteArray(5000, '\x7f');
    }
    void ForeignFiles()
    {
        QFETCH(QByteArray, text);
        LogReader reader;
        reader.Take(text.toStdString());
        reader.Take(chargeHeader);
        QVERIFY(reader.Foreign());
        QVERIFY(!reader.Contents());
    }

    void AnEditorsByteOrderMarkDoesNoHarm()
    {
        QCOMPARE(Read("\xEF\xBB\xBF" + chargeHeader + Charged(1, "1", 0)).Records(), size_t(1));
    }

    void TimeAndCapacityGoOnAtMidnight()
    {
        // The board's clock falls back by a day, and the capacity by 86400 s of the current.
        const Log log = Read(chargeHeader + Charged(3599, "2", 1999) + Charged(3600 - 86400, "2", 2000 - 48000) +
                             Charged(3601 - 86400, "2", 2001 - 48000));
        QCOMPARE(log.seconds, (Numbers{3599, 3600, 3601}));
        QCOMPARE(Values(log, "CAPACITE"), (Numbers{1999, 2000, 2001}));
        QCOMPARE(Values(log, "DUREE"), (Numbers{3599, -82800, -82799}));
    }

    void TimeNeverFallsBack()
    {
        const Log log = Read(chargeHeader + Charged(500, "1", 0) + Charged(3, "1", 0) + Charged(5, "1", 0));
        QCOMPARE(log.seconds, (Numbers{500, 500, 502}));
    }

    void ACapacityMeasurementHasTwoSteps()
    {
        const std::string header = CapacityFile::header.toStdString() + "\r\n\r\n";
        const std::string stars = std::string(9, '*') + ":**:\r\n";
        const Log log = Read(header + Counted(2, " 0 : 3.6 ") + Counted(4, " 0 : 7,2 ") + stars +
                             Counted(2, " 36 : 7.2 ") + "====:===\r\n");
        QCOMPARE(log.kind, Log::Kind::Capacity);
        QCOMPARE(log.seconds, (Numbers{2, 4, 126})); // two minutes of pause between them
        QCOMPARE(log.steps, (std::vector<size_t>{0, 2}));
        QCOMPARE(log.StepOf(1), 1);
        QCOMPARE(log.StepOf(2), 2);
        QCOMPARE(Values(log, "TOTALDECHARGE"), (Numbers{1, 2, 2})); // from ampere-seconds
        QCOMPARE(Values(log, "TOTALCHARGE"), (Numbers{0, 0, 10}));
        QCOMPARE(log.Find(QStringLiteral("TOTALCHARGE"))->unit, QStringLiteral("mAh"));
    }

    void TheMonitorsPromptIsAnyCharacter_data()
    {
        QTest::addColumn<QByteArray>("prompt");
        QTest::newRow("usual") << QByteArray(">");
        QTest::newRow("separator") << QByteArray(",");
        QTest::newRow("line feed") << QByteArray("\n");
        QTest::newRow("carriage return") << QByteArray("\r");
        QTest::newRow("zero") << QByteArray(1, '\0');
        QTest::newRow("two bytes") << QByteArray("é");
    }
    void TheMonitorsPromptIsAnyCharacter()
    {
        QFETCH(QByteArray, prompt);
        LogReader reader;
        reader.Take(MonitorLog::header.toStdString() + "\r\n" + Streamed(prompt.toStdString(), 86399) +
                    Streamed(prompt.toStdString(), 0));
        const Log *log = reader.Contents();
        QVERIFY(log);
        QCOMPARE(log->kind, Log::Kind::Monitor);
        QCOMPARE(log->seconds, (Numbers{0, 1}));
        QCOMPARE(Values(*log, "Capacité"), (Numbers{123, 123}));
        QCOMPARE(Values(*log, "Maxidv"), (Numbers{11, 11}));
        QCOMPARE(reader.Unreadable(), size_t(0));
    }

    void AMillionRecordsAreReadInLessThanTwoSeconds()
    {
        constexpr size_t records = 1000000;
        const std::string record = Charged(86399, "1.53", 123456);
        std::string text = chargeHeader;
        text.reserve(text.size() + records * record.size());
        for (size_t i = 0; i < records; ++i)
            text += record;
        LogReader reader;
        const std::clock_t began = std::clock();
        for (size_t at = 0; at < text.size(); at += 1 << 20)
            reader.Take(std::string_view(text).substr(at, 1 << 20));
        const double seconds = static_cast<double>(std::clock() - began) / CLOCKS_PER_SEC; // whatever else goes on
        QCOMPARE(reader.Contents()->Records(), records);
#ifndef __SANITIZE_ADDRESS__
        QVERIFY2(seconds < 2, qPrintable(QString::number(seconds)));
#else
        Q_UNUSED(seconds) // whose checks take longer than the reading
#endif
    }
};

REGISTER_TEST(TestLogReader)
#include "tst_logreader.moc"
