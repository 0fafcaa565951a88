// SPDX-License-Identifier: GPL-3.0-or-later
#include "capacity/mescapa.h"
#include "runbench.h"
#include "runs/chargerules.h"
#include "runs/chargeur.h"
#include "runs/dechargeur.h"
#include "runs/runcurve.h"
#include "support/suite.h"

#include <QFileDialog>
#include <QSignalSpy>
#include <QToolButton>

#include <cmath>

namespace {
const Curve *Find(const Chart &chart, const char *name)
{
    const auto &curves = chart.Curves();
    const auto found = std::ranges::find(curves, QString::fromUtf8(name), &Curve::name);
    return found == curves.end() ? nullptr : *found;
}

QStringList Names(const Chart &chart)
{
    QStringList names;
    for (const Curve *curve : chart.Curves())
        names.append(curve->name());
    return names;
}

/// A run that is told of, and its curve.
struct Told
{
    explicit Told(RunNews::Kind kind) : news(kind) {}

    void Show()
    {
        curve.resize(600, 500);
        curve.show();
        SOON(curve.windowHandle()->isExposed());
    }
    /// A second later.
    void Point(double volts, std::optional<int> delta = {}, std::optional<int> peak = {}, double temperature = 25)
    {
        Simulated().Run(1s);
        news.Tell({.volts = volts,
                   .amperes = 1.5,
                   .milliampereHours = 3.7,
                   .temperature = temperature,
                   .delta = delta,
                   .deltaPeak = peak});
    }

    SimulatedClock clock;
    RunNews news;
    RunCurve curve{news};
};

/// A window with its pane, on a screen that is too small for both by itself.
template <class W>
struct Bench : RunBench<W>
{
    QToolButton *Fold() { return this->template Find<QToolButton>("CbCourbe"); }
    RunCurve *Curve() { return this->template Find<RunCurve>("Courbe"); }
    bool Folded() { return !Curve()->isVisible(); }
    void Begin()
    {
        this->SetText("6");
        this->Button("CBstart")->click();
        SOON(this->Records() >= 3);
    }
    std::vector<QRect> Places()
    {
        std::vector<QRect> places;
        for (const QWidget *control : static_cast<QWidget &>(this->window).template findChildren<QWidget *>())
            if (control != Fold() && !Curve()->parentWidget()->isAncestorOf(control) && control->isVisible() &&
                control->parentWidget() != static_cast<QWidget *>(&this->window))
                places.emplace_back(control->mapTo(static_cast<QWidget *>(&this->window), QPoint()), control->size());
        return places;
    }
};
} // namespace

