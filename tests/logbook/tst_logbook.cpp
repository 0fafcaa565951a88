// SPDX-License-Identifier: GPL-3.0-or-later
#include "logbookbench.h"
#include "simulation/simulatedclock.h"
#include "support/suite.h"

#include <algorithm>

namespace {
QStringList IdsOf(const std::vector<RunEntry> &runs)
{
    QStringList ids;
    for (const RunEntry &run : runs)
        ids.append(run.id);
    return ids;
}

/// Which runs there are and what has become of them.
QString StateOf(Logbook &book)
{
    QString state;
    for (const RunEntry &run : book.Runs({}))
        state += run.id + u':' + QString::number(static_cast<int>(run.end)) + u' ';
    return state;
}

RunEntry Ended(RunEntry run, RunEntry::End end)
{
    run.end = end;
    run.ended = run.began.addSecs(60);
    return run;
}

QString SetAside()
{
    const QStringList found =
        QDir(drive::Root()).entryList({QStringLiteral("voltaire.db.abime-*")}, QDir::Files, QDir::Name);
    return found.isEmpty() ? QString() : QDir(drive::Root()).filePath(found[0]);
}
} // namespace

/// The logbook's file, and what becomes of it.
class TestLogbook : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ARunIsKeptAsItWas()
    {
        const Drive drive;
        RunEntry run = SomeRun(5, RunEntry::End::Cause, RunNews::Kind::Capacity);
        run.why = QStringLiteral("température 61 °C");
        run.settings = QStringLiteral("6 éléments, 2 cycles");
        run.log = QStringLiteral("/a/log.txt");
        run.digest = QStringLiteral("abc");
        run.pack = QStringLiteral("Grand");
        run.figures = {1500.5, 1400.25, 11.5, 10.25, 7200.5, 61, 5.5, 8.75, 42, 1400.25};
        {
            Logbook book;
            book.Enter(run);
            QCOMPARE(book.Trouble(), QString());
        }
        Logbook book; // the next program
        const std::vector<RunEntry> runs = book.Runs({});
        QCOMPARE(runs.size(), size_t(1));
        const RunEntry &kept = runs[0];
        QCOMPARE(kept.id, run.id);
        QCOMPARE(kept.kind, run.kind);
        QCOMPARE(kept.began, run.began);
        QCOMPARE(kept.ended, run.ended);
        QCOMPARE(kept.end, run.end);
        QCOMPARE(kept.why, run.why);
        QCOMPARE(kept.settings, run.settings);
        QCOMPARE(kept.log, run.log);
        QCOMPARE(kept.digest, run.digest);
        QCOMPARE(kept.pack, run.pack);
        const RunFigures &figures = kept.figures;
        QCOMPARE(figures.milliampereHoursIn, 1500.5);
        QCOMPARE(figures.milliampereHoursOut, 1400.25);
        QCOMPARE(figures.wattHoursIn, 11.5);
        QCOMPARE(figures.wattHoursOut, 10.25);
        QCOMPARE(figures.seconds, 7200.5);
        QCOMPARE(figures.highestTemperature, 61.0);
        QCOMPARE(figures.lowestVolts, 5.5);
        QCOMPARE(figures.highestVolts, 8.75);
        QCOMPARE(figures.resistance, 42.0);
        QCOMPARE(figures.capacity, 1400.25);
    }

    void WhatARunHasNotIsNone()
    {
        const Drive drive;
        Logbook book;
        book.Enter(SomeRun(5));
        const RunEntry run = book.Runs({}).at(0);
        QVERIFY(!run.ended.isValid());
        QCOMPARE(run.pack, QString());
        QVERIFY(!run.figures.highestTemperature && !run.figures.capacity && !run.figures.resistance);
        QVERIFY(book.Packs().empty());
    }

    void Filters()
    {
        const Drive drive;
        Logbook book;
        RunEntry first = SomeRun(1, RunEntry::End::Rule);
        first.pack = QStringLiteral("A");
        RunEntry second = SomeRun(2, RunEntry::End::Rule, RunNews::Kind::Discharge);
        second.pack = QStringLiteral("B");
        const RunEntry third = SomeRun(3, RunEntry::End::Stop);
        for (const RunEntry &run : {second, third, first})
            book.Enter(run);
        const auto found = [&book](const std::function<void(RunFilter &)> &want) {
            RunFilter filter;
            want(filter);
            return IdsOf(book.Runs(filter));
        };
        const QStringList all{third.id, second.id, first.id}; // the newest first
        QCOMPARE(found([](RunFilter &) {}), all);
        QCOMPARE(found([](RunFilter &filter) { filter.pack = QStringLiteral("B"); }), QStringList{second.id});
        QCOMPARE(found([](RunFilter &filter) { filter.pack = QString(); }), QStringList{third.id});
        QCOMPARE(found([](RunFilter &filter) { filter.pack = QStringLiteral("C"); }), QStringList());
        QCOMPARE(found([](RunFilter &filter) { filter.kind = RunNews::Kind::Charge; }),
                 QStringList({third.id, first.id}));
        QCOMPARE(found([](RunFilter &filter) { filter.from = QDate(2026, 3, 2); }), QStringList({third.id, second.id}));
        QCOMPARE(found([](RunFilter &filter) { filter.to = QDate(2026, 3, 2); }), QStringList({second.id, first.id}));
        QCOMPARE(found([](RunFilter &filter) {
                     filter.from = filter.to = QDate(2026, 3, 1);
                     filter.kind = RunNews::Kind::Charge;
                     filter.pack = QStringLiteral("A");
                 }),
                 QStringList{first.id});
    }

    void PacksAreMadeChangedAndRemoved()
    {
        const Drive drive;
        Logbook book;
        RunEntry run = SomeRun(1, RunEntry::End::Rule);
        run.pack = QStringLiteral("A");
        book.Enter(run);
        QCOMPARE(book.Packs().at(0).name, QStringLiteral("A"));
        Pack pack{QStringLiteral("Avion"), QStringLiteral("LiPo"), 3, 2200, QDate(2024, 5, 1), QStringLiteral("rouge")};
        QSignalSpy renamed(&book, &Logbook::PackRenamed);
        book.SavePack(pack, QStringLiteral("A"));
        QCOMPARE(renamed.size(), 1);
        QCOMPARE(book.Packs().at(0), pack);
        QCOMPARE(book.Runs({}).at(0).pack, QStringLiteral("Avion"));

        Pack other;
        QVERIFY_THROWS_EXCEPTION(Error, book.SavePack(other)); // without a name
        other.name = QStringLiteral("Avion");
        QVERIFY_THROWS_EXCEPTION(Error, book.SavePack(other));
        other.name = QStringLiteral("B");
        book.SavePack(other);
        other.name = QStringLiteral("Avion");
        QVERIFY_THROWS_EXCEPTION(Error, book.SavePack(other, QStringLiteral("B")));
        QCOMPARE(book.Packs().size(), size_t(2));
        QCOMPARE(book.FindPack(QStringLiteral("Avion")), pack);

        book.SetPack({run.id}, QStringLiteral("B"));
        QCOMPARE(book.Runs({}).at(0).pack, QStringLiteral("B"));
        book.RemovePack(QStringLiteral("B"));
        QCOMPARE(book.Runs({}).at(0).pack, QString()); // and it is there still
        book.RemoveRuns({run.id});
        QVERIFY(book.Runs({}).empty());
    }

    void ThePacksHistory()
    {
        const Drive drive;
        Logbook book;
        const auto enter = [&book](int day, RunNews::Kind kind, RunEntry::End end, std::optional<double> capacity,
                                   std::optional<double> resistance, double in = 0) {
            RunEntry run = SomeRun(day, end, kind);
            run.pack = QStringLiteral("A");
            run.figures.seconds = 100 * day;
            run.figures.capacity = capacity;
            run.figures.resistance = resistance;
            run.figures.milliampereHoursIn = in;
            book.Enter(run);
        };
        enter(4, RunNews::Kind::Capacity, RunEntry::End::Rule, 1500, 40);
        enter(1, RunNews::Kind::Discharge, RunEntry::End::Rule, 1600, {});
        enter(2, RunNews::Kind::Charge, RunEntry::End::Rule, {}, {}, 1700);
        enter(3, RunNews::Kind::Charge, RunEntry::End::Stop, {}, {}, 300);
        enter(5, RunNews::Kind::Capacity, RunEntry::End::Stop, {}, 41);
        const std::vector<PackCycle> cycles = book.History(QStringLiteral("A"));
        QCOMPARE(cycles.size(), size_t(3));
        QCOMPARE(cycles[0].capacity, 1600.0);
        QVERIFY(!cycles[0].resistance);
        QCOMPARE(cycles[1].capacity, 1500.0);
        QCOMPARE(cycles[1].resistance, 40.0);
        QVERIFY(!cycles[2].capacity); // it was not taken to its end
        QVERIFY(book.History(QStringLiteral("B")).empty());

        const std::optional<LastTime> charge = book.Last(RunNews::Kind::Charge, QStringLiteral("A"));
        QVERIFY(charge);
        QCOMPARE(charge->seconds, 200.0); // the later one was stopped
        QCOMPARE(charge->milliampereHours, 1700.0);
        QCOMPARE(book.Last(RunNews::Kind::Capacity, QStringLiteral("A"))->milliampereHours, 1500.0);
        QVERIFY(!book.Last(RunNews::Kind::Charge, QStringLiteral("B")));
    }

    // ---- programs that die, and two at once

    void ARunWhoseProgramIsGoneIsClosed()
    {
        const Drive drive;
        const RunEntry run = SomeRun(1);
        {
            Logbook dead;
            dead.Enter(run);
        }
        Logbook book;
        QCOMPARE(book.Runs({}).at(0).end, RunEntry::End::On);
        QCOMPARE(book.Repair(), 1);
        QCOMPARE(book.Runs({}).at(0).end, RunEntry::End::Cut);
        QVERIFY(book.Runs({}).at(0).ended.isValid());
        QCOMPARE(book.Repair(), 0);
    }

    void TwoProgramsAtOnce()
    {
        const Drive drive;
        auto one = std::make_unique<Logbook>();
        Logbook other;
        const RunEntry ones = SomeRun(1), others = SomeRun(2);
        one->Enter(ones);
        other.Enter(others);
        QCOMPARE(other.Repair(), 0); // both live
        QCOMPARE(one->Repair(), 0);
        QCOMPARE(IdsOf(one->Runs({})), QStringList({others.id, ones.id}));
        other.Enter(Ended(others, RunEntry::End::Rule));
        QCOMPARE(one->Runs({}).at(0).end, RunEntry::End::Rule);
        one.reset();
        QCOMPARE(other.Repair(), 1);
        QCOMPARE(other.Runs({}).at(1).end, RunEntry::End::Cut);
    }

    /// A program that is killed in mid-write leaves the database and a part of its write-ahead log behind.
    void AKillAtAnyWrite()
    {
        QByteArray database, ahead;
        QStringList states{QString()};
        {
            const Drive drive;
            Logbook book;
            const auto enter = [&](const RunEntry &run) {
                book.Enter(run);
                states.append(StateOf(book));
            };
            RunEntry first = SomeRun(1), second = SomeRun(2);
            second.pack = QStringLiteral("A");
            enter(first);
            enter(Ended(first, RunEntry::End::Rule));
            enter(second);
            enter(Ended(second, RunEntry::End::Stop));
            enter(SomeRun(3));
            database = BytesOf(Logbook::Path());
            ahead = BytesOf(Logbook::Path() + QStringLiteral("-wal"));
        }
        QVERIFY(ahead.size() > 20000);
        qsizetype seen = 0;
        constexpr int step = 1373; // through every page and every head of one
        for (qsizetype size = 0; size < ahead.size() + step; size += step) {
            const Drive drive;
            WriteBytes(Logbook::Path(), database);
            WriteBytes(Logbook::Path() + QStringLiteral("-wal"), ahead.left(size));
            Logbook book;
            const qsizetype state = states.indexOf(StateOf(book));
            QVERIFY(state >= seen); // what was there before stays, and nothing is there by halves
            seen = state;
            const bool open = !states[state].isEmpty() && (state % 2) == 1;
            QCOMPARE(book.Repair(), open ? 1 : 0);
            QVERIFY(
                std::ranges::none_of(book.Runs({}), [](const RunEntry &run) { return run.end == RunEntry::End::On; }));
            QCOMPARE(book.Trouble(), QString());
            QCOMPARE(SetAside(), QString());
        }
        QCOMPARE(seen, states.size() - 1);
    }

    // ---- files that are not as they should be

    void AVersionOneFileIsMigrated()
    {
        const Drive drive;
        QFile script(QStringLiteral(TEST_DATA "/logbook/version1.sql"));
        QVERIFY(script.open(QIODevice::ReadOnly));
        {
            const Stranger old;
            for (const QByteArray &statement : script.readAll().split('\n'))
                if (!statement.isEmpty())
                    old.Do(QString::fromUtf8(statement));
        }
        Logbook book;
        const std::vector<RunEntry> runs = book.Runs({});
        QCOMPARE(IdsOf(runs), QStringList({QStringLiteral("three"), QStringLiteral("two"), QStringLiteral("one")}));
        QCOMPARE(runs[2].figures.milliampereHoursIn, 1500.0);
        QCOMPARE(runs[2].pack, QStringLiteral("Vieux"));
        QCOMPARE(runs[1].figures.capacity, 1400.0); // it went to its end
        QVERIFY(!runs[0].figures.capacity && !runs[2].figures.capacity);
        QCOMPARE(book.Packs().at(0).since, QDate(2019, 4, 1));
        RunEntry fresh = SomeRun(5, RunEntry::End::Rule);
        fresh.digest = QStringLiteral("abc");
        book.Enter(fresh);
        QCOMPARE(book.Runs({}).size(), size_t(4));
        QCOMPARE(Stranger().Do(QStringLiteral("PRAGMA user_version")).toInt(), Database::version);
    }

    void ANewerFileIsLeftAlone()
    {
        const Drive drive;
        Stranger().Do(QStringLiteral("PRAGMA user_version = 99"));
        const QByteArray before = BytesOf(Logbook::Path());
        Logbook book;
        book.Enter(SomeRun(1, RunEntry::End::Rule));
        QVERIFY(book.Trouble().contains(QStringLiteral("version plus récente")));
        QCOMPARE(book.Waiting(), size_t(1));
        QVERIFY_THROWS_EXCEPTION(DatabaseError, book.Runs({}));
        QCOMPARE(BytesOf(Logbook::Path()), before);
        QCOMPARE(SetAside(), QString());
    }

    void ALockedFileTakesTheRunLater()
    {
        const Drive drive;
        Logbook book;
        RunEntry run = SomeRun(1);
        {
            Logbook().Enter(SomeRun(2, RunEntry::End::Rule));
            const Stranger stranger;
            stranger.Do(QStringLiteral("BEGIN EXCLUSIVE"));
            QSignalSpy trouble(&book, &Logbook::TroubleChanged);
            book.Enter(run);
            QCOMPARE(trouble.size(), 1);
            QVERIFY(book.Trouble().contains(QStringLiteral("occupé par un autre programme")));
            QCOMPARE(book.Waiting(), size_t(1));
            run = Ended(run, RunEntry::End::Rule);
            book.Enter(run);
            QCOMPARE(book.Waiting(), size_t(1)); // it is the same run
            stranger.Do(QStringLiteral("COMMIT"));
        }
        book.Enter(SomeRun(3));
        QCOMPARE(book.Waiting(), size_t(0));
        QCOMPARE(book.Trouble(), QString());
        QCOMPARE(book.Runs({}).size(), size_t(3));
        QCOMPARE(book.Runs({}).at(2).end, RunEntry::End::Rule);
    }

    void WhatWaitsIsEnteredWhenTheProgramLeaves()
    {
        const Drive drive;
        {
            Logbook book;
            Logbook().Enter(SomeRun(2, RunEntry::End::Rule));
            const Stranger stranger;
            stranger.Do(QStringLiteral("BEGIN IMMEDIATE"));
            book.Enter(SomeRun(1, RunEntry::End::Rule));
            QCOMPARE(book.Waiting(), size_t(1));
            stranger.Do(QStringLiteral("COMMIT"));
        }
        QCOMPARE(Logbook().Runs({}).size(), size_t(2));
    }

    void AReadOnlyFileIsReadAndSaid()
    {
        const Drive drive;
        Logbook().Enter(SomeRun(1, RunEntry::End::Rule));
        QByteArray bytes = BytesOf(Logbook::Path());
        bytes[18] = 3; // for a future that may read it but must not write: nobody is above that
        WriteBytes(Logbook::Path(), bytes);
        Logbook book;
        book.Enter(SomeRun(2, RunEntry::End::Rule));
        QVERIFY(book.Trouble().contains(QStringLiteral("lecture seule")));
        QCOMPARE(book.Waiting(), size_t(1));
        QCOMPARE(book.Runs({}).size(), size_t(1));
        QVERIFY_THROWS_EXCEPTION(DatabaseError, book.RemoveRuns({QStringLiteral("x")}));
    }

    void ADamagedFileIsSetAside_data()
    {
        QTest::addColumn<int>("from");
        QTest::newRow("from its beginning") << 0;
        QTest::newRow("behind its head") << 100;
    }
    void ADamagedFileIsSetAside()
    {
        QFETCH(int, from);
        const Drive drive;
        const SimulatedClock clock;
        Logbook().Enter(SomeRun(1, RunEntry::End::Rule));
        QByteArray bytes = BytesOf(Logbook::Path());
        bytes.replace(from, bytes.size() - from, QByteArray(bytes.size() - from, '\x5a'));
        WriteBytes(Logbook::Path(), bytes);
        Logbook book;
        const RunEntry run = SomeRun(2, RunEntry::End::Rule);
        book.Enter(run);
        QCOMPARE(book.Waiting(), size_t(0));
        QCOMPARE(IdsOf(book.Runs({})), QStringList{run.id});
        QVERIFY(book.Trouble().contains(QStringLiteral("mis de côté")));
        QVERIFY(book.Trouble().contains(QFileInfo(SetAside()).fileName()));
        QCOMPARE(BytesOf(SetAside()), bytes); // nothing is lost
    }

    void AFileThatIsDamagedUnderOursIsSetAside()
    {
        const Drive drive;
        const SimulatedClock clock;
        Logbook book;
        book.Enter(SomeRun(1, RunEntry::End::Rule));
        Stranger().Do(QStringLiteral("PRAGMA wal_checkpoint(TRUNCATE)"));
        QFile file(Logbook::Path());
        QVERIFY(file.open(QIODevice::ReadWrite));
        file.write(QByteArray(file.size(), '\x5a'));
        file.close();
        Logbook other; // which sees it first
        const RunEntry run = SomeRun(2, RunEntry::End::Rule);
        other.Enter(run);
        QVERIFY(!SetAside().isEmpty());
        QCOMPARE(IdsOf(other.Runs({})), QStringList{run.id});
    }

    void WithoutTheDriverRunsWait()
    {
        const Drive drive;
        Logbook book(QStringLiteral("QNONE"));
        book.Enter(SomeRun(1));
        QVERIFY(book.Trouble().contains(QStringLiteral("le module QNONE manque")));
        QCOMPARE(book.Waiting(), size_t(1));
        QVERIFY(!QFileInfo::exists(Logbook::Path()));
    }

    void WithoutAFolderRunsWait()
    {
        const QTemporaryDir folder;
        WriteBytes(folder.filePath(QStringLiteral("file")), "x");
        drive::SetRoot(folder.filePath(QStringLiteral("file")));
        {
            Logbook book;
            book.Enter(SomeRun(1));
            QVERIFY(book.Trouble().contains(QStringLiteral("ne s'ouvre pas")));
            QCOMPARE(book.Waiting(), size_t(1));
            QCOMPARE(book.Repair(), 0);
        }
        drive::SetRoot(QString());
    }
};

REGISTER_TEST(TestLogbook)
#include "tst_logbook.moc"
