// SPDX-License-Identifier: GPL-3.0-or-later
#include "runbench.h"
#include "runs/dechargeur.h"
#include "support/controls.h"
#include "support/suite.h"

#include <QSignalSpy>
#include <QtTest>

namespace {
const QByteArray startBytes = Bytes({27, 41, 27, 15, 0, 27, 17, 0, 27, 16, 1, 27, 18, 1});
const QByteArray stopBytes = Bytes({27, 16, 0, 27, 17, 0, 27, 18, 1});
const QByteArray step = Bytes({27, 41, 27, 6, 27, 7, 27, 5, 27, 11, 27, 16, 0, 27, 13, 27, 16, 1});

struct Bench : RunBench<Dechargeur>
{
    /// Six cells: 600 counts are 5.12 V, 0.853 V a cell.
    Bench() { SetText("6"); }
    void Start() { RunBench::Start(startBytes); }
};
} // namespace

class TestDechargeur : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Controls_data()
    {
        AddControls({
            {"Frame1", "QGroupBox", "HORLOGE"},
            {"Frame2", "QGroupBox", "ETAT"},
            {"Frame3", "QGroupBox", "PARAMETRES DECHARGE"},
            {"Frame4", "QGroupBox", "PARAMETRES ALIMENTATIONS"},
            {"Frame5", "QGroupBox", ""},
            {"Label1", "QLabel", nullptr},
            {"Label2", "QLabel", nullptr},
            {"Label3", "QLabel", nullptr},
            {"Label18", "QLabel", "Prêt"},
            {"Label19", "QLabel", "I DeCharge"},
            {"Label10", "QLabel", ""},
            {"Label11", "QLabel", ""},
            {"Label20", "QLabel", "V Batterie"},
            {"Label16", "QLabel", ""},
            {"Label17", "QLabel", ""},
            {"Label28", "QLabel", "V unitaire"},
            {"Label26", "QLabel", ""},
            {"Label30", "QLabel", "DeChrg Totale"},
            {"Label29", "QLabel", "0mAh"},
            {"Label13", "QLabel", "V ALIMENTATION"},
            {"Label14", "QLabel", "V DOUBLEUR"},
            {"Label15", "QLabel", "TEMPERATURE"},
            {"Label4", "QLabel", ""},
            {"Label5", "QLabel", ""},
            {"Label6", "QLabel", ""},
            {"Label7", "QLabel", ""},
            {"Label8", "QLabel", ""},
            {"Label9", "QLabel", ""},
            {"Label21", "QLabel", "Nombre Elements"},
            {"Label12", "QLabel", "COURANT DE DECHARGE = 0.00 A"},
            {"Text1", "QLineEdit", ""},
            {"Slider1", "QSlider", nullptr},
            {"CBstart", "QPushButton", "Demarrage"},
            {"CBStop", "QPushButton", "Arret"},
            {"CQuitter", "QPushButton", "Retour"},
        });
    }
    void Controls()
    {
        RunBench<Dechargeur> bench;
        CheckControl(bench.window);
    }

    void OpensReadyWhereTheMainWindowWas()
    {
        Bench bench;
        QCOMPARE(bench.window.objectName(), QStringLiteral("Dechargeur"));
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("DECHARGEUR"));
        QCOMPARE(bench.Text("Label18"), QStringLiteral("Prêt"));
        QCOMPARE(bench.SliderOf("Slider1")->minimum(), 0);
        QCOMPARE(bench.SliderOf("Slider1")->maximum(), 255);
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QVERIFY(!bench.TimerOf("Timerch2")->Enabled());
        bench.window.hide();
        bench.link.MainLeft = 120;
        bench.link.MainTop = 80;
        bench.window.Open();
        QCOMPARE(bench.window.pos(), QPoint(120, 80));
        bench.SliderOf("Slider1")->setValue(9); // comes after all that the opening may have sent
        SOON_EQUAL(bench.board.Received(), Bytes({27, 20, 9}));
    }

    void StartAndStep()
    {
        Bench bench;
        QByteArray clock = Bytes({27, 10, 0, 0, 0});
        bench.board.On(41, 0, [&clock](const QByteArray &) { return std::exchange(clock, Bytes({27, 11, 0, 0, 0})); });
        bench.Start();
        QCOMPARE(bench.Text("Label18"), QStringLiteral("DECHARGE"));
        QVERIFY(QFileInfo(bench.window.LogPath()).fileName().startsWith(QLatin1String("S_DCH_D")));
        SOON(bench.Records() >= 2);
        QCOMPARE(bench.board.Received().left(2 * step.size()), step + step);
        QCOMPARE(bench.Text("Label1"), QStringLiteral("01"));
        QCOMPARE(bench.Text("Label2"), QStringLiteral("00"));
        QCOMPARE(bench.Text("Label3"), QStringLiteral("00"));
        QCOMPARE(bench.Text("Label4"), QStringLiteral(" 800"));
        QCOMPARE(bench.Text("Label6"), QStringLiteral(" 13.65V"));
        QCOMPARE(bench.Text("Label5"), QStringLiteral(" 900"));
        QCOMPARE(bench.Text("Label7"), QStringLiteral(" 23.04V"));
        QCOMPARE(bench.Text("Label8"), QStringLiteral(" 575"));
        QCOMPARE(bench.Text("Label9"), QStringLiteral(" 25"));
        QCOMPARE(bench.Text("Label10"), QStringLiteral(" 500"));
        QCOMPARE(bench.Text("Label11"), QStringLiteral(" 2A"));
        QCOMPARE(bench.Text("Label16"), QStringLiteral(" 600"));
        QCOMPARE(bench.Text("Label17"), QStringLiteral(" 5.12V"));
        QCOMPARE(bench.Text("Label26"), QStringLiteral(" 0.853"));
        QCOMPARE(bench.Text("Label29"), QStringLiteral(" 2000 mAh"));
        const QByteArrayList lines = bench.Log().split('\n');
        QCOMPARE(lines.at(0), QByteArray("DUREE:VALIMCAD:VDBLCAD:TEMPCAD:VALIM:VDBL:TEMPER:"
                                         "IDCHRGCAD:VDELTACAD:ICHRG:VBAT:CAPACITE:TEMPS\r"));
        QCOMPARE(lines.at(1), QByteArray("\r"));
        QCOMPARE(lines.at(2), QByteArray(" 3600 : 800 : 900 : 575 : 13.65 : 23.04 : 25 : 500 : 600 : 2 : 5.12 : 2000 "
                                         ": 0.0416666666666667 \r"));
    }

    void UncalibratedQuantitiesKeepTheirFormerValues()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        for (const size_t i : {0, 1, 9, 10, 11, 12})
            bench.link.MasterEeprom[i] = 0;
        bench.link.SlaveEeprom[2] = bench.link.SlaveEeprom[3] = 0;
        bench.board.channel = {{6, 801}, {7, 901}, {5, 500}, {11, 501}, {13, 600}};
        const auto before = bench.Records();
        SOON(bench.Records() >= before + 2);
        QVERIFY(bench.Log().endsWith(" 0 : 801 : 901 : 500 : 13.65 : 23.04 : 25 : 501 : 600 : 2 : 5.12 : 0 : 0 \r\n"));
        QCOMPARE(bench.Text("Label10"), QStringLiteral(" 501"));
        QCOMPARE(bench.Text("Label11"), QStringLiteral(" 2A"));
    }

    void LimitIsJudgedByTheTenths_data()
    {
        QTest::addColumn<double>("voltsPerCell");
        QTest::addColumn<bool>("atLimit");
        QTest::newRow("0.508") << 0.508 << false;
        QTest::newRow("0.5") << 0.5 << false;
        QTest::newRow("0.498") << 0.498 << true;
        QTest::newRow("0.499") << 0.499 << true;
        QTest::newRow("0") << 0.0 << true;
        QTest::newRow("negative") << -0.1 << true;
    }
    void LimitIsJudgedByTheTenths()
    {
        QFETCH(double, voltsPerCell);
        QTEST(Dechargeur::AtLimit(voltsPerCell), "atLimit");
    }

    void EndsBelowHalfAVoltPerCell()
    {
        Bench bench;
        QSignalSpy ended(&bench.window, &RunWindow::Ended);
        bench.Start();
        bench.board.channel[13] = 358; // 3.05 V, 0.508 V a cell
        SOON_EQUAL(bench.Text("Label26"), QStringLiteral(" 0.508"));
        const auto records = bench.Records();
        SOON(bench.Records() >= records + 2);
        QCOMPARE(bench.Text("Label18"), QStringLiteral("DECHARGE"));
        bench.board.channel[13] = 351; // 2.99 V
        SOON_EQUAL(ended.size(), 1);
        QCOMPARE(bench.Text("Label17"), QStringLiteral(" 2.99V"));
        QCOMPARE(bench.Text("Label26"), QStringLiteral(" 0.498"));
        QCOMPARE(bench.Text("Label18"), QStringLiteral("Limite Dech."));
        QVERIFY(bench.board.Received().endsWith(step + stopBytes));
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QVERIFY(bench.Log().endsWith(": 351 : 2 : 2.99 : 0 : 0 \r\n"));
        // A new start opens a new run.
        bench.board.TakeReceived();
        bench.board.channel[13] = 600;
        bench.Start();
        SOON(bench.Records() >= 1);
        QCOMPARE(bench.Text("Label18"), QStringLiteral("DECHARGE"));
    }

    void CurrentSlider()
    {
        Bench bench;
        bench.SliderOf("Slider1")->setValue(100);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 20, 100}));
        QCOMPARE(bench.Text("Label12"), QStringLiteral("COURANT DE DECHARGE = 1.66 A"));
        bench.link.SlaveEeprom[5] = 0;
        bench.SliderOf("Slider1")->setValue(7);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 20, 100, 27, 20, 7}));
        QCOMPARE(bench.Text("Label12"), QStringLiteral("COURANT DE DECHARGE = 1.66 A"));
    }

    void StopBetweenSteps()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        SOON(bench.TimerOf("Timerchargeur")->Enabled());
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QCOMPARE(bench.board.Received(), stopBytes);
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
    }

    void StopInMidStep_data()
    {
        QTest::addColumn<int>("heldChannel");
        for (const int channel : {6, 7, 5, 11, 13})
            QTest::addRow("channel %d", channel) << channel;
    }
    void StopInMidStep()
    {
        QFETCH(int, heldChannel);
        Bench bench;
        bench.Start();
        bench.HoldBack(heldChannel);
        const QByteArray question = Bytes({27, heldChannel});
        SOON(bench.board.Received().endsWith(question));
        const auto records = bench.Records();
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        bench.board.Send(Bytes({27, 1, 1, 0}));
        const QByteArray rest = step.mid(step.indexOf(question) + 2);
        // First the stop, then what is left of the step but for its switching on again, then a look whether all is off.
        SOON_EQUAL(bench.board.Received(),
                   stopBytes + QByteArray(rest).replace(Bytes({27, 16, 1}), "") + Bytes({27, 31, 27, 31}));
        QVERIFY(bench.Rests());
        QVERIFY(!bench.board.DischargeOn());
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QCOMPARE(bench.Text("Label18"), QStringLiteral("Arret"));
        QCOMPARE(bench.Records(), records);
        QVERIFY(BoxTexts().isEmpty());
    }

    void ReturnEndsTheDischargeWithoutWaiting()
    {
        Bench bench;
        QSignalSpy returning(&bench.window, &Window::Returning);
        bench.Start();
        SOON(bench.Records() >= 1);
        SOON(bench.TimerOf("Timerchargeur")->Enabled());
        bench.board.TakeReceived();
        bench.board.SetSilent(true);
        bench.Button("CQuitter")->click();
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(returning.size(), 1);
        QCOMPARE(bench.link.ReconnectOnActivate, 0);
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        SOON_EQUAL(bench.board.Received(), Bytes({27, 16, 0}));
        // The acknowledgement that nobody took is skipped by the next reply's wait.
        bench.board.SetSilent(false);
        bench.board.Send(Bytes({6}));
        bench.window.Open();
        bench.SetText("6");
        bench.board.TakeReceived();
        bench.Start();
        SOON(bench.Records() >= 1);
    }

    void TheCloseBoxEndsTheDischargeToo()
    {
        Bench bench;
        bench.Start();
        SOON(bench.TimerOf("Timerchargeur")->Enabled());
        bench.board.TakeReceived();
        bench.window.close();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 16, 0}));
        QCOMPARE(bench.link.ReconnectOnActivate, 1);
    }

    void ReturnInMidStepHasTheLastWord()
    {
        Bench bench;
        bench.Start();
        bench.HoldBack(13);
        SOON(bench.board.Received().endsWith(Bytes({27, 13})));
        const auto records = bench.Records();
        bench.board.TakeReceived();
        bench.Button("CQuitter")->click();
        bench.board.Send(Bytes({27, 2, 2, 0}));
        QVERIFY(bench.Rests());
        QVERIFY(bench.board.Received().startsWith(Bytes({27, 16, 0, 27, 31})));
        QVERIFY(!bench.board.Received().contains(Bytes({27, 16, 1})));
        QVERIFY(!bench.board.DischargeOn() && !bench.link.outputs.Unconfirmed());
        QCOMPARE(bench.Records(), records);
    }

    void NoCellsAreADivisionByZero_data()
    {
        QTest::addColumn<QString>("cells");
        QTest::newRow("empty") << "";
        QTest::newRow("no number") << "six";
        QTest::newRow("zero") << "0";
    }
    void NoCellsAreADivisionByZero()
    {
        QFETCH(QString, cells);
        Bench bench;
        bench.SetText(qPrintable(cells));
        bench.Button("CBstart")->click();
        SOON_EQUAL(BoxTexts().size(), 1);
        QVERIFY(BoxTexts()[0].startsWith(QStringLiteral("Division par zéro : ")));
        // The step got as far as the battery's voltage; then everything is switched off.
        SOON_EQUAL(bench.board.Received(), startBytes + step.left(step.size() - 3) + stopBytes);
        QCOMPARE(bench.Records(), 0);
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
    }

    void FatalErrors_data()
    {
        QTest::addColumn<int>("channel");
        for (const int channel : {6, 7, 5, 11, 13})
            QTest::addRow("high byte 128 of channel %d", channel) << channel;
        QTest::addRow("battery divisor 0") << 0;
    }
    void FatalErrors()
    {
        QFETCH(int, channel);
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        if (channel == 0)
            bench.link.SlaveEeprom[6] = bench.link.SlaveEeprom[7] = 0;
        else
            bench.board.channel[channel] = 128 * 256;
        SOON_EQUAL(BoxTexts().size(), 1);
        QVERIFY(BoxTexts()[0].startsWith(channel == 0 ? QStringLiteral("Division par zéro : ")
                                                      : QStringLiteral("Dépassement de capacité : ")));
        SOON(bench.board.Received().endsWith(stopBytes));
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
    }

    void FractionsOfCellsAreTaken()
    {
        Bench bench;
        bench.SetText("2.5");
        bench.Start();
        SOON_EQUAL(bench.Text("Label26"), QStringLiteral(" 2.048"));
    }
};

REGISTER_TEST(TestDechargeur)
#include "tst_dechargeur.moc"
