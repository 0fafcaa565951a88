// SPDX-License-Identifier: GPL-3.0-or-later
#include "dashboardbench.h"
#include "support/controls.h"
#include "support/suite.h"

namespace {
const char *const outputLamps[] = {"Label5", "Label3", "Label21", "Label20", "Label19", "Label18", "Label17"};
const char *const buttonLamps[] = {"Label6", "Label7", "Label8", "Label9", "Label10", "Label11"};
} // namespace

/// Controls, opening, outputs, settings.
class TestFEtat : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void Controls_data()
    {
        AddControls({
            {"LbTempcad", "QLabel", ""},
            {"LbTemp", "QLabel", ""},
            {"LbValimcad", "QLabel", ""},
            {"LBValim", "QLabel", ""},
            {"LBVdblCad", "QLabel", ""},
            {"LBVdbl", "QLabel", ""},
            {"LBInvCad", "QLabel", ""},
            {"LBVinv", "QLabel", ""},
            {"LBTembatCad", "QLabel", ""},
            {"LBtempbat", "QLabel", "Futur"},
            {"LbIchargCad", "QLabel", ""},
            {"Icharg", "QLabel", ""},
            {"LbIdechCad", "QLabel", ""},
            {"LbIDech", "QLabel", ""},
            {"LbVdeltaCad", "QLabel", ""},
            {"LbVdelta", "QLabel", ""},
            {"LbVbatinCad", "QLabel", ""},
            {"LbVbatin", "QLabel", ""},
            {"Cbgndbat", "QPushButton", "GND BAT"},
            {"CbCutpwr", "QPushButton", "CUT POWER"},
            {"Cbcutch", "QPushButton", "CUT CHRG"},
            {"CbCutdech", "QPushButton", "CUT DECH"},
            {"Cbventillo", "QPushButton", "VENTILO"},
            {"CbCutDBl", "QPushButton", "CUT VDBL"},
            {"CbLed", "QPushButton", "LED"},
            {"Label5", "QLabel", ""},
            {"Label3", "QLabel", ""},
            {"Label21", "QLabel", ""},
            {"Label20", "QLabel", ""},
            {"Label19", "QLabel", ""},
            {"Label18", "QLabel", ""},
            {"Label17", "QLabel", ""},
            {"Label6", "QLabel", ""},
            {"Label7", "QLabel", ""},
            {"Label8", "QLabel", ""},
            {"Label9", "QLabel", ""},
            {"Label10", "QLabel", ""},
            {"Label11", "QLabel", ""},
            {"Label28", "QLabel", "H , M , S"},
            {"Check1", "QCheckBox", "Type Alim Boost"},
            {"CbBeep", "QPushButton", "Beeper"},
            {"Slider1", "QSlider", nullptr},
            {"Label30", "QLabel", "I Charge"},
            {"TxIch", "QLineEdit", "000"},
            {"Slider2", "QSlider", nullptr},
            {"Label31", "QLabel", "I Decharge"},
            {"TxIdech", "QLineEdit", "000"},
            {"Slider3", "QSlider", nullptr},
            {"Label32", "QLabel", "V Delta"},
            {"TxVdelta", "QLineEdit", "000"},
            {"Slider4", "QSlider", nullptr},
            {"Label33", "QLabel", "V Decalage"},
            {"TxVdecal", "QLineEdit", "000"},
            {"SliderPWMFreq", "QSlider", nullptr},
            {"Label2", "QLabel", "PWM Freq"},
            {"SliderPWMDelta", "QSlider", nullptr},
            {"Label4", "QLabel", "PWM Delta"},
            {"Label12", "QLabel", "MAX : 1023"},
            {"CBmanuel", "QPushButton", "Mise à jour"},
            {"CBAUTO", "QPushButton", "Mise à jour continue"},
            {"Label1", "QLabel", "Auto =  off"},
            {"CBfermeretat", "QPushButton", "Fermer"},
        });
    }
    void Controls()
    {
        DashboardBench bench;
        bench.Open();
        CheckControl(bench.window);
    }

    void FramesHoldTheirControls()
    {
        DashboardBench bench;
        const struct
        {
            const char *title;
            QList<const char *> names;
        } frames[] = {
            {"ports analogiques", {"LbTempcad", "LBtempbat", "LbVbatin"}},
            {"Port digitaux", {"Cbgndbat", "CbLed", "Label5", "Label17"}},
            {"Boutons poussoirs", {"Label6", "Label10", "Label11"}},
            {"Heure et Divers", {"Label28", "Check1", "CbBeep"}},
            {"Potentiomètres", {"Slider1", "TxVdecal", "SliderPWMDelta", "Label12"}},
        };
        const auto boxes = bench.window.findChildren<QGroupBox *>();
        for (const auto &frame : frames) {
            const QString title = QString::fromUtf8(frame.title);
            const auto box = std::ranges::find(boxes, title, &QGroupBox::title);
            QVERIFY2(box != boxes.end(), frame.title);
            for (const char *name : frame.names)
                QVERIFY2((*box)->findChild<QWidget *>(QLatin1String(name)), name);
        }
        QStringList names;
        for (const QLabel *label : boxes.first()->findChildren<QLabel *>())
            names.append(label->text());
        for (const char *name : {"TEMP", "VALIM", "VDBL", "VINVER", "TPBAT", "ICHARG", "IDECH", "VDELTA", "VBAT"})
            QVERIFY2(names.contains(QLatin1String(name)), name);
    }

    void OpensAndGreetsTheBoard()
    {
        DashboardBench bench;
        bench.window.Open();
        SOON(bench.link.line.Idle());
        QCOMPARE(bench.board.Received(), Bytes({27, 0}));
        QCOMPARE(bench.window.objectName(), QStringLiteral("FEtat"));
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("Panneaau de contrôle"));
        QVERIFY(bench.window.isVisible());
        QCOMPARE(bench.window.pos(), QPoint(30, 40));
        QCOMPARE(bench.Ticker()->Interval(), 1000);
        QVERIFY(!bench.Ticker()->Enabled());
        for (const char *name : {"Slider1", "Slider2", "Slider3", "Slider4"}) {
            QCOMPARE(bench.SliderOf(name)->minimum(), 0);
            QCOMPARE(bench.SliderOf(name)->maximum(), 255);
        }
        QCOMPARE(bench.SliderOf("SliderPWMFreq")->minimum(), 40);
        QCOMPARE(bench.SliderOf("SliderPWMFreq")->maximum(), 255);
        QCOMPARE(bench.SliderOf("SliderPWMFreq")->value(), 40);
        QCOMPARE(bench.SliderOf("SliderPWMDelta")->minimum(), 0);
        QCOMPARE(bench.SliderOf("SliderPWMDelta")->maximum(), 1023);
        QVERIFY(!bench.SliderOf("SliderPWMFreq")->isEnabled());
        QVERIFY(!bench.SliderOf("SliderPWMDelta")->isEnabled());
        for (const char *name : {"Label12", "Label2", "Label4"})
            QVERIFY(!bench.Find<QLabel>(name)->isVisible());
        QCOMPARE(bench.window.PotFreq, 40);
        // Neither colour says anything before it is known.
        for (const char *lamp : outputLamps)
            QCOMPARE(bench.Colour(lamp), QColor(128, 128, 128));
        for (const char *lamp : buttonLamps)
            QCOMPARE(bench.Colour(lamp), QColor(128, 128, 128));
    }

    void TheGreetingEndsWithASix()
    {
        DashboardBench bench;
        bench.HoldBack(0);
        bench.window.Open();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 0}));
        bench.Button("CbLed")->click();
        bench.link.RxCount = 77;
        bench.board.Send(Bytes({27, 1, 5}));
        SOON_EQUAL(bench.link.RxCount, qint16(0)); // they are read
        QCOMPARE(bench.board.Received(), Bytes({27, 0}));
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 0, 27, 23, 1}));
    }

    void ReopeningStartsFresh()
    {
        DashboardBench bench;
        bench.Open();
        bench.bits = {{28, 255}, {31, 255}, {26, 1}};
        bench.Refresh();
        bench.Find<QCheckBox>("Check1")->click();
        bench.board.On(51, 4, [](const QByteArray &) { return Bytes({6}); });
        for (const char *button : {"Cbgndbat", "CbCutDBl", "Cbventillo"})
            bench.Press(button);
        const std::pair<const char *, int> moves[] = {{"SliderPWMFreq", 99}, {"SliderPWMDelta", 500}, {"Slider1", 7}};
        for (const auto &[slider, value] : moves) {
            bench.SliderOf(slider)->setValue(value);
            bench.Settled();
        }
        bench.Button("CBAUTO")->click();
        bench.Button("CBfermeretat")->click();
        QVERIFY(!bench.window.isVisible());
        QVERIFY(!bench.Ticker()->Enabled());
        SOON(bench.link.line.Idle());
        bench.board.TakeReceived();

        bench.Open();
        QCOMPARE(bench.Text("Label1"), QStringLiteral("Auto =  off"));
        QVERIFY(!bench.Ticker()->Enabled());
        QCOMPARE(bench.Text("LbTempcad"), QString());
        QCOMPARE(bench.Text("Label28"), QStringLiteral("H , M , S"));
        QCOMPARE(bench.BoxText("TxIch"), QStringLiteral("000"));
        QCOMPARE(bench.SliderOf("Slider1")->value(), 0);
        QCOMPARE(bench.SliderOf("SliderPWMFreq")->value(), 40);
        QCOMPARE(bench.SliderOf("SliderPWMDelta")->value(), 0);
        QVERIFY(!bench.SliderOf("SliderPWMFreq")->isEnabled());
        QVERIFY(!bench.Find<QCheckBox>("Check1")->isChecked());
        QCOMPARE(bench.Text("Label12"), QStringLiteral("MAX : 1023"));
        QVERIFY(!bench.Find<QLabel>("Label12")->isVisible());
        QCOMPARE(bench.Button("CbCutDBl")->text(), QStringLiteral("CUT VDBL"));
        for (const char *lamp : outputLamps)
            QCOMPARE(bench.Colour(lamp), QColor(128, 128, 128));
        QCOMPARE(bench.Press("Cbcutch"), Bytes({27, 15, 0}));
        bench.board.On(51, 1, [](const QByteArray &) { return Bytes({6}); });
        QCOMPARE(bench.Press("CbCutDBl"), Bytes({27, 51, 0}));
        QCOMPARE(bench.Press("Cbventillo"), Bytes({27, 25, 1}));
    }

    // ---- outputs

    void Toggles_data()
    {
        QTest::addColumn<QByteArray>("button");
        QTest::addColumn<QByteArray>("lamp");
        QTest::addColumn<int>("command");
        QTest::addColumn<int>("first"); // sent in state 0
        QTest::addColumn<bool>("redFirst");
        QTest::newRow("charge") << QByteArray("Cbcutch") << QByteArray("Label21") << 15 << 0 << true;
        QTest::newRow("discharge") << QByteArray("CbCutdech") << QByteArray("Label20") << 16 << 0 << true;
        QTest::newRow("power") << QByteArray("CbCutpwr") << QByteArray("Label3") << 17 << 0 << true;
        QTest::newRow("ground") << QByteArray("Cbgndbat") << QByteArray("Label5") << 18 << 0 << false;
        QTest::newRow("LED") << QByteArray("CbLed") << QByteArray("Label17") << 23 << 1 << true;
        QTest::newRow("fan") << QByteArray("Cbventillo") << QByteArray("Label19") << 25 << 1 << true;
        QTest::newRow("doubler") << QByteArray("CbCutDBl") << QByteArray("Label18") << 51 << 0 << false;
    }
    void Toggles()
    {
        QFETCH(QByteArray, button);
        QFETCH(QByteArray, lamp);
        QFETCH(int, command);
        QFETCH(int, first);
        QFETCH(bool, redFirst);
        DashboardBench bench;
        bench.Open();
        for (int round = 0; round < 2; ++round) {
            QCOMPARE(bench.Press(button.constData()), Bytes({27, command, first}));
            QCOMPARE(bench.Colour(lamp.constData()), redFirst ? red : green);
            QCOMPARE(bench.Press(button.constData()), Bytes({27, command, 1 - first}));
            QCOMPARE(bench.Colour(lamp.constData()), redFirst ? green : red);
        }
        QVERIFY(!bench.Ticker()->Enabled());
    }

    void TheIndicatorChangesBeforeTheAnswer()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(15, 1);
        bench.Button("Cbcutch")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 15, 0}));
        QCOMPARE(bench.Colour("Label21"), red);
        QCOMPARE(bench.window.Cutchrg, 1);
        QVERIFY(!bench.link.line.Idle());
        bench.board.Send(Bytes({99})); // whatever it is
        SOON(bench.link.line.Idle());
    }

    void FastPressesTakeTurns()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(15, 1);
        for (int press = 0; press < 4; ++press)
            bench.Button("Cbcutch")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 15, 0}));
        bench.board.On(15, 1, [](const QByteArray &) { return Bytes({6}); });
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 15, 0, 27, 15, 1, 27, 15, 0, 27, 15, 1}));
        QCOMPARE(bench.Colour("Label21"), green);
        QCOMPARE(bench.window.Cutchrg, 0);
    }

    void ACutPressIsRepeatedAsItWas()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(23, 1);
        bench.Button("CbLed")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 23, 1}));
        bench.board.On(23, 1, [](const QByteArray &) { return Bytes({6}); });
        bench.Reopen();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 23, 1, 27, 23, 1}));
        QCOMPARE(bench.window.LedState, 1);
    }

    void APressOnAClosedPortSaysSo()
    {
        DashboardBench bench;
        bench.Open();
        bench.ClosePort();
        bench.Button("CbLed")->click();
        SOON_EQUAL(OpenBoxes().size(), 1);
        QVERIFY(OpenBoxes().first()->text().startsWith(QStringLiteral("Le port série est fermé")));
        QCOMPARE(bench.window.LedState, 0);
        QCOMPARE(bench.Colour("Label17"), QColor(128, 128, 128));
        AnswerBoxes();
        bench.link.OpenPort();
        QCOMPARE(bench.Press("CbLed"), Bytes({27, 23, 1}));
    }

    void Beeper()
    {
        DashboardBench bench;
        bench.Open();
        QCOMPARE(bench.Press("CbBeep"), Bytes({27, 24, 10}));
        QCOMPARE(bench.Press("CbBeep"), Bytes({27, 24, 10}));
    }

    // ---- booster

    void BoosterHardware()
    {
        DashboardBench bench;
        bench.Open();
        auto *check = bench.Find<QCheckBox>("Check1");
        check->click();
        QCOMPARE(bench.window.THardware, 1);
        QCOMPARE(bench.Button("CbCutDBl")->text(), QStringLiteral("BOOSTER"));
        for (const char *slider : {"SliderPWMFreq", "SliderPWMDelta"})
            QVERIFY(bench.SliderOf(slider)->isEnabled());
        for (const char *label : {"Label12", "Label2", "Label4"})
            QVERIFY(bench.Find<QLabel>(label)->isVisible());
        check->click();
        QCOMPARE(bench.window.THardware, 0);
        QCOMPARE(bench.Button("CbCutDBl")->text(), QStringLiteral("CUT VDBL"));
        for (const char *slider : {"SliderPWMFreq", "SliderPWMDelta"})
            QVERIFY(!bench.SliderOf(slider)->isEnabled());
        for (const char *label : {"Label12", "Label2", "Label4"})
            QVERIFY(!bench.Find<QLabel>(label)->isVisible());
        QVERIFY(bench.board.Received().isEmpty());
    }

    void TheBoosterButtonSendsTheWholeBlock()
    {
        DashboardBench bench;
        bench.board.On(51, 4, [](const QByteArray &) { return Bytes({6}); });
        bench.Open();
        bench.Find<QCheckBox>("Check1")->click();
        QCOMPARE(bench.Press("CbCutDBl"), Bytes({27, 51, 0, 40, 0, 0}));
        QCOMPARE(bench.window.boost, 1);
        QCOMPARE(bench.Colour("Label18"), green);
        bench.SliderOf("SliderPWMDelta")->setValue(700);
        bench.Settled();
        QCOMPARE(bench.Press("CbCutDBl"), Bytes({27, 51, 1, 40, 2, 188}));
        QCOMPARE(bench.window.boost, 0);
        QCOMPARE(bench.Colour("Label18"), red);
    }

    void PwmSlidersSendThePresentState()
    {
        DashboardBench bench;
        bench.board.On(51, 4, [](const QByteArray &) { return Bytes({6}); });
        bench.Open();
        bench.Find<QCheckBox>("Check1")->click();
        QCOMPARE(bench.Text("Label12"), QStringLiteral("MAX : 1023"));
        bench.SliderOf("SliderPWMFreq")->setValue(100);
        QCOMPARE(bench.Settled(), Bytes({27, 51, 1, 100, 0, 0})); // boost 0: cut
        QCOMPARE(bench.Text("Label12"), QStringLiteral("MAX :  400"));
        bench.SliderOf("SliderPWMDelta")->setValue(255);
        QCOMPARE(bench.Settled(), Bytes({27, 51, 1, 100, 0, 255}));
        QCOMPARE(bench.Text("Label12"), QStringLiteral("MAX :  400"));
        QCOMPARE(bench.Press("CbCutDBl"), Bytes({27, 51, 0, 100, 0, 255}));
        bench.SliderOf("SliderPWMDelta")->setValue(1023);
        QCOMPARE(bench.Settled(), Bytes({27, 51, 0, 100, 3, 255})); // boost 1
        bench.SliderOf("SliderPWMFreq")->setValue(255);
        QCOMPARE(bench.Settled(), Bytes({27, 51, 0, 255, 3, 255}));
        QCOMPARE(bench.Text("Label12"), QStringLiteral("MAX :  1020"));
    }

    // ---- settings

    void Settings_data()
    {
        QTest::addColumn<QByteArray>("slider");
        QTest::addColumn<QByteArray>("box");
        QTest::addColumn<int>("command");
        QTest::addColumn<QString>("at128");
        QTest::addColumn<QString>("at255");
        QTest::addColumn<QString>("at0");
        QTest::newRow("charge") << QByteArray("Slider1") << QByteArray("TxIch") << 19 << " 128 <=>  1.6"
                                << " 255 <=>  3.18" << " 0 <=>  0";
        QTest::newRow("discharge") << QByteArray("Slider2") << QByteArray("TxIdech") << 20 << " 128 <=>  2.13"
                                   << " 255 <=>  4.25" << " 0 <=>  0";
        QTest::newRow("delta") << QByteArray("Slider3") << QByteArray("TxVdelta") << 21 << " 128" << " 255" << " 0";
        QTest::newRow("offset") << QByteArray("Slider4") << QByteArray("TxVdecal") << 22 << " 128" << " 255" << " 0";
    }
    void Settings()
    {
        QFETCH(QByteArray, slider);
        QFETCH(QByteArray, box);
        QFETCH(int, command);
        QFETCH(QString, at128);
        QFETCH(QString, at255);
        QFETCH(QString, at0);
        DashboardBench bench;
        bench.Open();
        for (const auto &[value, text] : {std::pair(128, at128), std::pair(255, at255), std::pair(0, at0)}) {
            bench.SliderOf(slider.constData())->setValue(value);
            QCOMPARE(bench.BoxText(box.constData()), text);
            QCOMPARE(bench.Settled(), Bytes({27, command, value}));
        }
        QVERIFY(!bench.Ticker()->Enabled());
    }

    void WithoutAScaleTheSettingStandsAlone()
    {
        DashboardBench bench;
        bench.Open();
        bench.link.SlaveEeprom[4] = bench.link.SlaveEeprom[5] = 0;
        bench.SliderOf("Slider1")->setValue(12);
        QCOMPARE(bench.Settled(), Bytes({27, 19, 12}));
        QCOMPARE(bench.BoxText("TxIch"), QStringLiteral(" 12"));
        bench.SliderOf("Slider2")->setValue(13);
        QCOMPARE(bench.Settled(), Bytes({27, 20, 13}));
        QCOMPARE(bench.BoxText("TxIdech"), QStringLiteral(" 13"));
        QVERIFY(OpenBoxes().isEmpty());
    }

    void MovesThatWereOvertakenAreLeftOut()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(19, 1);
        bench.SliderOf("Slider1")->setValue(1);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 1}));
        for (int value = 2; value <= 50; ++value) {
            bench.SliderOf("Slider1")->setValue(value);
            QVERIFY(bench.BoxText("TxIch").startsWith(QStringLiteral(" %1 ").arg(value)));
        }
        bench.SliderOf("Slider3")->setValue(77);
        bench.board.On(19, 1, [](const QByteArray &) { return Bytes({6}); });
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 1, 27, 21, 77, 27, 19, 50}));
        // It was the last: nothing of the others comes after it.
        QCOMPARE(bench.Press("CbBeep"), Bytes({27, 24, 10}));
    }
};

REGISTER_TEST(TestFEtat)
#include "tst_fetat.moc"
