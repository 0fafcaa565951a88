// SPDX-License-Identifier: GPL-3.0-or-later
#include "link/unwatched.h"
#include "runbench.h"
#include "runs/chargeur.h"
#include "runs/runnote.h"
#include "support/controls.h"
#include "support/suite.h"

#include <QScreen>
#include <QSignalSpy>
#include <QtTest>

namespace {
const QByteArray startBytes = Bytes({27, 41, 27, 18, 0, 27, 16, 0, 27, 17, 1, 27, 15, 1, 27, 20, 35});
const QByteArray stopBytes = Bytes({27, 15, 0, 27, 17, 0, 27, 18, 1});
const QByteArray readings = Bytes({27, 41, 27, 6, 27, 7, 27, 5, 27, 10});
const QByteArray interruption = Bytes({27, 15, 0, 27, 17, 0, 27, 18, 1, 27, 16, 1});
const QByteArray battery = Bytes({27, 16, 0, 27, 13, 27, 12});
const QByteArray resumption = Bytes({27, 18, 0, 27, 17, 1, 27, 15, 1});
const QByteArray restStep = readings + interruption + battery + resumption;
const QByteArray plainStep = readings + battery + resumption;
const QByteArray readLines = Bytes({27, 31, 27, 31}); // whether all is off, asked twice

/// What a step still sends when its charge was stopped: nothing that undoes the stop.
QByteArray WithoutSwitchingOn(QByteArray rest)
{
    return rest.replace(Bytes({27, 16, 1}), "").replace(resumption, "");
}

struct Bench : RunBench<Chargeur>
{
    void Start() { RunBench::Start(startBytes); }
    void SetMode(const char *mode) { SetText(mode); }
};
} // namespace

