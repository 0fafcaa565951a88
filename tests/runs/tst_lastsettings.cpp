// SPDX-License-Identifier: GPL-3.0-or-later
#include "runbench.h"
#include "runs/chargeur.h"
#include "runs/dechargeur.h"
#include "runs/lastsettings.h"
#include "support/suite.h"

namespace {
struct Bench : RunBench<Dechargeur>
{
    LastSettings *Offer() { return Find<LastSettings>("CbReprendre"); }
    void StartAndStop()
    {
        Button("CBstart")->click();
        SOON(window.News().On());
        Button("CBStop")->click();
        SOON_EQUAL(Text("Label18"), QStringLiteral("Arret"));
    }
    void OpenAgain()
    {
        window.close();
        window.Open();
        SOON(Rests());
        board.TakeReceived();
    }
};
} // namespace

/// The settings of the last start, which are offered.
class TestLastSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void NothingIsOfferedAtFirst()
    {
        Bench bench;
        QVERIFY(!bench.Offer()->isVisible());
    }

    void TheSettingsOfTheLastStartAreOfferedNotApplied()
    {
        Bench bench;
        bench.SetText("6");
        bench.SliderOf("Slider1")->setValue(120);
        bench.StartAndStop();
        QVERIFY(!bench.Offer()->isVisible()); // they are what the window is set to
        bench.OpenAgain();
        QVERIFY(bench.Offer()->isVisible());
        QCOMPARE(bench.Offer()->text(), QStringLiteral("Reprendre : 2.00 A, 6 éléments"));
        QCOMPARE(bench.SliderOf("Slider1")->value(), 0);
        QCOMPARE(bench.Find<QLineEdit>("Text1")->text(), QString());
        Simulated().Run(5s);
        QCOMPARE(bench.board.Received(), QByteArray());
    }

    void AClickSetsThemAsTheUserWould()
    {
        Bench bench;
        bench.SetText("6");
        bench.SliderOf("Slider1")->setValue(120);
        bench.StartAndStop();
        bench.OpenAgain();
        bench.Offer()->click();
        QCOMPARE(bench.SliderOf("Slider1")->value(), 120);
        QCOMPARE(bench.Find<QLineEdit>("Text1")->text(), QStringLiteral("6"));
        QCOMPARE(bench.Text("Label12"), QStringLiteral("COURANT DE DECHARGE = 2 A"));
        QVERIFY(!bench.Offer()->isVisible());
        SOON_EQUAL(bench.board.Received(), Bytes({27, 20, 120}));
        Simulated().Run(5s);
        QCOMPARE(bench.board.Received(), Bytes({27, 20, 120})); // nothing more
    }

    void OnlyWhatIsSetOtherwiseIsOffered()
    {
        Bench bench;
        bench.SetText("6");
        bench.SliderOf("Slider1")->setValue(120);
        bench.StartAndStop();
        bench.OpenAgain();
        bench.SliderOf("Slider1")->setValue(120);
        QCOMPARE(bench.Offer()->text(), QStringLiteral("Reprendre : 6 éléments"));
        bench.SetText("7");
        QVERIFY(bench.Offer()->isVisible());
        bench.SetText("6");
        QVERIFY(!bench.Offer()->isVisible());
    }

    void NothingIsOfferedDuringARun()
    {
        Bench bench;
        bench.SetText("6");
        bench.SliderOf("Slider1")->setValue(120);
        bench.StartAndStop();
        bench.SetText("5");
        QVERIFY(bench.Offer()->isVisible());
        bench.Button("CBstart")->click();
        SOON(bench.window.News().On());
        bench.SliderOf("Slider1")->setValue(60);
        QVERIFY(!bench.Offer()->isVisible());
    }

    void ASliderThatTheBoardWasNotSentIsNotRemembered()
    {
        Bench bench;
        bench.SetText("6");
        bench.SliderOf("Slider1")->setValue(120);
        bench.StartAndStop();
        bench.OpenAgain();
        bench.SetText("4");
        bench.StartAndStop();
        bench.OpenAgain();
        QCOMPARE(bench.Offer()->text(), QStringLiteral("Reprendre : 2.00 A, 4 éléments"));
    }

    void RunsThatNobodyWatchesLeaveThemAlone()
    {
        Bench bench;
        bench.Offer()->Rest();
        bench.SetText("6");
        bench.SliderOf("Slider1")->setValue(120);
        bench.StartAndStop();
        QVERIFY(!QFileInfo::exists(bench.folder.filePath(QStringLiteral("voltaire.ini"))));
        bench.OpenAgain();
        QVERIFY(!bench.Offer()->isVisible());
    }

    void AChargeOffersItsMode()
    {
        RunBench<Chargeur> bench;
        bench.SetText("1");
        bench.SliderOf("Slider1")->setValue(160);
        bench.Button("CBstart")->click();
        SOON(bench.window.News().On());
        bench.window.close();
        bench.window.Open();
        QCOMPARE(bench.Find<LastSettings>("CbReprendre")->text(), QStringLiteral("Reprendre : 2.00 A, MODE 1"));
    }
};

REGISTER_TEST(TestLastSettings)
#include "tst_lastsettings.moc"
