// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "logbook/import.h"
#include "logbook/oldlog.h"
#include "logbookbench.h"
#include "logs/ownlogs.h"
#include "runs/runnote.h"
#include "simulation/simulatedclock.h"
#include "support/suite.h"

namespace {
/// A drive with logs, in which a logbook lies.
struct Logs : OwnLogs
{
    Logs() { drive::Prepare(); }
    ~Logs() { drive::SetRoot(QString()); }
};

/// A charge's record whose delta count has come to `delta` under a peak of 710.
void Charged(RunLog &log, double second, double delta, double volts, double milliampereHours)
{
    log.Write({second, 800, 900, 10, 13.65, 2, 0, 25 + second / 100, 300, 512, delta, 1.5, volts, 710, milliampereHours,
               second / 86400});
}

QString Why(const QString &path)
{
    try {
        oldlog::Read(path);
    } catch (const FileError &error) {
        return error.Text();
    }
    return {};
}
} // namespace

/// What logs say of runs that are long over.
class TestOldLog : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ACharge_data() { BothLocales(); }
    void ACharge()
    {
        QFETCH(QLocale, locale);
        SimulatedClock clock;
        clock.SetLocalTime(QDateTime(QDate(2024, 5, 6), QTime(7, 8, 9)));
        const Logs logs;
        QLocale::setDefault(locale);
        RunLog log(RunLog::chargePrefix, RunLog::chargeHeader);
        Charged(log, 1800, 705, 8, 1000);
        Charged(log, 3600, 700, 9, 2000);
        const RunEntry run = oldlog::Read(log.Path());
        QCOMPARE(run.kind, RunNews::Kind::Charge);
        QCOMPARE(run.began, QDateTime(QDate(2024, 5, 6), QTime(7, 8))); // as its name has it
        QCOMPARE(run.ended, QDateTime(QDate(2024, 5, 6), QTime(8, 8)));
        QCOMPARE(run.end, RunEntry::End::Rule); // more than 9 below the peak
        QCOMPARE(run.log, log.Path());
        QCOMPARE(run.figures.milliampereHoursIn, 2000.0);
        QCOMPARE(run.figures.wattHoursIn, 17.0);
        QCOMPARE(run.figures.seconds, 3600.0);
        QCOMPARE(run.figures.highestTemperature, 61.0);
        QCOMPARE(run.figures.lowestVolts, 8.0);
        QCOMPARE(run.figures.highestVolts, 9.0);
    }

    void AChargeWithoutItsEnd()
    {
        const Logs logs;
        RunLog log(RunLog::chargePrefix, RunLog::chargeHeader);
        Charged(log, 1800, 705, 8, 1000);
        QCOMPARE(oldlog::Read(log.Path()).end, RunEntry::End::Unknown);
        runnote::Add(log.Path(), QStringLiteral("Arret : température 61 °C"));
        QCOMPARE(oldlog::Read(log.Path()).end, RunEntry::End::Cause);
        QCOMPARE(oldlog::Read(log.Path()).why, QStringLiteral("température 61 °C"));
        runnote::Add(log.Path(), QStringLiteral("Coupé par la surveillance de secours : le programme…"));
        QCOMPARE(oldlog::Read(log.Path()).end, RunEntry::End::Guard);
    }

    void ADischargeNeedsItsCells()
    {
        const Logs logs;
        const RunEntry run = oldlog::Read(OwnLogs::Discharge()); // ends at 5.25 V
        QCOMPARE(run.kind, RunNews::Kind::Discharge);
        QCOMPARE(run.end, RunEntry::End::Unknown);
        QCOMPARE(run.figures.milliampereHoursOut, 200.0);
        QVERIFY(!run.figures.capacity);
        QCOMPARE(oldlog::Read(run.log, 6).end, RunEntry::End::Unknown);
        QCOMPARE(oldlog::Read(run.log, 11).end, RunEntry::End::Rule); // below 0.5 V a cell
        QCOMPARE(oldlog::Read(run.log, 11).figures.capacity, 200.0);
    }

    void ACapacityMeasurement()
    {
        const Logs logs;
        const RunEntry run = oldlog::Read(OwnLogs::Capacity());
        QCOMPARE(run.kind, RunNews::Kind::Capacity);
        QCOMPARE(run.end, RunEntry::End::Rule);
        QCOMPARE(run.figures.milliampereHoursOut, 1000.0);
        QCOMPARE(run.figures.milliampereHoursIn, 500.0);
        QCOMPARE(run.figures.capacity, 1000.0);
        QByteArray bytes = BytesOf(run.log);
        bytes.truncate(bytes.lastIndexOf('='));
        WriteBytes(run.log, bytes);
        QCOMPARE(oldlog::Read(run.log).end, RunEntry::End::Unknown);
        QCOMPARE(oldlog::Read(run.log).figures.capacity, 1000.0); // its discharge had come to its end
    }

    void ABoardThatIsNotCalibratedHasNoTemperature()
    {
        const Logs logs;
        RunLog log(RunLog::dischargePrefix, RunLog::dischargeHeader);
        log.Write({1, 800, 900, 512, 13.65, 20.5, 0, 400, 600, 2.5, 5.25, 100, 0.5});
        QVERIFY(!oldlog::Read(log.Path()).figures.highestTemperature);
    }

    void WhatTellsOfNoRunIsRefused()
    {
        const Logs logs;
        QVERIFY(Why(OwnLogs::Monitor()).contains(QStringLiteral("journal du moniteur")));
        QVERIFY(Why(OwnLogs::Charge(0)).contains(QStringLiteral("aucune mesure")));
        QVERIFY(Why(QStringLiteral("nowhere")).contains(QStringLiteral("nowhere")));
    }

    void ACutRunWithoutItsLog()
    {
        const Logs logs;
        RunEntry run = SomeRun(1);
        run.log = QStringLiteral("/nowhere");
        run.figures.seconds = 60;
        oldlog::CloseCut(run);
        QCOMPARE(run.end, RunEntry::End::Cut);
        QCOMPARE(run.why, QStringLiteral("journal introuvable"));
        QCOMPARE(run.ended, run.began.addSecs(60));
    }

    void ACutRunHasWhatItsLogSays()
    {
        const Logs logs;
        Logbook book;
        RunEntry run = SomeRun(1);
        {
            Logbook dead;
            run.log = OwnLogs::Charge(100);
            dead.Enter(run);
        }
        QFile torn(run.log);
        QVERIFY(torn.open(QIODevice::Append) && torn.write(" 101 : 800 : 9") > 0);
        torn.close();
        runnote::Add(run.log, QStringLiteral("Coupé par la surveillance de secours : le programme s'est terminé"));
        QCOMPARE(book.Repair(), 1);
        const RunEntry closed = book.Runs({}).at(0);
        QCOMPARE(closed.end, RunEntry::End::Cut);
        QVERIFY(closed.why.startsWith(QStringLiteral("Coupé par la surveillance de secours")));
        QCOMPARE(closed.figures.milliampereHoursIn, 50.0);
        QCOMPARE(closed.figures.seconds, 100.0);
        QCOMPARE(closed.digest, oldlog::Digest(run.log));
    }

    // ---- --import

    void EachLogOnce()
    {
        const Logs logs;
        Logbook book;
        const QString charge = OwnLogs::Charge(), discharge = OwnLogs::Discharge();
        QVERIFY(ImportLogs(book, {charge, discharge, charge}, QStringLiteral("Vieux")));
        QCOMPARE(book.Runs({}).size(), size_t(2));
        QCOMPARE(book.Runs({}).at(0).pack, QStringLiteral("Vieux"));
        QVERIFY(ImportLogs(book, {charge}, {}));
        const QString moved = logs.folder.filePath(QStringLiteral("moved.txt"));
        QVERIFY(QFile::rename(charge, moved));
        QVERIFY(ImportLogs(book, {moved}, {})); // what it holds is known
        QCOMPARE(book.Runs({}).size(), size_t(2));
        QVERIFY(ImportLogs(book, {OwnLogs::Charge(7)}, {})); // another one in the place of the first
        QCOMPARE(book.Runs({}).size(), size_t(3));
    }

    void ALogOfARunThatIsOnIsKnown()
    {
        const Logs logs;
        Logbook program, importing;
        RunEntry run = SomeRun(1);
        run.log = OwnLogs::Charge();
        program.Enter(run);
        QVERIFY(ImportLogs(importing, {run.log}, {}));
        QCOMPARE(importing.Runs({}).size(), size_t(1));
        QCOMPARE(importing.Runs({}).at(0).end, RunEntry::End::On);
    }

    void WhatCannotBeEnteredIsSaidAndTheRestEntered()
    {
        const Logs logs;
        Logbook book;
        QVERIFY(!ImportLogs(book, {QStringLiteral("nowhere"), OwnLogs::Monitor(), OwnLogs::Charge()}, {}));
        QCOMPARE(book.Runs({}).size(), size_t(1));
    }

    void ThePacksCellsTellWhetherADischargeIsWhole()
    {
        const Logs logs;
        Logbook book;
        book.SavePack({QStringLiteral("Gros"), {}, 11, 0, {}, {}});
        QVERIFY(ImportLogs(book, {OwnLogs::Discharge()}, QStringLiteral("Gros")));
        QCOMPARE(book.History(QStringLiteral("Gros")).at(0).capacity, 200.0);
    }
};

REGISTER_TEST(TestOldLog)
#include "tst_oldlog.moc"
