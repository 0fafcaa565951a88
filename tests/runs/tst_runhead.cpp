// SPDX-License-Identifier: GPL-3.0-or-later
#include "capacity/mescapa.h"
#include "runbench.h"
#include "runs/chargeur.h"
#include "runs/dechargeur.h"
#include "runs/runhead.h"
#include "runs/runlamp.h"
#include "support/boxes.h"
#include "support/suite.h"

#include <QDesktopServices>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
/// The head and the state of a window whose runs are told by hand.
struct Head
{
    explicit Head(RunNews::Kind kind) : news(kind)
    {
        auto *column = new QVBoxLayout(&window);
        column->addWidget(head);
        column->addWidget(lamp);
        column->addWidget(word);
        head->Watch(news);
        lamp->Watch(news, *word);
        window.show();
    }
    QString Text(const char *name) { return window.findChild<QLabel *>(QLatin1String(name))->text(); }
    bool Shows(const char *name) { return window.findChild<QWidget *>(QLatin1String(name))->isVisible(); }
    QToolButton *Button(const char *name) { return window.findChild<QToolButton *>(QLatin1String(name)); }
    QColor InkOf(const char *name)
    {
        return window.findChild<QLabel *>(QLatin1String(name))->palette().color(QPalette::WindowText);
    }
    void Tell(double volts, double amperes, double milliampereHours, double temperature, int resistance = 0)
    {
        RunPoint point;
        point.volts = volts;
        point.amperes = amperes;
        point.milliampereHours = milliampereHours;
        point.temperature = temperature;
        point.resistance = resistance;
        news.Tell(point);
    }

    const SimulatedClock clock;
    RunNews news;
    QWidget window;
    RunHead *head = new RunHead(&window);
    RunLamp *lamp = new RunLamp(&window);
    QLabel *word = new QLabel(QStringLiteral("CHARGE"), &window);
};

/// Takes the place of the system where a folder is opened.
class Opener : public QObject
{
    Q_OBJECT

public:
    Opener() { QDesktopServices::setUrlHandler(QStringLiteral("file"), this, "Open"); }
    ~Opener() override { QDesktopServices::unsetUrlHandler(QStringLiteral("file")); }
    QStringList opened;

public Q_SLOTS:
    void Open(const QUrl &url) { opened.append(url.toLocalFile()); }
};
} // namespace

