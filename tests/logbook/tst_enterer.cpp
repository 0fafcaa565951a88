// SPDX-License-Identifier: GPL-3.0-or-later
#include "capacity/capacitybench.h"
#include "guard/guardian.h"
#include "logbook/enterer.h"
#include "logbook/oldlog.h"
#include "logbookbench.h"
#include "runs/chargeur.h"
#include "runs/dechargeur.h"
#include "runs/runbench.h"
#include "support/suite.h"

#include <QComboBox>

#include <optional>

namespace {
/// A window whose runs are entered.
template <class Bench>
struct Entered : Bench
{
    Entered() { drive::Prepare(); }

    QString Words() { return this->window.template findChild<QLabel *>(QStringLiteral("derniereFois"))->text(); }
    QString Warning()
    {
        const auto *label = this->window.template findChild<QLabel *>(QStringLiteral("carnet"));
        return label->isVisible() ? label->text() : QString();
    }
    PackBox *Accus() { return this->window.template findChild<PackBox *>(); }
    RunEntry Run(size_t which = 0) { return book.Runs({}).at(which); }
    size_t Runs() { return book.Runs({}).size(); }
    bool IsOver() { return Runs() == 1 && Run().end != RunEntry::End::On; }

    Logbook book;
    std::optional<Enterer> enterer{std::in_place, book, this->window.News(), *Accus()};
};

template <class W>
struct RunWindowBench : Entered<RunBench<W>>
{
    void Begin(const char *text = "6")
    {
        QSignalSpy recorded(&this->window, &RunWindow::Recorded);
        this->SetText(text);
        this->Button("CBstart")->click();
        SOON(recorded.size() >= 2);
    }
    void CheckEnd(RunEntry::End end, const QString &why = {})
    {
        SOON(this->IsOver());
        QCOMPARE(this->Run().end, end);
        QCOMPARE(this->Run().why, why);
        QVERIFY(this->Run().ended >= this->Run().began);
    }
};
using Charge = RunWindowBench<Chargeur>;
using Discharge = RunWindowBench<Dechargeur>;
using Measurement = Entered<CapacityBench>;
} // namespace