class TestRunCurve : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // ---- what is drawn

    void WhatIsMeasuredOverTheTimeOfTheRun()
    {
        Told run(RunNews::Kind::Discharge);
        run.news.Begin({});
        run.Point(7.25);
        run.Point(7.5);
        QCOMPARE(Names(run.curve).join(u' '), QStringLiteral("V Batterie Courant Capacité Température"));
        const Curve *volts = Find(run.curve, "V Batterie");
        QCOMPARE(volts->Points(), 2);
        QCOMPARE(volts->KeyOf(0), 1.0);
        QCOMPARE(volts->ValueOf(0), 7.25);
        QCOMPARE(volts->KeyOf(1), 2.0);
        QCOMPARE(volts->Unit(), QStringLiteral("V"));
        QCOMPARE(Find(run.curve, "Courant")->ValueOf(1), 1.5);
        QCOMPARE(Find(run.curve, "Capacité")->ValueOf(1), 3.0); // whole, as in the window
        QCOMPARE(Find(run.curve, "Température")->ValueOf(1), 25.0);
        QVERIFY(run.curve.Levels().empty());
    }

    void TheDeltaWithItsPeakAndTheEndBelowIt()
    {
        Told run(RunNews::Kind::Charge);
        run.news.Begin({});
        run.Point(7, 300, 300);
        run.Point(7, 700, 700);
        run.Point(7, 695, 700);
        QCOMPARE(Find(run.curve, "V Delta")->ValueOf(2), 695.0);
        QCOMPARE(run.curve.Levels().size(), size_t(2));
        QCOMPARE(*run.curve.Levels()[0]->Value(), 700.0);
        QCOMPARE(*run.curve.Levels()[1]->Value(), 700.0 - DeltaPeak::fall);
        // The fall can be seen, whatever the count has risen from.
        run.Show();
        const QCPAxis *const axis = run.curve.Levels()[0]->Axis();
        SOON(axis->range().upper > 700);
        QVERIFY(axis->range().size() < 10 * DeltaPeak::fall);
        QVERIFY(axis->range().contains(700 - DeltaPeak::fall));
        // A peak that was reset is followed.
        run.Point(7, 500, 500);
        QCOMPARE(*run.curve.Levels()[0]->Value(), 500.0);
        SOON(axis->range().contains(500) && axis->range().contains(500 - DeltaPeak::fall));
    }

    void ATemperatureThatIsNotCalibratedMakesNoCurve()
    {
        Told run(RunNews::Kind::Discharge);
        run.news.Begin({});
        run.Point(7, {}, {}, qQNaN());
        QVERIFY(!Find(run.curve, "Température"));
        run.Point(7);
        QCOMPARE(Find(run.curve, "Température")->Points(), 1);
    }

    void PhasesAreBandsWithTheirNames()
    {
        Told run(RunNews::Kind::Capacity);
        run.news.Begin({});
        run.news.BeginPhase(QStringLiteral("Charge"));
        run.Point(7);
        run.Point(7.5);
        run.news.BeginPhase(QStringLiteral("Pause"));
        Simulated().Run(2min);
        run.news.BeginPhase(QStringLiteral("Decharge"));
        run.Point(7.4);
        const std::vector<Band *> &bands = run.curve.Bands();
        QCOMPARE(bands.size(), size_t(3));
        QCOMPARE(bands[0]->Name(), QStringLiteral("Charge"));
        QCOMPARE(bands[0]->From(), 0.0);
        QCOMPARE(*bands[0]->To(), 2.0);
        QCOMPARE(bands[1]->Name(), QStringLiteral("Pause"));
        QCOMPARE(*bands[1]->To(), 122.0);
        QCOMPARE(bands[2]->Name(), QStringLiteral("Decharge"));
        QVERIFY(!bands[2]->To());
        // No line from one phase to the next.
        const Curve *volts = Find(run.curve, "V Batterie");
        QCOMPARE(volts->ValueOf(1), 7.5);
        QVERIFY(std::isnan(volts->ValueOf(*volts->Nearest(100))));
        run.news.End(RunEnd::How::Stop);
        QCOMPARE(*bands[2]->To(), 123.0);
    }

    void ItStaysUntilTheNextStart()
    {
        Told run(RunNews::Kind::Charge);
        run.news.Begin({});
        run.news.BeginPhase(QStringLiteral("Charge"));
        run.Point(7, 700, 700);
        run.news.End(RunEnd::How::Rule);
        Simulated().Run(1h);
        QCOMPARE(Find(run.curve, "V Batterie")->Points(), 1);
        run.news.Begin({});
        QVERIFY(run.curve.Curves().empty());
        QVERIFY(run.curve.Bands().empty());
        QVERIFY(run.curve.Levels().empty());
        QCOMPARE(run.curve.itemCount(), 2); // the cursor's
        run.Point(8);
        QCOMPARE(Find(run.curve, "V Batterie")->KeyOf(0), 1.0);
        QCOMPARE(Find(run.curve, "V Batterie")->ValueOf(0), 8.0);
    }

    void ManyRunsLeaveNothingBehind()
    {
        Told run(RunNews::Kind::Charge);
        const auto objects = [&run] {
            run.news.Begin({});
            run.news.BeginPhase(QStringLiteral("Charge"));
            run.Point(7, 700, 700);
            run.news.End(RunEnd::How::Rule);
            return run.curve.findChildren<QObject *>().size();
        };
        const qsizetype afterOne = objects();
        for (int i = 0; i < 50; ++i)
            QCOMPARE(objects(), afterOne);
    }

    void ANarrowPaneKeepsRoomForTheCurves()
    {
        Told run(RunNews::Kind::Charge);
        run.Show();
        run.news.Begin({});
        run.Point(7, 700, 700);
        QCOMPARE(run.curve.Curves().size(), size_t(5));
        for (const int width : {180, 300, 520, 900}) {
            run.curve.resize(width, 400);
            run.curve.replot();
            QVERIFY2(run.curve.axisRect()->width() > width / 3, qPrintable(QString::number(width)));
            QVERIFY(run.curve.legend->outerRect().right() <= width);
        }
        for (const Curve *curve : run.curve.Curves())
            QVERIFY(curve->valueAxis()->visible());
        run.curve.resize(180, 400);
        QVERIFY(run.curve.yAxis->visible());
        QVERIFY(!Find(run.curve, "V Delta")->valueAxis()->visible());
    }

    // ---- in the windows

    void AChargeIsDrawn()
    {
        Bench<Chargeur> bench;
        bench.Begin();
        QCOMPARE(Names(*bench.Curve()).join(u' '), QStringLiteral("V Batterie Courant Capacité Température V Delta"));
        QVERIFY(Find(*bench.Curve(), "V Batterie")->Points() >= 3);
        QCOMPARE(Find(*bench.Curve(), "V Batterie")->ValueOf(0), 5.12);
        QCOMPARE(*bench.Curve()->Levels()[0]->Value(), 700.0);
        bench.window.close();
        bench.window.Open();
        QVERIFY(Find(*bench.Curve(), "V Batterie")->Points() >= 3); // the last run's, until the next one
    }

    void ADischargeIsDrawn()
    {
        Bench<Dechargeur> bench;
        bench.Begin();
        QVERIFY(Find(*bench.Curve(), "Courant")->ValueOf(0) < 0);
    }

    void AFoldedOrHiddenCurveIsNotDrawn()
    {
        Bench<Chargeur> bench;
        QVERIFY(bench.Folded());
        Simulated().Run(1s); // a chart is drawn once when it is made
        QSignalSpy drawn(bench.Curve(), &QCustomPlot::afterReplot);
        bench.Begin();
        Simulated().Run(1min);
        QVERIFY(drawn.isEmpty());
        bench.Fold()->click();
        SOON(bench.Curve()->xAxis->range().upper > 60);
        QVERIFY(!drawn.isEmpty());
        bench.Fold()->click();
        Simulated().Run(1s);
        drawn.clear();
        Simulated().Run(1min);
        QVERIFY(drawn.isEmpty());
    }

    void AFoldedWindowIsAsItWas()
    {
        Bench<Chargeur> bench;
        const QSize folded = bench.window.size();
        const std::vector<QRect> places = bench.Places();
        QVERIFY(places.size() > 40);
        bench.Fold()->click();
        QVERIFY(!bench.Folded());
        QVERIFY(bench.window.width() > folded.width());
        QCOMPARE(bench.window.height(), folded.height());
        Simulated().Run(100ms);
        QVERIFY(bench.Places() == places);
        QVERIFY(bench.Curve()->mapTo(&bench.window, QPoint()).x() >= folded.width());
        bench.window.resize(bench.window.width() + 300, bench.window.height()); // only the pane grows
        Simulated().Run(100ms);
        QVERIFY(bench.Places() == places);
        bench.Fold()->click();
        QVERIFY(bench.Folded());
        QCOMPARE(bench.window.size(), folded);
        Simulated().Run(100ms);
        QVERIFY(bench.Places() == places);
    }

    void FoldingIsRememberedForEachWindow()
    {
        Bench<Chargeur> bench;
        bench.Fold()->click();
        Kept<Chargeur> next(bench.link);
        next.Open();
        QVERIFY(next.template findChild<RunCurve *>()->isVisible());
        QVERIFY(next.template findChild<QToolButton *>(QStringLiteral("CbCourbe"))->isChecked());
        Kept<Dechargeur> other(bench.link);
        other.Open();
        QVERIFY(!other.template findChild<RunCurve *>()->isVisible());
        Kept<MesCapa> capacity(bench.link);
        capacity.Open();
        auto *const fold = capacity.template findChild<QToolButton *>(QStringLiteral("CbCourbe"));
        QVERIFY(!capacity.template findChild<RunCurve *>()->isVisible());
        fold->click();
        QVERIFY(capacity.template findChild<RunCurve *>()->isVisible());

        bench.Fold()->click();
        bench.window.close();
        bench.window.Open();
        QVERIFY(bench.Folded());
        QFile file(bench.folder.filePath(QStringLiteral("voltaire.ini")));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray kept = file.readAll();
        QVERIFY(kept.contains("[Chargeur]\ncourbe=false\n"));
        QVERIFY(kept.contains("[MesCapa]\ncourbe=true\n"));
    }

    void ClosingAndOpeningLeavesNothingBehind()
    {
        Bench<Chargeur> bench;
        bench.Fold()->click();
        bench.Begin();
        const auto things = [&bench] {
            return static_cast<QWidget &>(bench.window).template findChildren<QObject *>().size();
        };
        const auto before = things();
        const int items = bench.Curve()->itemCount();
        for (int i = 0; i < 5; ++i) {
            bench.window.close();
            bench.window.Open();
            bench.Begin();
        }
        QCOMPARE(things(), before);
        QCOMPARE(bench.Curve()->itemCount(), items);
        QCOMPARE(bench.Curve()->plottableCount(), 5);
    }

    void APictureThatCannotBeSavedEndsNoRun()
    {
        Bench<Chargeur> bench;
        bench.Fold()->click();
        bench.Begin();
        bench.Curve()->template findChild<QAction *>(QStringLiteral("MnuPng"))->trigger();
        auto *const dialog = static_cast<QWidget &>(bench.window).template findChild<QFileDialog *>();
        QVERIFY(dialog);
        QVERIFY(dialog->selectedFiles().constFirst().endsWith(QFileInfo(bench.window.LogPath()).completeBaseName() +
                                                              QStringLiteral(".png")));
        Q_EMIT dialog->fileSelected(bench.folder.filePath(QStringLiteral("no/where.png")));
        dialog->close();
        QCOMPARE(BoxTexts().size(), 1);
        AnswerBoxes();
        Simulated().Run(5s);
        QVERIFY(bench.window.Running());
    }
};

REGISTER_TEST(TestRunCurve)
#include "tst_runcurve.moc"