class TestChargeur : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Controls_data()
    {
        AddControls({
            {"Frame1", "QGroupBox", "HORLOGE"},
            {"Frame2", "QGroupBox", "ETAT"},
            {"Frame3", "QGroupBox", "PARAMETRES CHARGE"},
            {"Frame4", "QGroupBox", "PARAMETRES ALIMENTATIONS"},
            {"Frame5", "QGroupBox", ""},
            {"Label1", "QLabel", nullptr},
            {"Label2", "QLabel", nullptr},
            {"Label3", "QLabel", nullptr},
            {"Label18", "QLabel", "Prêt"},
            {"Label13", "QLabel", "V ALIMENTATION"},
            {"Label14", "QLabel", "V DOUBLEUR"},
            {"Label15", "QLabel", "TEMPERATURE"},
            {"Label4", "QLabel", nullptr},
            {"Label5", "QLabel", nullptr},
            {"Label6", "QLabel", nullptr},
            {"Label7", "QLabel", nullptr},
            {"Label8", "QLabel", nullptr},
            {"Label9", "QLabel", nullptr},
            {"Label19", "QLabel", "I Charge"},
            {"Label10", "QLabel", nullptr},
            {"Label11", "QLabel", nullptr},
            {"Label20", "QLabel", "V Batterie"},
            {"Label16", "QLabel", nullptr},
            {"Label17", "QLabel", nullptr},
            {"Label23", "QLabel", "V Delta"},
            {"Label21", "QLabel", nullptr},
            {"Label22", "QLabel", nullptr},
            {"Label28", "QLabel", "Poten."},
            {"Label26", "QLabel", nullptr},
            {"Label27", "QLabel", nullptr},
            {"Label30", "QLabel", "Chrg Totale"},
            {"Label29", "QLabel", "0mAh"},
            {"Label32", "QLabel", "DV/DT"},
            {"Label33", "QLabel", nullptr},
            {"Label34", "QLabel", nullptr},
            {"Check1", "QCheckBox", "DV/DT Mode"},
            {"Label31", "QLabel", "MODE"},
            {"Text1", "QLineEdit", "0"},
            {"Slider1", "QSlider", nullptr},
            {"Slider2", "QSlider", nullptr},
            {"Slider3", "QSlider", nullptr},
            {"Label12", "QLabel", "COURANT DE CHARGE = 0.00 A"},
            {"Label25", "QLabel", "DECALAGE DELTA"},
            {"Label24", "QLabel", "GAIN DELTA"},
            {"CBstart", "QPushButton", "Demarrage"},
            {"CBStop", "QPushButton", "Arret"},
            {"CQuitter", "QPushButton", "Retour"},
        });
    }
    void Controls()
    {
        Bench bench;
        CheckControl(bench.window);
    }

    void OpensReadyAndSendsNothing()
    {
        Bench bench;
        QCOMPARE(bench.window.objectName(), QStringLiteral("Chargeur"));
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("Mode chargeur rapide"));
        QVERIFY(bench.window.isVisible());
        QCOMPARE(bench.Text("Label18"), QStringLiteral("Prêt"));
        for (const char *name : {"Slider1", "Slider2", "Slider3"}) {
            QCOMPARE(bench.SliderOf(name)->minimum(), 0);
            QCOMPARE(bench.SliderOf(name)->maximum(), 255);
        }
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QVERIFY(!bench.TimerOf("Timerch2")->Enabled());
        const QPoint off = bench.window.geometry().center() - bench.window.screen()->availableGeometry().center();
        QVERIFY(qAbs(off.x()) <= 2 && qAbs(off.y()) <= 2);
        // A slider's write comes after all that the opening may have sent.
        bench.SliderOf("Slider1")->setValue(1);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 1}));
    }

    void ANumberThatIsTypedIsSentAsAMoveIs()
    {
        Bench bench;
        auto *const box = bench.Find<QSpinBox>("Slider1Box");
        box->selectAll();
        QTest::keyClicks(box, QStringLiteral("1.5"));
        SOON(bench.Rests());
        QCOMPARE(bench.board.Received(), QByteArray()); // it is not entered yet
        QTest::keyClick(box, Qt::Key_Return);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 120}));
        QCOMPARE(bench.Text("Label12"), QStringLiteral("COURANT DE CHARGE = 1.5 A"));
        QCOMPARE(box->text(), QStringLiteral("1.50 A"));
    }

    void ATrimThatIsNotSentInMidChargeIsUnknown()
    {
        Bench bench;
        auto *const box = bench.Find<QSpinBox>("Slider2Box");
        QCOMPARE(box->text(), QStringLiteral("–"));
        bench.SliderOf("Slider2")->setValue(90);
        QCOMPARE(box->text(), QStringLiteral("90"));
        SOON(bench.Rests());
        bench.board.TakeReceived();
        bench.Start();
        bench.SliderOf("Slider2")->setValue(91);
        QCOMPARE(box->text(), QStringLiteral("–"));
    }

    void StepTimersHaveTheirIntervals()
    {
        Bench bench;
        QCOMPARE(bench.TimerOf("Timerchargeur")->Interval(), 1000);
        QCOMPARE(bench.TimerOf("Timerch2")->Interval(), 5);
    }

    void StartWritesTheRegistersAndOpensTheLog()
    {
        Bench bench;
        bench.Button("CBstart")->click();
        QCOMPARE(bench.Text("Label18"), QStringLiteral("CHARGE"));
        SOON(bench.board.Received().size() >= startBytes.size());
        QCOMPARE(bench.board.Received().left(startBytes.size()), startBytes);
        QVERIFY(QFileInfo(bench.window.LogPath()).fileName().startsWith(QLatin1String("St_CH_D")));
        QVERIFY(bench.Log().startsWith("DUREE:VALIMCAD:VDBLCAD:DVaverage:VALIM:DVFLAG:CDVDT:TEMPER:"
                                       "ICHRGCAD:VBATCAD:VDELTACAD:ICHRG:VBAT:VDELTA:CAPACITE:TEMPS\r\n\r\n"));
    }

    void NoStepBeforeTheStartIsComplete()
    {
        Bench bench;
        bench.board.On(20, 1, [](const QByteArray &) { return QByteArray(); }); // the last write stays unanswered
        bench.Button("CBstart")->click();
        SOON_EQUAL(bench.board.Received(), startBytes);
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        bench.board.Send(Bytes({6}));
        SOON(bench.board.Received().size() > startBytes.size());
    }

    void StepWithTheChargeInterrupted()
    {
        Bench bench;
        QByteArray clock = Bytes({27, 1, 0, 0, 0});
        bench.board.On(41, 0, [&clock](const QByteArray &) { return std::exchange(clock, Bytes({27, 2, 5, 12, 0})); });
        bench.Start();
        SOON(bench.Records() >= 1);
        QCOMPARE(bench.board.Received().left(restStep.size()), restStep);
        QCOMPARE(bench.Text("Label1"), QStringLiteral("01"));
        QCOMPARE(bench.Text("Label2"), QStringLiteral("05"));
        QCOMPARE(bench.Text("Label3"), QStringLiteral(" 12"));
        QCOMPARE(bench.Text("Label4"), QStringLiteral(" 800"));
        QCOMPARE(bench.Text("Label6"), QStringLiteral(" 13.65V"));
        QCOMPARE(bench.Text("Label5"), QStringLiteral(" 900"));
        QCOMPARE(bench.Text("Label7"), QStringLiteral(" 23.04V"));
        QCOMPARE(bench.Text("Label8"), QStringLiteral(" 575"));
        QCOMPARE(bench.Text("Label9"), QStringLiteral(" 25"));
        QCOMPARE(bench.Text("Label10"), QStringLiteral(" 300"));
        QCOMPARE(bench.Text("Label11"), QStringLiteral(" 1.5A"));
        QCOMPARE(bench.Text("Label16"), QStringLiteral(" 600"));
        QCOMPARE(bench.Text("Label17"), QString()); // shown at the end of a block only
        QCOMPARE(bench.Text("Label21"), QStringLiteral(" 700"));
        QCOMPARE(bench.Text("Label22"), QStringLiteral(" 700"));
        // 3912 s at 1.5 A, all counted by the first step
        QCOMPARE(bench.Text("Label29"), QStringLiteral(" 1630 mAh"));
        QCOMPARE(bench.Log().split('\n').at(2),
                 QByteArray(" 3912 : 800 : 900 : 0 : 13.65 : 0 : 0 : 25 : 300 : 600 : 700 : 1.5 : 5.12 : 700 : 1630 "
                            ": 0.0452777777777778 \r"));
    }

    void StepInAnotherMode()
    {
        Bench bench;
        bench.SetMode("3");
        bench.Start();
        SOON(bench.Records() >= 2);
        QCOMPARE(bench.board.Received().left(2 * plainStep.size()), plainStep + plainStep);
    }

    void UncalibratedQuantitiesKeepTheirFormerValues()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        for (const size_t i : {0, 1, 9, 10, 11, 12})
            bench.link.MasterEeprom[i] = 0;
        bench.link.SlaveEeprom[0] = bench.link.SlaveEeprom[1] = 0;
        bench.board.channel = {{6, 801}, {7, 901}, {5, 500}, {10, 301}, {13, 600}, {12, 700}};
        const auto before = bench.Records();
        SOON(bench.Records() >= before + 2);
        QCOMPARE(bench.Text("Label4"), QStringLiteral(" 801"));
        QCOMPARE(bench.Text("Label6"), QStringLiteral(" 13.65V"));
        QCOMPARE(bench.Text("Label5"), QStringLiteral(" 901"));
        QCOMPARE(bench.Text("Label7"), QStringLiteral(" 23.04V"));
        QCOMPARE(bench.Text("Label8"), QStringLiteral(" 500"));
        QCOMPARE(bench.Text("Label9"), QStringLiteral(" 25"));
        QCOMPARE(bench.Text("Label10"), QStringLiteral(" 301"));
        QCOMPARE(bench.Text("Label11"), QStringLiteral(" 1.5A"));
        QCOMPARE(bench.Log().chopped(2).split('\n').last(),
                 QByteArray(" 0 : 801 : 901 : 0 : 13.65 : 0 : 0 : 25 : 301 : 600 : 700 : 1.5 : 5.12 : 700 : 0 : 0 "));
    }

    void HalfACalibrationWordIsEnough()
    {
        Bench bench;
        bench.link.MasterEeprom[9] = 0; // word 88: Int(800 * 1024 / 88) / 100
        bench.Start();
        SOON(bench.Records() >= 1);
        QCOMPARE(bench.Text("Label6"), QStringLiteral(" 93.09V"));
    }

    void EndsByTheFallOfTheDelta()
    {
        Bench bench;
        QSignalSpy ended(&bench.window, &RunWindow::Ended);
        bench.Start();
        SOON(bench.Records() >= 1);
        bench.board.channel[12] = 691;
        auto records = bench.Records();
        SOON(bench.Records() >= records + 3);
        QCOMPARE(bench.Text("Label18"), QStringLiteral("CHARGE"));
        bench.board.channel[12] = 690;
        SOON_EQUAL(ended.size(), 1);
        QCOMPARE(bench.Text("Label18"), QStringLiteral("Charge Terminée"));
        QCOMPARE(bench.Text("Label21"), QStringLiteral(" 690"));
        QCOMPARE(bench.Text("Label22"), QStringLiteral(" 700"));
        // The charge is resumed by the step and then switched off.
        QVERIFY(bench.board.Received().endsWith(restStep + Bytes({27, 17, 0, 27, 15, 0})));
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QVERIFY(bench.Log().endsWith(": 690 : 1.5 : 5.12 : 700 : 0 : 0 \r\n"));
        // "Arret" closes the log and says so.
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QCOMPARE(bench.board.Received(), stopBytes);
    }

    void MovingTheCurrentResetsThePeak()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        QSignalSpy recorded(&bench.window, &RunWindow::Recorded);
        bench.board.channel[12] = 500; // would end the charge
        bench.SliderOf("Slider1")->setValue(120);
        SOON(recorded.size() >= 2);
        QCOMPARE(bench.Text("Label18"), QStringLiteral("CHARGE"));
        QCOMPARE(bench.Text("Label22"), QStringLiteral(" 500"));
        QCOMPARE(bench.Text("Label12"), QStringLiteral("COURANT DE CHARGE = 1.5 A"));
        QVERIFY(bench.board.Received().contains(Bytes({27, 19, 120})));
    }

    void CurrentSliderWorksInEveryState()
    {
        Bench bench;
        bench.SliderOf("Slider1")->setValue(255);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 255}));
        bench.board.TakeReceived();
        QCOMPARE(bench.Text("Label12"), QStringLiteral("COURANT DE CHARGE = 3.18 A"));
        bench.SliderOf("Slider1")->setValue(0);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 0}));
        bench.board.TakeReceived();
        QCOMPARE(bench.Text("Label12"), QStringLiteral("COURANT DE CHARGE = 0 A"));
    }

    void AScaleOfZeroKeepsTheCaption()
    {
        Bench bench;
        bench.link.SlaveEeprom[4] = 0;
        bench.SliderOf("Slider1")->setValue(7);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 7}));
        bench.board.TakeReceived();
        QCOMPARE(bench.Text("Label12"), QStringLiteral("COURANT DE CHARGE = 0.00 A"));
        QVERIFY(BoxTexts().isEmpty());
    }

    void TrimsReadTheDeltaWhileStopped()
    {
        Bench bench;
        bench.SliderOf("Slider2")->setValue(90);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 21, 90, 27, 18, 1, 27, 12, 27, 18, 0}));
        bench.board.TakeReceived();
        QCOMPARE(bench.Text("Label26"), QStringLiteral(" 90"));
        QCOMPARE(bench.Text("Label21"), QStringLiteral(" 700"));
        bench.board.channel[12] = 123;
        bench.SliderOf("Slider3")->setValue(40);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 22, 40, 27, 18, 1, 27, 12, 27, 18, 0}));
        QCOMPARE(bench.Text("Label26"), QStringLiteral(" 90"));
        QCOMPARE(bench.Text("Label21"), QStringLiteral(" 123"));
        QCOMPARE(bench.Text("Label27"), QString());
    }

    void TrimsSendNothingWhileChargingOrEnded()
    {
        Bench bench;
        QSignalSpy ended(&bench.window, &RunWindow::Ended);
        bench.Start();
        bench.SliderOf("Slider2")->setValue(91);
        bench.SliderOf("Slider3")->setValue(92);
        SOON(bench.Records() >= 1);
        bench.board.channel[12] = 0;
        SOON_EQUAL(ended.size(), 1);
        bench.SliderOf("Slider2")->setValue(93);
        bench.SliderOf("Slider3")->setValue(94);
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QVERIFY(!bench.board.Received().contains(Bytes({27, 21})));
        QVERIFY(!bench.board.Received().contains(Bytes({27, 22})));
        QCOMPARE(bench.Text("Label26"), QString());
        // Stopped, they work again.
        bench.board.TakeReceived();
        bench.SliderOf("Slider2")->setValue(95);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 21, 95, 27, 18, 1, 27, 12, 27, 18, 0}));
    }

    void TheLastOfManyMovesIsWhatTheBoardKeeps()
    {
        Bench bench;
        int setting = -1;
        bench.board.On(19, 1, [&setting](const QByteArray &value) {
            setting = static_cast<quint8>(value[0]);
            return Bytes({6});
        });
        for (int value = 1; value <= 200; ++value)
            bench.SliderOf("Slider1")->setValue(value);
        SOON_EQUAL(setting, 200);
        bench.SliderOf("Slider2")->setValue(1); // would come after anything that is still to be sent
        SOON(bench.board.Received().endsWith(Bytes({27, 18, 0})));
        // Sent were the first one and the last one that waited.
        QVERIFY(bench.board.Received().startsWith(Bytes({27, 19, 1, 27, 19, 200, 27, 21, 1})));
    }

    void StopSwitchesOffAndClosesTheLog()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        SOON(bench.TimerOf("Timerchargeur")->Enabled()); // between two steps
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QCOMPARE(bench.board.Received(), stopBytes);
    }

    void AStopForACauseNamesItInTheStateAndBesideTheLog()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        SOON(bench.TimerOf("Timerchargeur")->Enabled());
        Simulated().SetLocalTime(QDateTime(QDate(2026, 11, 22), QTime(3, 4, 5)));
        bench.board.TakeReceived();
        bench.window.StopFor(QStringLiteral("essai"));
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret : essai"));
        QCOMPARE(bench.board.Received(), stopBytes);
        QFile note(runnote::PathOf(bench.window.LogPath()));
        QVERIFY(note.fileName().endsWith(QLatin1String(".note")));
        QVERIFY(note.open(QIODevice::ReadOnly));
        QCOMPARE(note.readAll(), QByteArray("2026-11-22 03:04:05  Arret : essai\n"));
        // The trims may be moved again, as after "Arret".
        bench.board.TakeReceived();
        bench.SliderOf("Slider2")->setValue(95);
        SOON(bench.board.Received().startsWith(Bytes({27, 21, 95})));
    }

    void ASaturatedDeltaIsSaid()
    {
        Bench bench;
        const QString saying = QStringLiteral("V Delta saturé : la fin ne peut pas être détectée");
        bench.board.channel[12] = 1023;
        bench.Start();
        const auto *stop = bench.Button("CBStop");
        const QRect before = stop->geometry();
        SOON_EQUAL(bench.Records(), 9);
        QCOMPARE(bench.Text("saturation"), QString());
        SOON_EQUAL(bench.Records(), 10);
        QCOMPARE(bench.Text("saturation"), saying);
        const auto *label = bench.Find<QLabel>("saturation");
        QVERIFY(label->heightForWidth(label->width()) <= label->height());
        QCOMPARE(stop->geometry(), before);
        bench.board.channel[12] = 1020;
        SOON_EQUAL(bench.Text("saturation"), QString());
        // And no longer than the charge.
        bench.board.channel[12] = 1023;
        SOON_EQUAL(bench.Text("saturation"), saying);
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("saturation"), QString());
    }

    void AStopForACauseWithoutARunDoesNothing()
    {
        Bench bench;
        bench.window.StopFor(QStringLiteral("essai"));
        Simulated().Run(2s);
        QCOMPARE(bench.board.Received(), QByteArray());
        QCOMPARE(bench.Text("Label18"), QStringLiteral("Prêt"));
    }

    void AComputerThatHasSleptEndsTheCharge()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        SOON(bench.TimerOf("Timerchargeur")->Enabled());
        const qsizetype records = bench.Records();
        bench.board.TakeReceived();
        Simulated().Stall(8h);
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret : retour de veille"));
        QCOMPARE(bench.board.Received().left(stopBytes.size()), stopBytes);
        QCOMPARE(bench.Records(), records);
        QVERIFY(BoxTexts().isEmpty());
    }

    void StopWithoutARun()
    {
        Bench bench;
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QCOMPARE(bench.board.Received(), stopBytes);
        QVERIFY(bench.window.LogPath().isEmpty());
    }

    void StopInMidStep_data()
    {
        QTest::addColumn<int>("heldChannel");
        for (const int channel : {6, 7, 5, 10, 13, 12})
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
        const auto soFar = bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        bench.board.Send(Bytes({27, 1, 1, 0}));
        // First the stop, then what is left of the step, then a look whether all is off.
        const QByteArray rest = restStep.mid(restStep.indexOf(question) + 2);
        SOON_EQUAL(bench.board.Received(), stopBytes + WithoutSwitchingOn(rest) + readLines);
        QVERIFY(bench.Rests());
        QVERIFY(!bench.board.ChargeOn() && !bench.board.DischargeOn());
        QVERIFY(!bench.link.outputs.Unconfirmed());
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QCOMPARE(bench.Text("Label18"), QStringLiteral("Arret"));
        QCOMPARE(bench.Records(), records);
        QVERIFY(BoxTexts().isEmpty());
    }

    void StopReachesASilentBoard()
    {
        Bench bench;
        bench.Start();
        bench.HoldBack(10);
        SOON(bench.board.Received().endsWith(Bytes({27, 10})));
        bench.board.TakeReceived();
        bench.Button("CBStop")->click(); // no reply comes: after a quarter of a second the stop goes ahead
        SOON(bench.board.Received().startsWith(stopBytes));
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QVERIFY(bench.link.outputs.Unconfirmed());
        // The step is asked again and ends, switching nothing on, and the board says that all is off.
        bench.board.Healthy();
        SOON(!bench.link.outputs.Unconfirmed());
        QVERIFY(bench.Rests());
        QVERIFY(!bench.board.ChargeOn() && !bench.board.DischargeOn());
        QVERIFY(!bench.board.Received().contains(Bytes({27, 17, 1})));
    }

    void StopInTheSettlingPause()
    {
        Bench bench;
        Alarm later([&bench] { bench.Button("CBStop")->click(); });
        bench.board.On(16, 1, [&later](const QByteArray &value) {
            if (value[0] == 1) // the pause comes after this answer
                later.Start(3ms);
            return Bytes({6});
        });
        bench.Start();
        SOON(bench.board.Received().endsWith(interruption + stopBytes + battery + readLines));
        QVERIFY(!bench.board.ChargeOn() && !bench.board.DischargeOn());
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QCOMPARE(bench.Records(), 0);
    }

    void StopInTheStartLeavesTheChargeOff()
    {
        Bench bench;
        bench.board.On(41, 0, [](const QByteArray &) { return QByteArray(); });
        bench.Button("CBstart")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 41}));
        bench.Button("CBStop")->click();
        bench.board.Send(Bytes({27, 0, 0, 0, 0}));
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QCOMPARE(bench.board.Received(), Bytes({27, 41}) + stopBytes);
        QVERIFY(bench.window.LogPath().isEmpty());
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
    }

    void StopBetweenTheWritesOfAStart()
    {
        Bench bench;
        bench.board.On(17, 1, [](const QByteArray &value) { return value[0] == 1 ? QByteArray() : Bytes({6}); });
        bench.Button("CBstart")->click();
        SOON(bench.board.Received().endsWith(Bytes({27, 17, 1})));
        bench.Button("CBStop")->click();
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QVERIFY(bench.board.Received().endsWith(Bytes({27, 17, 1}) + stopBytes));
    }

    void StartDuringAChargeStartsAnew()
    {
        Bench bench;
        bench.Start();
        bench.HoldBack(10);
        SOON(bench.board.Received().endsWith(Bytes({27, 10})));
        bench.board.TakeReceived();
        QSignalSpy started(&bench.window, &RunWindow::Started);
        bench.Button("CBstart")->click();
        bench.board.Healthy();
        bench.board.Send(Bytes({27, 1, 1, 0}));
        SOON_EQUAL(started.size(), 1);
        SOON(bench.board.Received().size() >= startBytes.size() + 4 + 2 * restStep.size());
        // What is left of the old step only reads; then the new run's steps follow, one at a time.
        QCOMPARE(bench.board.Received().left(startBytes.size() + 4 + 2 * restStep.size()),
                 startBytes + Bytes({27, 13, 27, 12}) + restStep + restStep);
    }

    void StartAfterAStopDropsWhatTheStopStillHadToWrite()
    {
        Bench bench;
        bench.board.On(15, 1, [](const QByteArray &value) { return value[0] == 0 ? QByteArray() : Bytes({6}); });
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 15, 0}));
        bench.board.TakeReceived();
        bench.board.Healthy();
        bench.Button("CBstart")->click();
        bench.board.Send(Bytes({6}));
        SOON(bench.board.Received().size() >= startBytes.size() + restStep.size());
        QCOMPARE(bench.board.Received().left(startBytes.size() + restStep.size()), startBytes + restStep);
        QCOMPARE(bench.Text("Label18"), QStringLiteral("CHARGE"));
    }

    void ASecondRunCountsFromTheFormerElapsedTime()
    {
        Bench bench;
        bench.Start();
        bench.board.minutes = 2; // 120 s at 1.5 A: 50 mAh
        SOON_EQUAL(bench.Text("Label29"), QStringLiteral(" 50 mAh"));
        SOON(bench.TimerOf("Timerchargeur")->Enabled()); // between two steps
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QVERIFY(bench.board.Received().endsWith(stopBytes));
        bench.board.TakeReceived();
        bench.Start();
        SOON(bench.Records() >= 1); // elapsed 0, 120 s less than the former run's last
        QCOMPARE(bench.Text("Label29"), QStringLiteral("-50 mAh"));
        QVERIFY(bench.Log().contains(": 700 :-50 : 0 \r\n"));
    }

    void ANewRunResetsPeakAndIndicator()
    {
        Bench bench;
        bench.Start();
        SOON_EQUAL(bench.Text("Label22"), QStringLiteral(" 700"));
        SOON(bench.TimerOf("Timerchargeur")->Enabled()); // between two steps
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QVERIFY(bench.board.Received().endsWith(stopBytes));
        bench.board.TakeReceived();
        bench.window.findChild<QCheckBox *>(QStringLiteral("Check1"))->setCheckState(Qt::Checked);
        bench.board.channel[12] = 100;
        bench.Start();
        QCOMPARE(bench.window.findChild<QCheckBox *>(QStringLiteral("Check1"))->checkState(), Qt::Unchecked);
        SOON_EQUAL(bench.Text("Label22"), QStringLiteral(" 100"));
        QCOMPARE(bench.Text("Label18"), QStringLiteral("CHARGE"));
    }

    void AClockThatPassesMidnightGoesNegative()
    {
        Bench bench;
        bench.board.hours = 23;
        bench.board.minutes = 59;
        bench.board.seconds = 59;
        bench.Start();
        bench.board.hours = bench.board.minutes = bench.board.seconds = 0;
        SOON(bench.Log().contains("\r\n-86399 :"));
    }

    void BlockValuesAppearAtTheFiftiethStep()
    {
        Bench bench;
        bench.SetMode("1");
        QSignalSpy recorded(&bench.window, &RunWindow::Recorded);
        bool early = false;
        connect(&bench.window, &RunWindow::Recorded, &bench.window, [&] {
            if (recorded.size() < 50)
                early |= !bench.Text("Label17").isEmpty() || !bench.Text("Label33").isEmpty() ||
                         !bench.Text("Label34").isEmpty();
        });
        bench.Start();
        SOON(recorded.size() >= 50);
        QVERIFY(!early);
        QCOMPARE(bench.Text("Label17"), QStringLiteral(" 5.12V"));
        QCOMPARE(bench.Text("Label33"), QStringLiteral(" 10"));
        QCOMPARE(bench.Text("Label34"), QStringLiteral("Avrg 10"));
        const QByteArrayList lines = bench.Log().split('\n');
        QVERIFY(lines.at(2 + 48).startsWith(" 0 : 800 : 900 : 0 : 13.65 : 0 : 0 :"));
        QVERIFY(lines.at(2 + 49).startsWith(" 0 : 800 : 900 : 10 : 13.65 : 0 : 10 :"));
    }

    void TheIndicatorFollowsTheRise()
    {
        Bench bench;
        bench.SetMode("1");
        QSignalSpy recorded(&bench.window, &RunWindow::Recorded);
        const auto *indicator = bench.window.findChild<QCheckBox *>(QStringLiteral("Check1"));
        bench.Start();
        bench.board.minutes = 10;                                                     // late enough for a suspicion
        QVERIFY(Simulated().RunUntil([&] { return recorded.size() >= 400; }, 10min)); // eight flat blocks: Int(20 / 8)
        bench.board.channel[13] = 602;                                                // a rise of up to 100 a block
        SOON_EQUAL(indicator->checkState(), Qt::PartiallyChecked);
        SOON(bench.Log().contains(": 13.65 : 2 :"));
        QVERIFY(Simulated().RunUntil([&] { return indicator->checkState() == Qt::Checked; }, 10min));
        SOON(bench.Log().contains(": 13.65 : 1 :"));
    }

    void FatalErrors_data()
    {
        QTest::addColumn<int>("channel");
        for (const int channel : {6, 7, 5, 10, 13, 12})
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
        SOON(!BoxTexts().isEmpty());
        QCOMPARE(BoxTexts().size(), 1);
        QVERIFY(BoxTexts()[0].startsWith(channel == 0 ? QStringLiteral("Division par zéro : ")
                                                      : QStringLiteral("Dépassement de capacité : ")));
        SOON(bench.board.Received().endsWith(stopBytes));
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QVERIFY(!bench.Button("CBstart")->isEnabled());
    }

    void TheStopWritesOfAnErrorWaitForNoAnswer()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        bench.board.On(12, 0, [&bench](const QByteArray &) {
            bench.board.SetSilent(true);
            return Bytes({27, 200, 0, 0});
        });
        SOON(bench.board.Received().endsWith(Bytes({27, 12}) + stopBytes));
        SOON_EQUAL(BoxTexts().size(), 1);
    }

    void AModeOutOfRangeIsRefusedBeforeAnythingIsSent_data()
    {
        QTest::addColumn<QString>("mode");
        QTest::newRow("256") << "256";
        QTest::newRow("negative") << "-1";
        QTest::newRow("large") << "1e9";
    }
    void AModeOutOfRangeIsRefusedBeforeAnythingIsSent()
    {
        QFETCH(QString, mode);
        Bench bench;
        bench.SetMode(qPrintable(mode));
        bench.Button("CBstart")->click();
        SOON_EQUAL(BoxTexts(), QStringList{QStringLiteral("Dépassement de capacité : MODE")});
        QVERIFY(bench.board.Received().isEmpty());
    }

    void ATextThatIsNoNumberMeansModeZero()
    {
        Bench bench;
        bench.SetMode("abc");
        bench.Start();
        SOON(bench.board.Received().size() >= restStep.size());
        QCOMPARE(bench.board.Received().left(restStep.size()), restStep);
    }

    void ALogThatCannotBeWrittenEndsTheRun()
    {
        Bench bench;
        for (const int minutes : {0, 1})
            QFile::link(QStringLiteral("/dev/full"),
                        RunLog::Name(RunLog::chargePrefix, Clock::Current().LocalTime().addSecs(60 * minutes)));
        bench.Button("CBstart")->click();
        SOON_EQUAL(BoxTexts().size(), 1);
        QVERIFY(BoxTexts()[0].startsWith(QLatin1String("Erreur de fichier : St_CH_D")));
        QCOMPARE(bench.board.Received(), Bytes({27, 41})); // nothing was switched on
    }

    void AClosedPortIsSaidOnceAndTheStepTriesAgain()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        bench.ClosePort();
        SOON_EQUAL(BoxTexts().size(), 1);
        QVERIFY(BoxTexts()[0].contains(QStringLiteral("port série est fermé")));
        for (QWidget *widget : QApplication::topLevelWidgets())
            if (qobject_cast<QMessageBox *>(widget))
                widget->close();
        QSignalSpy ticks(bench.TimerOf("Timerchargeur"), &Timer::Tick);
        SOON(ticks.size() >= 3);
        QVERIFY(BoxTexts().isEmpty());
        QCOMPARE(bench.Text("Label18"), QStringLiteral("CHARGE"));
        bench.link.OpenPort();
        const auto records = bench.Records();
        SOON(bench.Records() >= records + 2);
    }

    void AStartOnAClosedPortDoesNothing()
    {
        Bench bench;
        bench.ClosePort();
        bench.Button("CBstart")->click();
        SOON_EQUAL(BoxTexts().size(), 1);
        QCOMPARE(bench.Text("Label18"), QStringLiteral("Arret"));
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QVERIFY(bench.window.LogPath().isEmpty());
        AnswerBoxes();
        bench.link.OpenPort();
        bench.board.TakeReceived();
        bench.SliderOf("Slider2")->setValue(95);
        SOON(bench.board.Received().contains(Bytes({27, 21, 95})));
    }

    void TheTrimsCanBeMovedAfterAnAlarm()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        bench.HoldBack(6);
        SOON(Simulated().RunUntil([] { return !BoxTexts().isEmpty(); }));
        QCOMPARE(bench.Text("Label18"), QStringLiteral("Arret"));
        AnswerBoxes();
        bench.board.Healthy();
        Simulated().Run(20s);
        bench.board.TakeReceived();
        bench.SliderOf("Slider2")->setValue(95);
        SOON(bench.board.Received().contains(Bytes({27, 21, 95})));
    }

    void AStepSurvivesTheReopeningOfThePort()
    {
        Bench bench;
        bench.Start();
        bench.HoldBack(13);
        SOON(bench.board.Received().endsWith(Bytes({27, 13})));
        bench.board.Healthy();
        const auto records = bench.Records();
        bench.Reopen();
        SOON(bench.Records() >= records + 2); // the question was asked again and the run goes on
        QVERIFY(bench.board.Received().contains(Bytes({27, 13, 27, 13, 27, 12})));
        QVERIFY(BoxTexts().isEmpty());
    }

    void ReturnClosesTheLogAndSendsNothing()
    {
        Bench bench;
        QSignalSpy returning(&bench.window, &Window::Returning);
        bench.Start();
        SOON(bench.Records() >= 1);
        SOON(bench.TimerOf("Timerchargeur")->Enabled());
        bench.board.TakeReceived();
        bench.Button("CQuitter")->click();
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(returning.size(), 1);
        QVERIFY(Unwatched(bench.link).Charges()); // nobody sees its end
        QCOMPARE(bench.link.ReconnectOnActivate, 0);
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QVERIFY(!bench.TimerOf("Timerch2")->Enabled());
        bench.SliderOf("Slider1")->setValue(3); // whatever was sent before would come first
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 3}));
    }

    void TheCloseBoxDoesTheSameButForTheReconnection()
    {
        Bench bench;
        QSignalSpy returning(&bench.window, &Window::Returning);
        bench.window.close();
        QCOMPARE(returning.size(), 1);
        QVERIFY(!Unwatched(bench.link).Charges()); // no charge was on
        QCOMPARE(bench.link.ReconnectOnActivate, 1);
        QVERIFY(bench.board.Received().isEmpty());
    }

    void ReturnInMidStepLetsTheStepFinish()
    {
        Bench bench;
        bench.Start();
        bench.HoldBack(13);
        SOON(bench.board.Received().endsWith(Bytes({27, 13})));
        const auto records = bench.Records();
        bench.Button("CQuitter")->click();
        bench.board.TakeReceived();
        bench.board.Send(Bytes({27, 2, 2, 0}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 12}) + resumption);
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QCOMPARE(bench.Records(), records);
    }

    void ReturnAfterAStopInMidStepLeavesTheChargeOff()
    {
        Bench bench;
        bench.Start();
        bench.HoldBack(10);
        SOON(bench.board.Received().endsWith(Bytes({27, 10})));
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        bench.Button("CQuitter")->click();
        bench.board.Healthy();
        SOON(!bench.link.outputs.Unconfirmed());
        QVERIFY(bench.Rests());
        QVERIFY(!bench.board.ChargeOn() && !bench.board.DischargeOn());
    }

    void AStepOfAnOpeningBeforeEndsAsTheStopLeftIt()
    {
        Bench bench;
        bench.Start();
        bench.HoldBack(10);
        SOON(bench.board.Received().endsWith(Bytes({27, 10})));
        bench.Button("CQuitter")->click();
        bench.window.Open();
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        bench.board.Healthy();
        SOON(!bench.link.outputs.Unconfirmed());
        QVERIFY(bench.Rests());
        QVERIFY(!bench.board.ChargeOn() && !bench.board.DischargeOn());
        QVERIFY(!bench.board.Received().endsWith(resumption));
    }

    void AStepOfAnOpeningBeforeWritesNothingIntoANewRun()
    {
        Bench bench;
        bench.Start();
        bench.HoldBack(10);
        SOON(bench.board.Received().endsWith(Bytes({27, 10})));
        bench.Button("CQuitter")->click();
        bench.window.Open();
        bench.board.Healthy();
        bench.board.TakeReceived();
        bench.Button("CBstart")->click();
        bench.board.Send(Bytes({27, 1, 1, 0})); // late, but in time
        const QByteArray expected = startBytes + Bytes({27, 13, 27, 12}) + restStep;
        SOON(bench.board.Received().size() >= expected.size());
        QCOMPARE(bench.board.Received(), expected); // it only reads
    }

    void ReturnInTheStepThatEndsTheChargeSwitchesItOff()
    {
        Bench bench;
        QSignalSpy ended(&bench.window, &RunWindow::Ended);
        bench.Start();
        SOON(bench.Records() >= 1);
        bench.HoldBack(13);
        SOON(bench.board.Received().endsWith(Bytes({27, 13})));
        bench.board.channel[12] -= 10;
        bench.Button("CQuitter")->click();
        bench.board.Send(Bytes({27, 2, 2, 0}));
        SOON_EQUAL(ended.size(), 1);
        QVERIFY(bench.board.Received().endsWith(resumption + Bytes({27, 17, 0, 27, 15, 0})));
    }

    void AStopOnAClosedPortIsMadeUpForWhenItIsOpen()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        SOON(bench.TimerOf("Timerchargeur")->Enabled()); // between two steps
        bench.ClosePort();
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        SOON_EQUAL(BoxTexts().size(), 1);
        QCOMPARE(bench.Text("Label18"), QStringLiteral("Arret"));
        QVERIFY(!bench.window.Running());
        QVERIFY(bench.link.outputs.Unconfirmed());
        QVERIFY(bench.Find<QLabel>("unconfirmed")->isVisible());
        QVERIFY(bench.board.ChargeOn());
        bench.link.OpenPort();
        SOON(!bench.link.outputs.Unconfirmed());
        QVERIFY(!bench.board.ChargeOn());
        QVERIFY(!bench.Find<QLabel>("unconfirmed")->isVisible());
        // What is not off is written, and read again.
        QCOMPARE(bench.board.Received(), readLines + stopBytes + readLines);
    }

    void AStopWhoseAnswerIsLostIsSaidAgain()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        SOON(bench.TimerOf("Timerchargeur")->Enabled());
        bench.board.SetSilent(true);
        bench.board.TakeReceived();
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 15, 0}) + stopBytes);
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QVERIFY(bench.link.outputs.Unconfirmed());
        bench.board.SetSilent(false);
        SOON(!bench.link.outputs.Unconfirmed());
        QVERIFY(!bench.board.ChargeOn());
    }

    void AnEndWhoseAnswerIsLostIsSaidAgain()
    {
        Bench bench;
        QSignalSpy ended(&bench.window, &RunWindow::Ended);
        bench.SetMode("1"); // 17←0 comes at the end only
        bench.Start();
        SOON(bench.Records() >= 1);
        bench.board.On(17, 1, [&bench](const QByteArray &value) {
            bench.board.lines[17] = value[0];
            return value[0] == 0 ? QByteArray() : Bytes({6});
        });
        bench.board.channel[12] -= 10;
        SOON(bench.board.Received().endsWith(Bytes({27, 17, 0, 27, 17, 0, 27, 15, 0})));
        SOON_EQUAL(ended.size(), 1);
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        SOON(!bench.link.outputs.Unconfirmed());
        QVERIFY(!bench.board.ChargeOn());
    }

    void AStopWhoseWriteTheBoardDidNotHearIsWrittenAgain()
    {
        Bench bench;
        bench.SetMode("1");
        bench.Start();
        SOON(bench.Records() >= 1);
        SOON(bench.TimerOf("Timerchargeur")->Enabled());
        int asked = 0;
        bench.board.On(15, 1, [&](const QByteArray &value) { // the first one is lost on the wire, some byte answers it
            if (++asked > 1)
                bench.board.lines[15] = value[0];
            return asked == 1 ? QByteArray() : Bytes({6});
        });
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        SOON(!bench.link.outputs.Unconfirmed());
        QVERIFY(!bench.board.ChargeOn());
        QVERIFY(asked >= 2);
    }

    void ABoardThatDoesNotMeasureForFifteenSecondsIsAnAlarm()
    {
        Bench bench;
        QSignalSpy wanted(&bench.window, &RunWindow::ConnectionWanted);
        bench.Start();
        SOON(bench.Records() >= 1);
        bench.board.SetSilent(true);
        SOON_EQUAL(wanted.size(), 1);
        QCOMPARE(bench.Text("Label18"), QStringLiteral("Arret"));
        QCOMPARE(BoxTexts().size(), 1);
        QVERIFY(BoxTexts()[0].contains(QStringLiteral("15 secondes")));
        QVERIFY(!bench.window.Running());
        bench.board.SetSilent(false);
        SOON(!bench.link.outputs.Unconfirmed());
        QVERIFY(!bench.board.ChargeOn() && !bench.board.DischargeOn());
    }

    void AnErrorAfterAReopeningSwitchesOffWhatWasLeftOn()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        bench.Button("CQuitter")->click();
        bench.window.Open();
        QVERIFY(bench.Rests());
        QVERIFY(bench.board.ChargeOn());
        bench.board.TakeReceived();
        for (const int minutes : {0, 1})
            QFile::link(QStringLiteral("/dev/full"),
                        RunLog::Name(RunLog::chargePrefix, Clock::Current().LocalTime().addSecs(60 * minutes)));
        QFile::remove(RunLog::Name(RunLog::chargePrefix, Clock::Current().LocalTime()));
        QFile::link(QStringLiteral("/dev/full"), RunLog::Name(RunLog::chargePrefix, Clock::Current().LocalTime()));
        bench.Button("CBstart")->click();
        SOON_EQUAL(BoxTexts().size(), 1);
        QCOMPARE(bench.board.Received(), Bytes({27, 41}) + stopBytes);
        QVERIFY(!bench.board.ChargeOn());
    }

    void AByteThatIsLostDoesNotHoldUpTheCharge()
    {
        Bench bench;
        bench.Start();
        SOON(bench.Records() >= 1);
        bool lost = false;
        bench.board.On(10, 0, [&lost](const QByteArray &) {
            return std::exchange(lost, true) ? Bytes({27, 1, 44, 0}) : Bytes({27, 1});
        });
        SOON(lost);
        const auto records = bench.Records();
        SOON(bench.Records() >= records + 2);
        QVERIFY(bench.board.Received().contains(Bytes({27, 10, 27, 10})));
    }

    void ReopeningStartsFresh()
    {
        Bench bench;
        bench.SetMode("7");
        bench.Start();
        SOON(bench.Records() >= 1);
        bench.SliderOf("Slider1")->setValue(80);
        SOON(bench.TimerOf("Timerchargeur")->Enabled()); // between two steps
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.Text("Label18"), QStringLiteral("Arret"));
        QVERIFY(bench.board.Received().endsWith(stopBytes));
        bench.window.close();
        bench.board.TakeReceived();
        bench.window.Open();
        QCOMPARE(bench.Text("Label18"), QStringLiteral("Prêt"));
        QCOMPARE(bench.Text("Label4"), QString());
        QCOMPARE(bench.Text("Label29"), QStringLiteral("0mAh"));
        QCOMPARE(bench.Text("Label12"), QStringLiteral("COURANT DE CHARGE = 0.00 A"));
        QCOMPARE(bench.SliderOf("Slider1")->value(), 0);
        QCOMPARE(bench.window.findChild<QLineEdit *>(QStringLiteral("Text1"))->text(), QStringLiteral("0"));
        bench.SliderOf("Slider1")->setValue(1);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 1}));
    }
};

REGISTER_TEST(TestChargeur)
#include "tst_chargeur.moc"
