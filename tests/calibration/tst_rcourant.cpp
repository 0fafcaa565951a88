// SPDX-License-Identifier: GPL-3.0-or-later
#include "calibration/rcourant.h"
#include "currentbench.h"
#include "link/measurement.h"
#include "support/suite.h"

#include <QSpinBox>

namespace {
struct Bench : CurrentBench<Rcourant>
{
    Bench()
    {
        countBox = "RegcText2";
        measuredBox = "courText4";
        settingBox = "courtext3";
        board.channel = {{10, 300}};
    }
};
const QByteArray opening = Bytes({27, 15, 1, 27, 17, 1});
const QByteArray leaving = Bytes({27, 15, 0, 27, 17, 0});
const QByteArray readings = Times(8, {27, 10});
} // namespace

class TestRcourant : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Controls_data()
    {
        AddControls({
            {"RegcText1", "QLineEdit", ""},
            {"RegcText2", "QLineEdit", ""},
            {"courText4", "QLineEdit", ""},
            {"courtext3", "QLineEdit", ""},
            {"courtxt3", "QLineEdit", ""},
            {"Text1", "QLineEdit", ""},
            {"Slcour", "QSlider", nullptr},
            {"Btcalcul", "QPushButton", "Calcul"},
            {"Courset", "QPushButton", "SET"},
            {"Courquit", "QPushButton", "RETOUR"},
        });
    }
    void Controls()
    {
        Bench bench;
        bench.Open();
        CheckControl(bench.window);
    }

    void Captions()
    {
        Bench bench;
        QStringList texts;
        for (const QLabel *label : bench.window.findChildren<QLabel *>())
            texts.append(label->text());
        for (const char *caption : {"Entrer Valeur cad", "Entrer Valeur mesuree (en dizaine mA)", "Entrer valeur Pot",
                                    "Valeur EEprom", "Coef  POTENT", "MULT."})
            QVERIFY2(texts.contains(QLatin1String(caption)), caption);
    }

    void OpeningSwitchesTheChargeOn()
    {
        Bench bench;
        bench.window.Open();
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("Reglage Mesure de courant de charge"));
        QVERIFY(bench.Centred());
        QCOMPARE(bench.Ticker()->objectName(), QStringLiteral("Timercourant"));
        QCOMPARE(bench.Ticker()->Interval(), 300);
        QVERIFY(bench.Ticker()->Enabled());
        QCOMPARE(bench.Find<QSlider>("Slcour")->minimum(), 0);
        QCOMPARE(bench.Find<QSlider>("Slcour")->maximum(), 255);
        SOON_EQUAL(bench.board.Received(), opening);
        SOON_EQUAL(bench.BoxText("RegcText1"), QStringLiteral("Valeur mesurée =  300"));
        QVERIFY(bench.board.Received().startsWith(opening + readings));
    }

    void TheByteBehindACountIsLeftToTheNextRead()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(10, 0);
        bench.BeginTick();
        for (int sample = 1; sample <= 8; ++sample) {
            // A request follows the low byte, before the byte behind it has come.
            SOON_EQUAL(bench.board.Received(), Times(sample, {27, 10}));
            QCOMPARE(bench.BoxText("RegcText1"), QString());
            bench.board.Send(sample == 1 ? Bytes({27, 1, sample}) : Bytes({99, 27, 1, sample}));
        }
        bench.link.RxCount = 77;
        SOON_EQUAL(bench.link.RxCount, qint16(0));
        QCOMPARE(bench.BoxText("RegcText1"), QString());
        bench.board.Send(Bytes({98})); // behind the last count it is taken
        SOON_EQUAL(bench.BoxText("RegcText1"), QStringLiteral("Valeur mesurée =  260")); // 260.5
        QCOMPARE(bench.link.RxByte, quint8(98));
        QCOMPARE(bench.link.com.InBufferCount(), 0);
        QCOMPARE(bench.board.Received(), readings);
    }

    void NothingGoesBetweenTheCounts()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(10, 0);
        bench.BeginTick();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 10}));
        bench.Find<QSlider>("Slcour")->setValue(9);
        bench.board.On(10, 0, [](const QByteArray &) { return Bytes({27, 1, 2, 0}); });
        bench.board.Send(Bytes({27, 1, 2, 0}));
        QCOMPARE(bench.Settled(), readings + Bytes({27, 19, 9}));
    }

    void ATickDuringAReadingIsSkipped()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(10, 0);
        bench.BeginTick();
        bench.BeginTick();
        bench.board.On(10, 0, [](const QByteArray &) { return Bytes({27, 1, 2, 0}); });
        bench.board.Send(Bytes({27, 1, 2, 0}));
        QCOMPARE(bench.Settled(), readings);
    }

    void MovesOfTheSlider()
    {
        Bench bench;
        bench.Open();
        bench.Find<QSlider>("Slcour")->setValue(120);
        QCOMPARE(bench.BoxText("courtext3"), QStringLiteral("120"));
        QCOMPARE(bench.Settled(), Bytes({27, 19, 120}));
        bench.HoldBack(19, 1);
        for (const int value : {130, 140, 150})
            bench.Find<QSlider>("Slcour")->setValue(value);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 130}));
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 130, 27, 19, 150})); // the last one is never lost
        bench.board.Send(Bytes({6}));
        QCOMPARE(bench.Settled(), Bytes({27, 19, 130, 27, 19, 150}));
    }

    void ClicksOnTheSetting_data()
    {
        QTest::addColumn<QByteArray>("typed");
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<bool>("said");
        QTest::newRow("typed") << QByteArray("200") << Bytes({27, 19, 200}) << false;
        QTest::newRow("empty") << QByteArray("") << Bytes({27, 19, 0}) << false;
        QTest::newRow("rounded") << QByteArray("12.6") << Bytes({27, 19, 13}) << false;
        QTest::newRow("too large") << QByteArray("256") << QByteArray() << true;
        QTest::newRow("negative") << QByteArray("-1") << QByteArray() << true;
    }
    void ClicksOnTheSetting()
    {
        QFETCH(QByteArray, typed);
        QFETCH(bool, said);
        Bench bench;
        bench.Open();
        bench.Type("courtext3", typed.constData());
        bench.ClickSetting();
        QTEST(bench.Settled(), "sent");
        QCOMPARE(BoxTexts(),
                 said ? QStringList(QStringLiteral("Dépassement de capacité : valeur Pot")) : QStringList());
        AnswerBoxes();
        QCOMPARE(bench.Tick(), readings); // the program goes on
    }

    void TheSliderFollowsATypedSetting()
    {
        Bench bench;
        bench.Open();
        bench.Find<QSlider>("Slcour")->setValue(50);
        bench.Settled();
        bench.Type("courtext3", "120");
        bench.ClickSetting();
        QCOMPARE(bench.Settled(), Bytes({27, 19, 120})); // once
        QCOMPARE(bench.Find<QSlider>("Slcour")->value(), 120);
        QCOMPARE(bench.Find<QSpinBox>("SlcourBox")->value(), 120);
        QCOMPARE(bench.BoxText("courtext3"), QStringLiteral("120"));
        bench.Find<QSlider>("Slcour")->setValue(50);
        QCOMPARE(bench.Settled(), Bytes({27, 19, 50}));
    }

    void Calculation()
    {
        Bench bench;
        bench.Open();
        bench.Enter("300", "150", "120");
        QCOMPARE(bench.Press("Btcalcul"), QByteArray());
        QCOMPARE(bench.BoxText("courtxt3"), QStringLiteral(" 2048"));
        QCOMPARE(bench.BoxText("Text1"), QStringLiteral(" 80"));
        QVERIFY(OpenBoxes().isEmpty());
        bench.Enter("300", "150", "");
        bench.Press("Btcalcul");
        QCOMPARE(bench.BoxText("Text1"), QStringLiteral(" 0")); // a setting of 0 is accepted
        bench.Enter("20000", "3", "255");
        bench.Press("Btcalcul"); // shows what would not fit
        QCOMPARE(bench.BoxText("courtxt3"), QStringLiteral(" 6826666"));
        QCOMPARE(bench.BoxText("Text1"), QStringLiteral(" 8500"));
        QVERIFY(OpenBoxes().isEmpty());
    }

    void CalculationWithoutValues_data()
    {
        QTest::addColumn<QByteArray>("count");
        QTest::addColumn<QByteArray>("measured");
        QTest::newRow("no count") << QByteArray("0") << QByteArray("150");
        QTest::newRow("nothing measured") << QByteArray("300") << QByteArray("");
        QTest::newRow("nothing") << QByteArray("") << QByteArray("0");
    }
    void CalculationWithoutValues()
    {
        QFETCH(QByteArray, count);
        QFETCH(QByteArray, measured);
        Bench bench;
        bench.Open();
        bench.Enter(count.constData(), measured.constData(), "120");
        bench.Press("Btcalcul");
        QCOMPARE(BoxTexts(), QStringList(QStringLiteral("Valeurs à entrer à 0 ")));
        QCOMPARE(bench.BoxText("courtxt3"), QString());
    }

    void SetWritesAndLeavesTheImageAlone()
    {
        Bench bench;
        bench.Open();
        bench.Enter("300", "150", "120");
        QCOMPARE(bench.Press("Courset"), Bytes({27, 40, 0, 8, 27, 40, 1, 0, 27, 40, 4, 80}));
        QCOMPARE(bench.BoxText("courtxt3"), QStringLiteral(" 2048"));
        QCOMPARE(bench.BoxText("Text1"), QStringLiteral(" 80"));
        QCOMPARE(bench.link.SlaveEeprom, (std::array<quint8, 257>{}));
        // What it is for.
        bench.link.SlaveEeprom[0] = 8;
        bench.link.SlaveEeprom[4] = 80;
        QCOMPARE(measurement::CadChargeAmps(bench.link, 300), 1.5);
        QCOMPARE(measurement::CurrentSettingAmps(120, 80), 1.5);
    }

    void SetDoesNotAskForACount()
    {
        Bench bench;
        bench.Open();
        bench.Enter("", "150", "");
        QCOMPARE(bench.Press("Courset"), Bytes({27, 40, 0, 0, 27, 40, 1, 0, 27, 40, 4, 0}));
        bench.Enter("32767", "1024", "0"); // the largest word
        QCOMPARE(bench.Press("Courset"), Bytes({27, 40, 0, 127, 27, 40, 1, 255, 27, 40, 4, 0}));
    }

    void EachWriteWaitsForASix()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(40, 2);
        bench.Enter("300", "150", "120");
        bench.Find<QPushButton>("Courset")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 40, 0, 8}));
        bench.link.RxCount = 77;
        bench.board.Send(Bytes({27, 0}));
        SOON_EQUAL(bench.link.RxCount, qint16(0));
        QCOMPARE(bench.board.Received(), Bytes({27, 40, 0, 8}));
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 40, 0, 8, 27, 40, 1, 0}));
    }

    void FatalErrors_data()
    {
        QTest::addColumn<QByteArray>("count");
        QTest::addColumn<QByteArray>("measured");
        QTest::addColumn<QByteArray>("setting");
        QTest::addColumn<QString>("said");
        const auto row = [](const char *name, const char *count, const char *measured, const char *setting,
                            const char *said) {
            QTest::newRow(name) << QByteArray(count) << QByteArray(measured) << QByteArray(setting)
                                << QString::fromUtf8(said);
        };
        row("nothing measured", "300", "0", "120", "Division par zéro : courant mesuré");
        row("word of 32768", "32", "1", "0", "Dépassement de capacité : diviseur du courant");
        row("negative word", "-1", "150", "0", "Dépassement de capacité : diviseur du courant");
        row("scale of 256", "300", "100", "256", "Dépassement de capacité : coefficient du potentiomètre");
    }
    void FatalErrors()
    {
        QFETCH(QByteArray, count);
        QFETCH(QByteArray, measured);
        QFETCH(QByteArray, setting);
        QFETCH(QString, said);
        Bench bench;
        bench.Open();
        bench.Ticker()->SetEnabled(true);
        bench.Enter(count.constData(), measured.constData(), setting.constData());
        QCOMPARE(bench.PressFatal("Courset"), leaving);
        QCOMPARE(BoxTexts(), QStringList(said));
        QVERIFY(!bench.Ticker()->Enabled());
        QCOMPARE(bench.End(), 1);
    }

    void ACountThatDoesNotFitIsFatal()
    {
        Bench bench;
        bench.Open();
        bench.board.On(10, 0, [](const QByteArray &) { return Bytes({27, 128, 0, 0}); });
        bench.BeginTick();
        SOON_EQUAL(BoxTexts(), QStringList(QStringLiteral("Dépassement de capacité : mesure de la voie 10")));
        QCOMPARE(bench.Settled(), readings + leaving); // the counts are looked at once all have come
        QCOMPARE(bench.End(), 1);
    }

    void AnErrorOnASilentBoardStillSwitchesOff()
    {
        Bench bench;
        bench.board.SetSilent(true);
        bench.window.Open();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 15, 1}));
        bench.Ticker()->SetEnabled(false);
        bench.Find<QPushButton>("Courset")->click();
        SOON_EQUAL(BoxTexts().size(), 1);
        QCOMPARE(bench.board.Received(), Bytes({27, 15, 1}) + leaving); // what was still to switch on is forgotten
        QCOMPARE(bench.End(), 1);
    }

    void LeavingSwitchesTheChargeOff_data()
    {
        QTest::addColumn<bool>("button");
        QTest::newRow("button") << true;
        QTest::newRow("title bar") << false;
    }
    void LeavingSwitchesTheChargeOff()
    {
        QFETCH(bool, button);
        Bench bench;
        bench.Open();
        bench.HoldBack(10, 0);
        bench.BeginTick();
        bench.Ticker()->SetEnabled(true);
        if (button)
            bench.Find<QPushButton>("Courquit")->click();
        else
            bench.window.close();
        QVERIFY(!bench.window.isVisible());
        QVERIFY(!bench.Ticker()->Enabled());
        bench.board.On(10, 0, [](const QByteArray &) { return Bytes({27, 1, 2, 0}); });
        bench.board.Send(Bytes({27, 1, 2, 0}));
        QCOMPARE(bench.Settled(), Bytes({27, 10}) + leaving); // the count in hand is not torn apart, no other begun
        QCOMPARE(bench.BoxText("RegcText1"), QString());
    }

    void LeavingBeforeTheChargeIsOnLeavesItOff()
    {
        Bench bench;
        bench.window.Open();
        bench.window.close();
        QCOMPARE(bench.Settled(), opening.first(3) + leaving); // what was still to switch on is forgotten
    }

    void LeavingASilentBoardSwitchesOff()
    {
        Bench bench;
        bench.Open();
        bench.board.SetSilent(true);
        bench.BeginTick();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 10}));
        bench.Find<QPushButton>("Courquit")->click();
        QVERIFY(!bench.window.isVisible());
        SOON_EQUAL(bench.board.Received(), Bytes({27, 10}) + leaving);
    }

    void ReopeningAtOnceEndsSwitchedOn()
    {
        Bench bench;
        bench.Open();
        bench.window.close();
        bench.window.Open();
        bench.Ticker()->SetEnabled(false);
        QCOMPARE(bench.Settled(), leaving + opening);
    }

    void ShowsWhatTheBoardHas()
    {
        Bench bench;
        bench.link.SlaveEeprom[0] = 6;
        bench.link.SlaveEeprom[1] = 64;
        bench.link.SlaveEeprom[4] = 50;
        bench.Open();
        QCOMPARE(bench.Text("storedWord"), QStringLiteral(" 1600"));
        QCOMPARE(bench.Text("storedScale"), QStringLiteral(" 50"));
    }
};

REGISTER_TEST(TestRcourant)
#include "tst_rcourant.moc"
