// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "runs/runlog.h"
#include "simulation/simulatedclock.h"
#include "support/suite.h"

#include <QFile>
#include <QLocale>
#include <QTemporaryDir>
#include <QtTest>

class TestRunLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        folder_ = std::make_unique<QTemporaryDir>();
        QDir::setCurrent(folder_->path());
        QLocale::setDefault(QLocale::c());
    }
    void cleanup()
    {
        QDir::setCurrent(QStringLiteral("/"));
        QLocale::setDefault(QLocale::c());
    }

    void NameFromDateAndTime()
    {
        QCOMPARE(RunLog::Name(RunLog::chargePrefix, QDateTime(QDate(2026, 11, 15), QTime(9, 7, 45))),
                 QStringLiteral("St_CH_D11_15_26T09_07.txt"));
        QCOMPARE(RunLog::Name(RunLog::dischargePrefix, QDateTime(QDate(2007, 1, 2), QTime(23, 59, 59))),
                 QStringLiteral("S_DCH_D01_02_07T23_59.txt"));
        QLocale::setDefault(QLocale(QLocale::Arabic, QLocale::Egypt)); // no regional setting matters
        QCOMPARE(RunLog::Name(RunLog::chargePrefix, QDateTime(QDate(2000, 12, 31), QTime(0, 0))),
                 QStringLiteral("St_CH_D12_31_00T00_00.txt"));
    }

    void LiesInTheCurrentFolder()
    {
        const RunLog log(RunLog::chargePrefix, RunLog::chargeHeader);
        const QString name = RunLog::Name(RunLog::chargePrefix, Clock::Current().LocalTime());
        QCOMPARE(QDir(folder_->path()).entryList(QDir::Files), QStringList(name));
        QCOMPARE(log.Path(), folder_->filePath(name));
    }

    void ChargeLogByteForByte_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QByteArray>("record");
        QTest::newRow("point") << QLocale::c()
                               << QByteArray(
                                      " 3600 : 800 : 900 : 10 : 13.65 : 2 : 0 :-4 : 300 : 512 : 700 : 1.5 : 5.12 "
                                      ": 710 : 1500 : 0.0416666666666667 \r\n");
        QTest::newRow("comma") << QLocale(QLocale::French, QLocale::France)
                               << QByteArray(
                                      " 3600 : 800 : 900 : 10 : 13,65 : 2 : 0 :-4 : 300 : 512 : 700 : 1,5 : 5,12 "
                                      ": 710 : 1500 : 0,0416666666666667 \r\n");
    }
    void ChargeLogByteForByte()
    {
        QFETCH(QLocale, locale);
        QFETCH(QByteArray, record);
        QLocale::setDefault(locale);
        RunLog log(RunLog::chargePrefix, RunLog::chargeHeader);
        log.Write({3600, 800, 900, 10, 13.65, 2, 0, -4, 300, 512, 700, 1.5, 5.12, 710, 1500, 3600.0 / 86400});
        // on disk although the log is still open
        QCOMPARE(
            Content(log),
            QByteArray("DUREE:VALIMCAD:VDBLCAD:DVaverage:VALIM:DVFLAG:CDVDT:TEMPER:ICHRGCAD:VBATCAD:VDELTACAD:ICHRG:"
                       "VBAT:VDELTA:CAPACITE:TEMPS\r\n\r\n") +
                record);
    }

    void DischargeLogByteForByte()
    {
        RunLog log(RunLog::dischargePrefix, RunLog::dischargeHeader);
        log.Write({0, 1, 2, 3, 4, 5, 6, 7, 8, 9.99, 10, 11, 0});
        log.Write({1, 1, 2, 3, 4, 5, 6, 7, 8, 9.99, 10, 11, 1.0 / 86400});
        QCOMPARE(Content(log),
                 QByteArray("DUREE:VALIMCAD:VDBLCAD:TEMPCAD:VALIM:VDBL:TEMPER:IDCHRGCAD:VDELTACAD:ICHRG:VBAT:"
                            "CAPACITE:TEMPS\r\n\r\n"
                            " 0 : 1 : 2 : 3 : 4 : 5 : 6 : 7 : 8 : 9.99 : 10 : 11 : 0 \r\n"
                            " 1 : 1 : 2 : 3 : 4 : 5 : 6 : 7 : 8 : 9.99 : 10 : 11 : 0.0000115740740740741 \r\n"));
    }

    void ASecondLogOfTheSameNameReplacesTheFirst()
    {
        const RunLog first(RunLog::chargePrefix, QStringLiteral("one"));
        const RunLog second(RunLog::chargePrefix, QStringLiteral("two"));
        QCOMPARE(first.Path(), second.Path());
        QFile file(second.Path());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("two\r\n\r\n"));
    }

    void AFolderThatCannotBeWrittenIsAFileError()
    {
        QDir().mkdir(RunLog::Name(RunLog::chargePrefix, Clock::Current().LocalTime()));
        QVERIFY_EXCEPTION_THROWN(RunLog(RunLog::chargePrefix, RunLog::chargeHeader), FileError);
    }

    void AFullDiskIsAFileError()
    {
        QFile::link(QStringLiteral("/dev/full"), RunLog::Name(RunLog::chargePrefix, Clock::Current().LocalTime()));
        QVERIFY_EXCEPTION_THROWN(RunLog(RunLog::chargePrefix, RunLog::chargeHeader), FileError);
    }

private:
    static QByteArray Content(const RunLog &log)
    {
        QFile file(log.Path());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be read");
    }
    SimulatedClock clock_; // stands still: logs of one test have one name
    std::unique_ptr<QTemporaryDir> folder_;
};

REGISTER_TEST(TestRunLog)
#include "tst_runlog.moc"