/// What the head of a run window shows: the present moment, then what the run was.
class TestRunHead : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void TheMomentIsShownInLarge()
    {
        Head head(RunNews::Kind::Charge);
        for (const char *name : {"tension", "courant", "capacite", "temperature"})
            QCOMPARE(head.Text(name), QStringLiteral("–"));
        head.news.Begin({});
        head.Tell(5.9, 1.924, 1480.9, 31);
        QCOMPARE(head.Text("tension"), QStringLiteral("5.90"));
        QCOMPARE(head.Text("courant"), QStringLiteral("1.92"));
        QCOMPARE(head.Text("capacite"), QStringLiteral("1480"));
        QCOMPARE(head.Text("temperature"), QStringLiteral("31"));
        QVERIFY(head.window.findChild<QLabel *>(QStringLiteral("tension"))->fontInfo().pixelSize() >
                head.word->fontInfo().pixelSize() * 3 / 2);
    }

    void WhatIsNotMeasuredIsADash()
    {
        Head head(RunNews::Kind::Charge);
        head.news.Begin({});
        head.Tell(5.9, 1.92, 0, std::numeric_limits<double>::quiet_NaN());
        QCOMPARE(head.Text("temperature"), QStringLiteral("–"));
        RunPoint uncalibrated;
        uncalibrated.volts = 5.9;
        uncalibrated.currentKnown = false;
        head.news.Tell(uncalibrated);
        QCOMPARE(head.Text("tension"), QStringLiteral("5.90"));
        QCOMPARE(head.Text("courant"), QStringLiteral("–"));
        QCOMPARE(head.Text("capacite"), QStringLiteral("–"));
    }

    void AChargeWithoutACalibrationOfTheCurrentHasNone()
    {
        RunBench<Chargeur> bench;
        bench.link.SlaveEeprom[0] = bench.link.SlaveEeprom[1] = 0;
        bench.Button("CBstart")->click();
        SOON(bench.Text("tension") == QStringLiteral("5.12"));
        QCOMPARE(bench.Text("courant"), QStringLiteral("–"));
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QCOMPARE(bench.Text("bilanCapacite"), QStringLiteral("–"));
    }

    void WhatIsNoLongerTrueIsGrey()
    {
        Head head(RunNews::Kind::Capacity);
        const QColor grey = Ink(Tone::Quiet, head.window.palette());
        const QColor plain = head.window.palette().color(QPalette::WindowText);
        head.news.Begin({});
        head.Tell(5.9, 1.92, 10, 31);
        QCOMPARE(head.InkOf("tension"), plain);
        head.news.BeginPhase(QStringLiteral("Pause"));
        QCOMPARE(head.InkOf("tension"), grey);
        head.Tell(5.9, 1.92, 10, 31);
        QCOMPARE(head.InkOf("tension"), plain);
        head.news.End(RunEnd::How::Stop);
        head.Button("CbFermerBilan")->click();
        QVERIFY(head.Shows("tension"));
        QCOMPARE(head.Text("tension"), QStringLiteral("5.90"));
        QCOMPARE(head.InkOf("tension"), grey);
    }

    void TheCardSaysWhatTheRunWas()
    {
        Head head(RunNews::Kind::Charge);
        QVERIFY(!head.Shows("bilan"));
        head.news.Begin({});
        head.news.SetLog(QStringLiteral("/drive/temp/St_CH_D03_14_26T15_09.txt"));
        Simulated().Run(30min);
        head.Tell(5.9, 1.92, 700, 38);
        Simulated().Run(42min);
        head.Tell(5.9, 1.92, 1480.9, 36);
        head.news.End(RunEnd::How::Rule);
        QVERIFY(head.Shows("bilan") && !head.Shows("tension"));
        QCOMPARE(head.Text("bilanDuree"), QStringLiteral("1 h 12"));
        QCOMPARE(head.Text("bilanCapacite"), QStringLiteral("1480"));
        QCOMPARE(head.Text("bilanTemperature"), QStringLiteral("38"));
        QVERIFY(!head.window.findChild<QLabel *>(QStringLiteral("bilanResistance"))); // a charge measures none
        QCOMPARE(head.Text("bilanCause"), QStringLiteral("Charge terminée"));
        QCOMPARE(head.Text("bilanJournal"), QStringLiteral("St_CH_D03_14_26T15_09.txt"));
    }

    void OfACapacityMeasurementTheLastWholeDischargeCounts()
    {
        Head head(RunNews::Kind::Capacity);
        head.news.Begin({});
        head.Tell(5.9, 1.92, 900, 38);
        head.news.BeginPhase(QStringLiteral("Decharge"));
        head.Tell(4.9, -1.5, 1850, 36, 99);
        head.news.BeginPhase(QStringLiteral("Charge"));
        head.Tell(5.9, 1.92, 1900, 36, 99);
        head.news.End(RunEnd::How::Rule);
        QCOMPARE(head.Text("bilanCapacite"), QStringLiteral("1850"));
        QCOMPARE(head.Text("bilanResistance"), QStringLiteral("99"));
    }

    void TheCauseIsOnTheCard_data()
    {
        QTest::addColumn<RunEnd::How>("how");
        QTest::addColumn<QString>("why");
        QTest::addColumn<QString>("said");
        QTest::addColumn<Tone>("tone");
        using enum RunEnd::How;
        QTest::addColumn<QString>("reason");
        QTest::newRow("rule") << Rule << "" << "Décharge terminée" << Tone::Good << "";
        QTest::newRow("the user") << Stop << "" << "Décharge arrêtée" << Tone::Plain << "";
        QTest::newRow("limit") << Cause << "température 60 °C (limite 60 °C)"
                               << "Décharge arrêtée" << Tone::Danger << "Température 60 °C (limite 60 °C)";
        QTest::newRow("error") << Error << "port fermé" << "Décharge interrompue" << Tone::Danger << "Port fermé";
        QTest::newRow("left") << Left << "" << "Décharge laissée" << Tone::Caution << "";
    }
    void TheCauseIsOnTheCard()
    {
        QFETCH(RunEnd::How, how);
        QFETCH(QString, why);
        QFETCH(Tone, tone);
        Head head(RunNews::Kind::Discharge);
        head.news.Begin({});
        head.news.End(how, why);
        QTEST(head.Text("bilanCause"), "said");
        QTEST(head.Text("bilanRaison"), "reason");
        QCOMPARE(head.InkOf("bilanCause"), Ink(tone, head.window.palette()));
        QCOMPARE(head.Text("bilanJournal"), QStringLiteral("sans journal"));
        QVERIFY(!head.Button("CbDossier")->isEnabled());
    }

    void TheCardStaysUntilTheNextStart()
    {
        Head head(RunNews::Kind::Charge);
        head.news.Begin({});
        head.Tell(5.9, 1.92, 900, 38);
        head.news.End(RunEnd::How::Stop);
        head.window.hide();
        head.window.show();
        QVERIFY(head.Shows("bilan"));
        head.news.Begin({});
        QVERIFY(!head.Shows("bilan"));
        QCOMPARE(head.Text("tension"), QStringLiteral("–"));
        head.news.End(RunEnd::How::Restart); // the next one is about to begin
        QVERIFY(!head.Shows("bilan"));
        head.news.Begin({});
        head.news.End(RunEnd::How::Stop);
        QCOMPARE(head.Text("bilanTemperature"), QStringLiteral("–")); // it sums up its own run
    }

    void NothingMovesWhenTheCardComesAndGoes()
    {
        Head head(RunNews::Kind::Capacity);
        head.window.resize(680, head.window.height()); // as wide as the narrowest of the three
        Simulated().Run(100ms);
        const QRect place = head.head->geometry();
        const QRect below = head.word->geometry();
        head.news.Begin({});
        head.news.SetLog(QStringLiteral("/drive/log/Capa_Bat_D03_14_26T15_09.txt"));
        head.news.End(RunEnd::How::Cause, QString(300, u'x'));
        Simulated().Run(100ms);
        QCOMPARE(head.head->geometry(), place);
        head.Button("CbFermerBilan")->click();
        Simulated().Run(100ms);
        QCOMPARE(head.head->geometry(), place);
        QCOMPARE(head.word->geometry(), below);
    }

    void TheFolderOfTheLogIsOpened()
    {
        Opener opener;
        Head head(RunNews::Kind::Charge);
        head.news.Begin({});
        head.news.SetLog(QStringLiteral("/drive/été/St_CH_D03_14_26T15_09.txt"));
        head.news.End(RunEnd::How::Rule);
        head.Button("CbDossier")->click();
        QCOMPARE(opener.opened, QStringList(QStringLiteral("/drive/été")));
    }

    void AFolderThatNothingOpensIsNamed()
    {
        Head head(RunNews::Kind::Charge);
        head.news.Begin({});
        head.news.SetLog(QStringLiteral("/drive/temp/St_CH_D03_14_26T15_09.txt"));
        head.news.End(RunEnd::How::Rule);
        head.Button("CbDossier")->click(); // nothing here opens folders
        QCOMPARE(BoxTexts(), QStringList(QStringLiteral(
                                 "Aucun gestionnaire de fichiers ne s'est ouvert. Le dossier est :\n/drive/temp")));
        AnswerBoxes();
    }

    void TheLampTellsByItsShape_data()
    {
        QTest::addColumn<RunEnd::How>("how");
        QTest::addColumn<RunLamp::Shape>("shape");
        QTest::addColumn<Tone>("tone");
        using enum RunEnd::How;
        using enum RunLamp::Shape;
        QTest::newRow("rule") << Rule << Tick << Tone::Good;
        QTest::newRow("the user") << Stop << Square << Tone::Plain;
        QTest::newRow("limit") << Cause << Triangle << Tone::Danger;
        QTest::newRow("error") << Error << Triangle << Tone::Danger;
        QTest::newRow("left") << Left << Ring << Tone::Plain;
    }
    void TheLampTellsByItsShape()
    {
        QFETCH(RunEnd::How, how);
        QFETCH(RunLamp::Shape, shape);
        QFETCH(Tone, tone);
        Head head(RunNews::Kind::Charge);
        const auto ink = [&head] { return head.word->palette().color(QPalette::WindowText); };
        QVERIFY(head.lamp->Shown() == RunLamp::Shape::Ring);
        head.news.Begin({});
        QVERIFY(head.lamp->Shown() == RunLamp::Shape::Disc);
        QCOMPARE(ink(), Ink(Tone::Caution, head.window.palette()));
        head.news.End(how);
        QVERIFY(head.lamp->Shown() == shape);
        QCOMPARE(ink(), Ink(tone, head.window.palette()));
        head.window.hide();
        head.window.show();
        QVERIFY(head.lamp->Shown() == RunLamp::Shape::Ring); // its window opens anew
    }

    void AChargeFillsItAsItGoes()
    {
        RunBench<Chargeur> bench;
        const QRect head = bench.Find<QWidget>("releves")->geometry();
        bench.Button("CBstart")->click();
        SOON(bench.Text("tension") == QStringLiteral("5.12"));
        QCOMPARE(bench.Text("courant"), QStringLiteral("1.50"));
        QCOMPARE(bench.Text("temperature"), QStringLiteral("25"));
        QVERIFY(bench.Find<RunLamp>("temoin")->Shown() == RunLamp::Shape::Disc);
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QVERIFY(bench.Find<QWidget>("bilan")->isVisible());
        QCOMPARE(bench.Text("bilanCause"), QStringLiteral("Charge arrêtée"));
        QCOMPARE(bench.Text("bilanJournal"), QFileInfo(bench.window.LogPath()).fileName());
        QCOMPARE(bench.Find<QWidget>("releves")->geometry(), head);
    }

    void TheWindowsFitASmallScreenWithTheirCurve()
    {
        constexpr QSize room(1024, 768 - 60); // without title bar and panel
        RunBench<Chargeur> charge;
        Kept<Dechargeur> discharge(charge.link);
        Kept<MesCapa> capacity(charge.link);
        discharge.Open();
        capacity.Open();
        for (QMainWindow *window : std::initializer_list<QMainWindow *>{&charge.window, &discharge, &capacity}) {
            window->findChild<QToolButton *>(QStringLiteral("CbCourbe"))->click();
            QVERIFY(window->findChild<QWidget *>(QStringLiteral("Courbe"))->isVisible());
            const QSize least = window->minimumSizeHint();
            QVERIFY2(
                least.width() <= room.width() && least.height() <= room.height(),
                qPrintable(
                    QStringLiteral("%1: %2 x %3").arg(window->objectName()).arg(least.width()).arg(least.height())));
        }
    }

    void WhatNeedsItIsExplained()
    {
        RunBench<Chargeur> charge;
        const Kept<Dechargeur> discharge(charge.link);
        const Kept<MesCapa> capacity(charge.link);
        const std::map<const QWidget *, QStringList> explained{
            {&charge.window,
             {"Label28", "Label31", "Text1", "Label32", "Check1", "Label23", "Label25", "Slider2", "Label24", "Slider3",
              "mesureCharge", "cadCharge", "mesureAlim", "cadAlim", "temperatureMaxActive", "dureeMax", "capaciteMax"}},
            {&discharge, {"Label21", "Text1", "Label28", "mesureDecharge", "cadDecharge", "temperatureMax"}},
            {&capacity, {"Label23", "TxNbElem", "TxNbrCycles", "TxMode", "mesureCharge", "cadCharge", "capaciteMax"}}};
        for (const auto &[window, names] : explained)
            for (const QString &name : names) {
                const auto *control = window->findChild<QWidget *>(name);
                QVERIFY2(control && control->toolTip().size() > 20, qPrintable(window->objectName() + u'.' + name));
            }
    }

    void TheRawCountsStandInAColumnOfTheirOwn_data()
    {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("count");
        const auto row = [](const char *value, const char *count) { QTest::newRow(value) << value << count; };
        row("Label11", "Label10");
        row("Label17", "Label16");
        row("Label6", "Label4");
        row("Label7", "Label5");
        row("Label9", "Label8");
    }
    void TheRawCountsStandInAColumnOfTheirOwn()
    {
        QFETCH(QString, value);
        QFETCH(QString, count);
        RunBench<Dechargeur> bench;
        const auto place = [&bench](const QString &name) {
            QLabel *const label = bench.Find<QLabel>(qUtf8Printable(name));
            return QRect(label->mapTo(label->window(), QPoint()), label->size());
        };
        const QString frame = bench.Find<QLabel>(qUtf8Printable(value))->parentWidget()->objectName();
        const QString suffix = frame == QLatin1String("Frame3") ? QStringLiteral("Decharge") : QStringLiteral("Alim");
        QCOMPARE(bench.Text(qUtf8Printable(QStringLiteral("mesure") + suffix)), QStringLiteral("Mesure"));
        QCOMPARE(bench.Text(qUtf8Printable(QStringLiteral("cad") + suffix)), QStringLiteral("CAD"));
        QCOMPARE(place(value).right(), place(QStringLiteral("mesure") + suffix).right());
        QCOMPARE(place(count).right(), place(QStringLiteral("cad") + suffix).right());
        QVERIFY(place(value).right() < place(count).left());
        QCOMPARE(place(value).top(), place(count).top());
    }
};

REGISTER_TEST(TestRunHead)
#include "tst_runhead.moc"