/// Runs of the real windows enter themselves.
class TestEnterer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ACharge()
    {
        Charge bench;
        bench.Accus()->SetPack(QStringLiteral("Avion"));
        bench.Begin();
        const RunEntry begun = bench.Run();
        QCOMPARE(begun.end, RunEntry::End::On);
        QCOMPARE(begun.kind, RunNews::Kind::Charge);
        QVERIFY(begun.began.secsTo(Simulated().LocalTime()) < 10);
        QCOMPARE(begun.settings, QStringLiteral("MODE 6"));
        QCOMPARE(begun.log, bench.window.LogPath());
        QCOMPARE(begun.pack, QStringLiteral("Avion"));

        Simulated().Run(30min);
        bench.board.channel[5] = 560; // 40 °C
        bench.board.channel[13] = 700;
        Simulated().Run(30min);
        bench.board.channel[12] = 500;
        bench.CheckEnd(RunEntry::End::Rule);
        const RunEntry run = bench.Run();
        QCOMPARE(run.id, begun.id);
        QCOMPARE(run.pack, QStringLiteral("Avion"));
        QCOMPARE(run.log, bench.window.LogPath());
        QCOMPARE(run.digest, oldlog::Digest(run.log));
        const RunFigures &figures = run.figures;
        QVERIFY(std::abs(figures.seconds - 3600) < 10);
        QVERIFY(std::abs(figures.milliampereHoursIn - 1500) < 15); // 1.5 A
        QCOMPARE(figures.milliampereHoursOut, 0.0);
        QCOMPARE(figures.lowestVolts, 5.12);
        QCOMPARE(figures.highestVolts, 5.97);
        QVERIFY(std::abs(figures.wattHoursIn - 1.5 * (5.12 + 5.97) / 2) < 0.1);
        QCOMPARE(figures.highestTemperature, 40.0);
        QVERIFY(!figures.capacity);
    }

    void ADischargeByItsRuleHasACapacity()
    {
        Discharge bench;
        bench.Begin();
        Simulated().Run(10min);
        bench.board.channel[13] = 100;
        bench.CheckEnd(RunEntry::End::Rule);
        QVERIFY(bench.Run().figures.milliampereHoursOut > 100);
        QCOMPARE(bench.Run().figures.capacity, bench.Run().figures.milliampereHoursOut);
    }

    void AStoppedDischargeHasNone()
    {
        Discharge bench;
        bench.Begin();
        bench.Button("CBStop")->click();
        bench.CheckEnd(RunEntry::End::Stop);
        QVERIFY(!bench.Run().figures.capacity);
    }

    void ACauseAndTheGuard_data()
    {
        QTest::addColumn<QString>("cause");
        QTest::addColumn<int>("end");
        QTest::newRow("sleep") << QStringLiteral("mise en veille") << int(RunEntry::End::Cause);
        QTest::newRow("guard") << Guardian::cause << int(RunEntry::End::Guard);
    }
    void ACauseAndTheGuard()
    {
        QFETCH(QString, cause);
        QFETCH(int, end);
        Charge bench;
        bench.Begin();
        bench.window.StopFor(cause);
        bench.CheckEnd(static_cast<RunEntry::End>(end), cause);
    }

    void AnErrorIsNamed()
    {
        Charge bench;
        bench.Begin();
        bench.HoldBack(6);
        Simulated().Run(20s);
        bench.CheckEnd(RunEntry::End::Error, QStringLiteral("la carte n'a fourni aucune mesure"));
        AnswerBoxes();
    }

    void ALeftRun()
    {
        Charge bench;
        bench.Begin();
        bench.Button("CQuitter")->click();
        bench.CheckEnd(RunEntry::End::Left);
    }

    void ARestartIsAnotherRun()
    {
        Charge bench;
        bench.Begin();
        bench.Button("CBstart")->click();
        SOON(bench.Runs() == 2);
        std::vector<RunEntry> runs = bench.book.Runs({});
        std::ranges::sort(runs, {}, &RunEntry::end);
        QCOMPARE(runs[0].end, RunEntry::End::On);
        QCOMPARE(runs[1].end, RunEntry::End::Restart);
    }

    void AProgramThatLeavesLeavesItsRun()
    {
        Charge bench;
        bench.Begin();
        bench.enterer.reset();
        bench.CheckEnd(RunEntry::End::Left);
    }

    void NothingIsWrittenBeforeTheWindowHasStopped()
    {
        Charge bench;
        bench.Begin();
        std::optional<RunEntry::End> atTheEnd;
        connect(&bench.window.News(), &RunNews::Over, this, [&] { atTheEnd = bench.Run().end; });
        bench.Button("CBStop")->click();
        bench.CheckEnd(RunEntry::End::Stop);
        QCOMPARE(atTheEnd, RunEntry::End::On);
    }

    void ACapacityMeasurement()
    {
        Measurement bench;
        ScriptOneCycle(bench);
        bench.Accus()->SetPack(QStringLiteral("Gros"));
        bench.Start();
        LATER(!bench.window.Running());
        SOON(bench.IsOver());
        const RunEntry run = bench.Run();
        QCOMPARE(run.kind, RunNews::Kind::Capacity);
        QCOMPARE(run.end, RunEntry::End::Rule);
        QCOMPARE(run.log, bench.window.ResultPath());
        QVERIFY(run.figures.milliampereHoursIn > 0);
        QVERIFY(run.figures.resistance);
        QVERIFY(run.figures.seconds > 300); // its pauses are a part of it
        QCOMPARE(run.figures.capacity, run.figures.milliampereHoursOut);
    }

    void AMeasurementThatIsCutHasWhatItsLogHasNot()
    {
        Measurement bench;
        bench.usualVolts = 600;
        bench.StartAndDischarge();
        Simulated().Run(30min);
        const RunEntry cut = bench.Run();            // as a program that dies now leaves it
        QVERIFY(cut.figures.milliampereHoursIn > 0); // of the charge before the log
        QCOMPARE(cut.figures.milliampereHoursOut, 0.0);
        RunEntry closed = cut;
        oldlog::CloseCut(closed);
        QCOMPARE(closed.end, RunEntry::End::Cut);
        QVERIFY(closed.figures.milliampereHoursOut > 100);
        QVERIFY(!closed.figures.capacity);
        bench.Button("CBStop")->click();
        SOON(bench.IsOver());
        const RunFigures &whole = bench.Run().figures;
        QCOMPARE(closed.figures.milliampereHoursIn, whole.milliampereHoursIn);
        QVERIFY(std::abs(closed.figures.milliampereHoursOut - whole.milliampereHoursOut) <= 2);
        QVERIFY(std::abs(closed.figures.wattHoursOut - whole.wattHoursOut) < 0.1);
    }

    void ThePackIsNamedInMidRun()
    {
        Charge bench;
        bench.Begin();
        QCOMPARE(bench.Run().pack, QString());
        auto *box = bench.Find<QComboBox>("accu");
        box->setFocus();
        QTest::keyClicks(box->lineEdit(), QStringLiteral(" Avion "));
        QCOMPARE(bench.Run().pack, QString()); // it is not whole yet
        QTest::keyClick(box->lineEdit(), Qt::Key_Return);
        SOON(bench.Run().pack == QStringLiteral("Avion"));
        QCOMPARE(bench.book.Packs().size(), size_t(1));
        bench.book.SavePack({QStringLiteral("Planeur"), {}, 0, 0, {}, {}}, QStringLiteral("Avion"));
        QCOMPARE(bench.Accus()->Pack(), QStringLiteral("Planeur"));
        bench.Button("CBStop")->click();
        bench.CheckEnd(RunEntry::End::Stop);
        QCOMPARE(bench.Run().pack, QStringLiteral("Planeur"));
        QCOMPARE(bench.book.Packs().size(), size_t(1));
    }

    void TheKnownPacksAreOffered()
    {
        Charge bench;
        for (const char *name : {"b", "A", "c"})
            bench.book.SavePack({QLatin1String(name), {}, 0, 0, {}, {}});
        auto *box = bench.Find<QComboBox>("accu");
        QCOMPARE(box->count(), 3);
        QCOMPARE(box->itemText(0), QStringLiteral("A"));
        QCOMPARE(bench.Accus()->Pack(), QString());
        bench.Accus()->SetPack(QStringLiteral("c"));
        bench.book.RemovePack(QStringLiteral("b"));
        QCOMPARE(bench.Accus()->Pack(), QStringLiteral("c")); // what is chosen stays
        bench.window.close();
        bench.window.Open();
        QCOMPARE(bench.Accus()->Pack(), QString()); // the next battery may be another one
        QCOMPARE(box->count(), 2);
    }

    void HowItWentLastTimeAndHowFarItIs()
    {
        Charge bench;
        QCOMPARE(bench.Words(), QString());
        bench.book.SavePack({QStringLiteral("Avion"), {}, 6, 2000, {}, {}});
        RunEntry last = SomeRun(1, RunEntry::End::Rule);
        last.pack = QStringLiteral("Avion");
        last.figures.seconds = 4345;
        last.figures.milliampereHoursIn = 1480;
        bench.book.Enter(last);
        bench.Accus()->SetPack(QStringLiteral("Avion"));
        QCOMPARE(bench.Words(), QStringLiteral("dernière fois 1 h 12, 1480 mAh · 74 % de la capacité nominale"));
        bench.Begin();
        QCOMPARE(bench.Words(),
                 QStringLiteral("dernière fois 1 h 12, 1480 mAh · maintenant 0 % de la capacité nominale"));
        Simulated().Run(40min); // at 1.5 A
        QCOMPARE(bench.Words(),
                 QStringLiteral("dernière fois 1 h 12, 1480 mAh · maintenant 50 % de la capacité nominale"));
        bench.board.channel[12] = 500;
        SOON(!bench.window.Running());
        SOON_EQUAL(bench.Words(), QStringLiteral("dernière fois 40 min, 1000 mAh · 50 % de la capacité nominale"));
        bench.Accus()->SetPack(QStringLiteral("Autre"));
        QCOMPARE(bench.Words(), QString());
    }

    void ALogbookThatRefusesNeverStopsARun()
    {
        Charge bench;
        Logbook().Enter(SomeRun(1, RunEntry::End::Rule));
        {
            const Stranger stranger;
            stranger.Do(QStringLiteral("BEGIN EXCLUSIVE"));
            bench.Begin();
            Simulated().Run(1min);
            QVERIFY(bench.window.Running());
            QVERIFY(bench.Records() > 50);
            SOON(bench.Warning().contains(QStringLiteral("occupé par un autre programme")));
            stranger.Do(QStringLiteral("COMMIT"));
        }
        bench.board.channel[12] = 500;
        SOON(bench.Runs() == 2 && bench.Run().end == RunEntry::End::Rule);
        QCOMPARE(bench.Warning(), QString());
        QCOMPARE(OpenBoxes().size(), 0);
    }
};

REGISTER_TEST(TestEnterer)
#include "tst_enterer.moc"
