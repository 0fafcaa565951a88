// SPDX-License-Identifier: GPL-3.0-or-later
#include "runbench.h"
#include "runs/chargeur.h"
#include "runs/dechargeur.h"
#include "runs/runnews.h"
#include "support/suite.h"

namespace {
/// What a run tells.
struct Heard
{
    explicit Heard(const RunNews &news)
    {
        QObject::connect(&news, &RunNews::Began, &news, [this] { ++begun; });
        QObject::connect(&news, &RunNews::Measured, &news, [this](const RunPoint &point) { points.push_back(point); });
        QObject::connect(&news, &RunNews::Over, &news, [this](const RunEnd &end) { ends.push_back(end); });
    }
    int begun = 0;
    std::vector<RunPoint> points;
    std::vector<RunEnd> ends;
};

template <class W>
struct Bench : RunBench<W>
{
    void Begin()
    {
        this->SetText("6");
        this->Button("CBstart")->click();
        SOON(heard.points.size() >= 2);
    }
    void CheckEnd(RunEnd::How how, const QString &why = {})
    {
        SOON(heard.ends.size() == 1);
        QCOMPARE(heard.ends[0].how, how);
        QCOMPARE(heard.ends[0].why, why);
    }

    const RunNews &news = this->window.News();
    Heard heard{news};
};
} // namespace

Q_DECLARE_METATYPE(RunEnd::How)

/// What runs tell those who follow them.
class TestRunNews : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AChargeTellsWhatFlowsIntoTheBattery()
    {
        Bench<Chargeur> bench;
        bench.SliderOf("Slider1")->setValue(120);
        SOON(bench.Text("Label12").endsWith(QStringLiteral(" 1.5 A")));
        bench.Begin();
        QCOMPARE(bench.heard.begun, 1);
        QCOMPARE(bench.news.What(), RunNews::Kind::Charge);
        QCOMPARE(bench.news.Settings(), QStringLiteral("MODE 6, 1.5 A"));
        QCOMPARE(bench.news.Log(), bench.window.LogPath());
        const RunPoint &point = bench.heard.points[1];
        QVERIFY(point.seconds > bench.heard.points[0].seconds);
        QCOMPARE(point.volts, 5.12);
        QCOMPARE(point.amperes, 1.5);
        QCOMPARE(point.temperature, 25.0);
        QCOMPARE(point.delta, 700);
        QCOMPARE(point.deltaPeak, 700);
        QVERIFY(bench.news.On());
        QVERIFY(bench.heard.ends.empty());
    }

    void ADischargeTellsACurrentOutOfTheBattery()
    {
        Bench<Dechargeur> bench;
        bench.Begin();
        QCOMPARE(bench.news.What(), RunNews::Kind::Discharge);
        QCOMPARE(bench.news.Settings(), QStringLiteral("6 éléments"));
        QVERIFY(bench.heard.points[1].amperes < 0);
        QVERIFY(!bench.heard.points[1].delta);
        Simulated().Run(1h);
        QVERIFY(bench.heard.points.back().milliampereHours > 100);
    }

    void ATemperatureThatIsNotCalibratedIsNone()
    {
        Bench<Chargeur> bench;
        bench.link.MasterEeprom[0] = bench.link.MasterEeprom[1] = 0;
        bench.Begin();
        QVERIFY(qIsNaN(bench.heard.points[0].temperature));
    }

    void ItsTimeGoesOnAtMidnight()
    {
        Bench<Chargeur> bench;
        bench.Begin();
        bench.board.On(41, 0, [](const QByteArray &) { return Bytes({27, 0, 0, 1, 0}); }); // one second past
        Simulated().Run(20s);
        const std::vector<RunPoint> &points = bench.heard.points;
        for (size_t i = 1; i < points.size(); ++i)
            QVERIFY(points[i].seconds > points[i - 1].seconds && points[i].seconds < 60);
    }

    void TheEndByItsRule()
    {
        Bench<Chargeur> bench;
        bench.Begin();
        bench.board.channel[12] = 500;
        bench.CheckEnd(RunEnd::How::Rule);
        QVERIFY(!bench.news.On());
        const double lasted = bench.news.Seconds();
        Simulated().Run(10s);
        QCOMPARE(bench.news.Seconds(), lasted);
        bench.Button("CBStop")->click(); // it is over already
        Simulated().Run(10s);
        bench.CheckEnd(RunEnd::How::Rule);
    }

    void TheUsersStop()
    {
        Bench<Chargeur> bench;
        bench.Begin();
        bench.Button("CBStop")->click();
        bench.CheckEnd(RunEnd::How::Stop);
    }

    void AStopForACause()
    {
        Bench<Chargeur> bench;
        bench.Begin();
        bench.window.StopFor(QStringLiteral("mise en veille"));
        bench.CheckEnd(RunEnd::How::Cause, QStringLiteral("mise en veille"));
    }

    void ALeftRun()
    {
        Bench<Chargeur> bench;
        bench.Begin();
        bench.Button("CQuitter")->click();
        bench.CheckEnd(RunEnd::How::Left);
    }

    void AStartInARun()
    {
        Bench<Chargeur> bench;
        bench.Begin();
        bench.Button("CBstart")->click();
        bench.CheckEnd(RunEnd::How::Restart);
        SOON(bench.heard.begun == 2);
        QVERIFY(bench.news.On());
    }

    void ABoardThatIsSilentForTooLong()
    {
        Bench<Chargeur> bench;
        bench.Begin();
        bench.HoldBack(6);
        Simulated().Run(20s);
        bench.CheckEnd(RunEnd::How::Error, QStringLiteral("la carte n'a fourni aucune mesure"));
        AnswerBoxes();
    }
};

REGISTER_TEST(TestRunNews)
#include "tst_runnews.moc"
