// SPDX-License-Identifier: GPL-3.0-or-later
#include "dashboardbench.h"
#include "support/suite.h"

#include "link/command.h"
#include "link/measurement.h"

/// The refresh, by hand and automatic, and what happens around it.
class TestFEtatRefresh : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void Transcript()
    {
        DashboardBench bench;
        bench.Open();
        bench.Refresh();
        QCOMPARE(bench.board.TakeReceived(), refreshBytes);
        bench.Refresh();
        QCOMPARE(bench.board.TakeReceived(), refreshBytes);
        QVERIFY(!bench.Ticker()->Enabled());
    }

    void Readings()
    {
        DashboardBench bench;
        bench.Open();
        bench.Refresh();
        const struct
        {
            const char *label, *text;
        } shown[] = {
            {"LbTempcad", " 575"},   {"LbTemp", " 25"},      {"LbValimcad", " 800"},  {"LBValim", " 13.65V"},
            {"LBVdblCad", " 900"},   {"LBVdbl", " 23.04V"},  {"LBInvCad", " 100"},    {"LBVinv", "norm"},
            {"LBTembatCad", " 333"}, {"LBtempbat", "Futur"}, {"LbIchargCad", " 300"}, {"Icharg", " 1.5A"},
            {"LbIdechCad", " 500"},  {"LbIDech", " 2A"},     {"LbVdeltaCad", " 700"}, {"LbVdelta", ""},
            {"LbVbatinCad", " 600"}, {"LbVbatin", " 5.12V"},
        };
        for (const auto &[label, text] : shown)
            QCOMPARE(bench.Text(label), QString::fromLatin1(text));
    }

    void WhatItReadsOfTheSwitchesIsKnownEverywhere()
    {
        DashboardBench bench;
        bench.Open();
        bench.bits[31] = 2 | 4; // charge and power are cut
        bench.Refresh();
        QCOMPARE(bench.link.outputs.Known(command::CutCharge), std::optional(false));
        QCOMPARE(bench.link.outputs.Known(command::CutPower), std::optional(false));
        QCOMPARE(bench.link.outputs.Known(command::CutDischarge), std::optional(true));
        bench.bits[31] = 1;
        bench.Refresh();
        QCOMPARE(bench.link.outputs.Known(command::CutCharge), std::optional(true));
        QCOMPARE(bench.link.outputs.Known(command::CutDischarge), std::optional(false));
    }

    void Conversions_data()
    {
        QTest::addColumn<int>("channel");
        QTest::addColumn<int>("count");
        QTest::addColumn<QByteArray>("label");
        QTest::addColumn<QString>("text");
        QTest::newRow("below zero") << 5 << 610 << QByteArray("LbTemp") << "-10";
        QTest::newRow("degrees down") << 5 << 599 << QByteArray("LbTemp") << " 1";
        QTest::newRow("no volts") << 6 << 0 << QByteArray("LBValim") << " 0V";
        QTest::newRow("high count") << 6 << 32767 << QByteArray("LBValim") << " 559.22V";
        QTest::newRow("doubler") << 7 << 1 << QByteArray("LBVdbl") << " 0.02V";
        QTest::newRow("inverted") << 8 << 99 << QByteArray("LBVinv") << "inv";
        QTest::newRow("at zero") << 8 << 0 << QByteArray("LBVinv") << "inv";
        QTest::newRow("normal") << 8 << 100 << QByteArray("LBVinv") << "norm";
        QTest::newRow("charge") << 10 << 1023 << QByteArray("Icharg") << " 5.11A";
        QTest::newRow("discharge") << 11 << 1023 << QByteArray("LbIDech") << " 4.09A";
        QTest::newRow("battery") << 13 << 1023 << QByteArray("LbVbatin") << " 8.72V";
    }
    void Conversions()
    {
        QFETCH(int, channel);
        QFETCH(int, count);
        QFETCH(QByteArray, label);
        QFETCH(QString, text);
        DashboardBench bench;
        bench.Open();
        bench.board.channel[channel] = count;
        bench.Refresh();
        QCOMPARE(bench.Text(label.constData()), text);
    }

    void UncalibratedQuantitiesKeepTheirTexts()
    {
        DashboardBench bench;
        bench.Open();
        bench.Refresh();
        for (const size_t i : {0, 1, 9, 10, 11, 12})
            bench.link.MasterEeprom[i] = 0;
        for (const size_t i : {0, 1, 2, 3})
            bench.link.SlaveEeprom[i] = 0;
        bench.board.channel = {{5, 1}, {6, 2}, {7, 3}, {8, 4}, {9, 5}, {10, 6}, {11, 7}, {12, 8}, {13, 9}};
        bench.Refresh();
        const struct
        {
            const char *label, *text;
        } shown[] = {
            {"LbTempcad", " 1"},   {"LbTemp", " 25"},     {"LbValimcad", " 2"},  {"LBValim", " 13.65V"},
            {"LBVdblCad", " 3"},   {"LBVdbl", " 23.04V"}, {"LbIchargCad", " 6"}, {"Icharg", " 1.5A"},
            {"LbIdechCad", " 7"},  {"LbIDech", " 2A"},    {"LbVbatinCad", " 9"}, {"LbVbatin", " 0.07V"},
            {"LBTembatCad", " 5"}, {"LbVdeltaCad", " 8"},
        };
        for (const auto &[label, text] : shown)
            QCOMPARE(bench.Text(label), QString::fromLatin1(text));
    }

    void HalfACalibrationWordIsEnough_data()
    {
        QTest::addColumn<bool>("master");
        QTest::addColumn<int>("high");
        QTest::addColumn<QByteArray>("label");
        QTest::newRow("temperature") << true << 0 << QByteArray("LbTemp");
        QTest::newRow("supply") << true << 9 << QByteArray("LBValim");
        QTest::newRow("doubler") << true << 11 << QByteArray("LBVdbl");
        QTest::newRow("charge") << false << 0 << QByteArray("Icharg");
        QTest::newRow("discharge") << false << 2 << QByteArray("LbIDech");
    }
    void HalfACalibrationWordIsEnough()
    {
        QFETCH(bool, master);
        QFETCH(int, high);
        QFETCH(QByteArray, label);
        for (const bool lowOnly : {true, false}) {
            DashboardBench bench;
            bench.Open();
            auto &image = master ? bench.link.MasterEeprom : bench.link.SlaveEeprom;
            image[size_t(high)] = lowOnly ? 0 : 1;
            image[size_t(high) + 1] = lowOnly ? 1 : 0;
            bench.Refresh();
            QVERIFY(!bench.Text(label.constData()).isEmpty());
        }
    }

    // ---- indicators

    void States_data()
    {
        QTest::addColumn<int>("command");
        QTest::addColumn<int>("mask");
        QTest::addColumn<QByteArray>("lamp");
        QTest::newRow("LED") << 28 << 2 << QByteArray("Label17");
        QTest::newRow("doubler") << 28 << 1 << QByteArray("Label18");
        QTest::newRow("fan") << 28 << 32 << QByteArray("Label19");
        QTest::newRow("discharge") << 31 << 1 << QByteArray("Label20");
        QTest::newRow("charge") << 31 << 2 << QByteArray("Label21");
        QTest::newRow("power") << 31 << 4 << QByteArray("Label3");
    }
    void States()
    {
        QFETCH(int, command);
        QFETCH(int, mask);
        QFETCH(QByteArray, lamp);
        DashboardBench bench;
        bench.Open();
        for (const bool set : {true, false, true}) {
            bench.bits = {{28, 0}, {31, 0}};
            bench.bits[command] = set ? mask : 255 - mask;
            bench.Refresh();
            QCOMPARE(bench.Colour(lamp.constData()), set ? red : green);
            const int p28 = bench.bits[28];
            const int p31 = bench.bits[31];
            QCOMPARE(bench.window.LedState, (p28 & 2) / 2);
            QCOMPARE(bench.window.Cutdech, p31 & 1);
            QCOMPARE(bench.window.Cutchrg, (p31 & 2) / 2);
            QCOMPARE(bench.window.CutPower, (p31 & 4) / 4);
        }
        QCOMPARE(bench.Colour("Label5"), QColor(128, 128, 128)); // no port tells of it
    }

    void PressesStartFromTheBoardsBit()
    {
        DashboardBench bench;
        bench.Open();
        bench.bits = {{28, 255}, {31, 255}};
        bench.Refresh();
        QCOMPARE(bench.Press("CbLed"), Bytes({27, 23, 0}));
        QCOMPARE(bench.Press("CbCutdech"), Bytes({27, 16, 1}));
        QCOMPARE(bench.Press("Cbcutch"), Bytes({27, 15, 1}));
        QCOMPARE(bench.Press("CbCutpwr"), Bytes({27, 17, 1}));
        // The bits of these two are shown only.
        QCOMPARE(bench.Press("Cbventillo"), Bytes({27, 25, 1}));
        QCOMPARE(bench.Press("CbCutDBl"), Bytes({27, 51, 0}));
        QCOMPARE(bench.Press("Cbgndbat"), Bytes({27, 18, 0}));
        bench.bits = {{28, 0}, {31, 0}};
        bench.Refresh();
        QCOMPARE(bench.Press("CbLed"), Bytes({27, 23, 1}));
        QCOMPARE(bench.Press("CbCutdech"), Bytes({27, 16, 0}));
        QCOMPARE(bench.Press("Cbcutch"), Bytes({27, 15, 0}));
        QCOMPARE(bench.Press("CbCutpwr"), Bytes({27, 17, 0}));
        QCOMPARE(bench.Press("Cbventillo"), Bytes({27, 25, 0}));
        QCOMPARE(bench.Press("CbCutDBl"), Bytes({27, 51, 1}));
        QCOMPARE(bench.Press("Cbgndbat"), Bytes({27, 18, 1}));
    }

    void PushButtons_data()
    {
        QTest::addColumn<int>("command");
        QTest::addColumn<int>("mask");
        QTest::addColumn<QByteArray>("lamp");
        QTest::addColumn<bool>("redWhenSet");
        QTest::newRow("1") << 31 << 8 << QByteArray("Label6") << true;
        QTest::newRow("2") << 31 << 16 << QByteArray("Label7") << false;
        QTest::newRow("3") << 31 << 32 << QByteArray("Label8") << false;
        QTest::newRow("4") << 31 << 64 << QByteArray("Label9") << true;
        QTest::newRow("5") << 31 << 128 << QByteArray("Label10") << false;
        QTest::newRow("6") << 26 << 1 << QByteArray("Label11") << false;
    }
    void PushButtons()
    {
        QFETCH(int, command);
        QFETCH(int, mask);
        QFETCH(QByteArray, lamp);
        QFETCH(bool, redWhenSet);
        DashboardBench bench;
        bench.Open();
        for (const bool set : {true, false}) {
            bench.bits[command] = set ? mask : 255 - mask;
            bench.Refresh();
            QCOMPARE(bench.Colour(lamp.constData()), set == redWhenSet ? red : green);
        }
    }

    void Port31IsReadOnceForTheSwitchesAndOnceForThePushButtons()
    {
        DashboardBench bench;
        bench.Open();
        int reads = 0;
        bench.board.On(31, 0, [&reads](const QByteArray &) { return Bytes({27, ++reads == 1 ? 7 : 248, 0}); });
        bench.Refresh();
        QCOMPARE(reads, 2);
        for (const char *lamp : {"Label20", "Label21", "Label3", "Label6", "Label9"})
            QCOMPARE(bench.Colour(lamp), red);
        for (const char *lamp : {"Label7", "Label8", "Label10"})
            QCOMPARE(bench.Colour(lamp), green);
    }

    void TheWaitOfPort28TakesA27OfTheReplyBefore()
    {
        DashboardBench bench;
        bench.Open();
        bench.board.On(13, 0, [](const QByteArray &) { return Bytes({27, 2, 88, 27}); });
        bench.bits = {{28, 32}, {31, 2}};
        bench.Refresh();
        QCOMPARE(bench.board.TakeReceived(), refreshBytes);
        // The data byte that was read is the 27 that leads the reply: bits 1, 2, 8 and 16.
        QCOMPARE(bench.Colour("Label17"), red);
        QCOMPARE(bench.Colour("Label18"), red);
        QCOMPARE(bench.Colour("Label19"), green);
        QCOMPARE(bench.window.LedState, 1);
        // What was left of it is thrown away by the next wait.
        QCOMPARE(bench.Colour("Label20"), green);
        QCOMPARE(bench.Colour("Label21"), red);
    }

    void TheOtherWaitsBeginAnew()
    {
        DashboardBench bench;
        bench.Open();
        bench.board.On(28, 0, [](const QByteArray &) { return Bytes({27, 32, 27}); });
        bench.board.On(31, 0, [](const QByteArray &) { return Bytes({27, 4, 27}); });
        bench.board.On(41, 0, [](const QByteArray &) { return Bytes({27, 1, 2, 3, 27}); });
        bench.Refresh();
        QCOMPARE(bench.Colour("Label19"), red);
        QCOMPARE(bench.Colour("Label3"), red);
        QCOMPARE(bench.Colour("Label20"), green);
        QCOMPARE(bench.Text("Label28"), QStringLiteral(" 1 ,  2 ,  3"));
        QCOMPARE(bench.Colour("Label11"), red);
    }

    void Noise()
    {
        DashboardBench bench;
        bench.Open();
        bench.board.On(5, 0, [](const QByteArray &) { return Bytes({65, 66, 27, 2, 63, 0}); });
        bench.Refresh();
        QCOMPARE(bench.Text("LbTempcad"), QStringLiteral(" 575"));
    }

    void Clock()
    {
        DashboardBench bench;
        bench.Open();
        bench.board.hours = 23;
        bench.board.minutes = 5;
        bench.board.seconds = 0;
        bench.Refresh();
        QCOMPARE(bench.Text("Label28"), QStringLiteral(" 23 ,  5 ,  0"));
    }

    // ---- errors

    void FatalErrors_data()
    {
        QTest::addColumn<int>("channel");
        for (int channel = 5; channel <= 13; ++channel)
            QTest::addRow("high byte 128 of channel %d", channel) << channel;
        QTest::addRow("battery divisor 0") << 0;
    }
    void FatalErrors()
    {
        QFETCH(int, channel);
        DashboardBench bench;
        bench.Open();
        if (channel == 0)
            bench.link.SlaveEeprom[6] = bench.link.SlaveEeprom[7] = 0;
        else
            bench.board.channel[channel] = 128 * 256;
        bench.Button("CBAUTO")->click();
        SOON_EQUAL(OpenBoxes().size(), 1);
        QVERIFY(OpenBoxes().first()->text().startsWith(channel == 0 ? QStringLiteral("Division par zéro : ")
                                                                    : QStringLiteral("Dépassement de capacité : ")));
        const int last = channel == 0 ? 13 : channel;
        QCOMPARE(bench.board.Received(), refreshBytes.left(2 * (last - 4)));
        QVERIFY(!bench.Ticker()->Enabled());
        QCOMPARE(bench.window.REF, 0);
        QVERIFY(!bench.Button("CbLed")->isEnabled());
    }

    void ClosedPort()
    {
        DashboardBench bench;
        bench.Open();
        bench.ClosePort();
        bench.Button("CBAUTO")->click();
        SOON_EQUAL(OpenBoxes().size(), 1);
        AnswerBoxes();
        QSignalSpy ticks(bench.Ticker(), &Timer::Tick);
        SOON(ticks.size() >= 3); // it goes on trying, and says no more
        QVERIFY(OpenBoxes().isEmpty());
        bench.link.OpenPort();
        SOON(bench.board.Received().size() >= refreshBytes.size());
        QCOMPARE(bench.board.Received().left(refreshBytes.size()), refreshBytes);
    }

    void ACutReadingIsReadAgain()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(8);
        bench.Button("CBmanuel")->click();
        SOON_EQUAL(bench.board.Received(), refreshBytes.left(8));
        bench.AnswerAgain(8);
        bench.Reopen();
        SOON_EQUAL(bench.window.REF, 0);
        QCOMPARE(bench.board.Received(), refreshBytes.left(8) + refreshBytes.mid(6));
    }

    // ---- automatic refresh

    void Auto()
    {
        DashboardBench bench;
        bench.Open();
        bench.Button("CBAUTO")->click();
        QCOMPARE(bench.Text("Label1"), QStringLiteral("Auto = on"));
        QCOMPARE(bench.window.Autoon, 1);
        QVERIFY(bench.Ticker()->Enabled());
        QVERIFY(bench.board.Received().isEmpty()); // the first comes with the first tick
        QSignalSpy ticks(bench.Ticker(), &Timer::Tick);
        SOON(ticks.size() == 3 && bench.window.REF == 0);
        QCOMPARE(bench.board.TakeReceived(), refreshBytes + refreshBytes + refreshBytes);
        bench.Button("CBAUTO")->click();
        QCOMPARE(bench.Text("Label1"), QStringLiteral("Auto = off"));
        QCOMPARE(bench.window.Autoon, 0);
        QVERIFY(!bench.Ticker()->Enabled());
        QCOMPARE(bench.Press("CbBeep"), Bytes({27, 24, 10}));
        QVERIFY(!bench.Ticker()->Enabled());
    }

    void SwitchingOffInMidRefreshEndsWithIt()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(8);
        bench.Button("CBAUTO")->click();
        SOON_EQUAL(bench.board.Received(), refreshBytes.left(8));
        bench.Button("CBAUTO")->click();
        QCOMPARE(bench.Text("Label1"), QStringLiteral("Auto = off"));
        bench.AnswerAgain(8);
        bench.board.Send(Bytes({27, 0, 0, 0}));
        SOON_EQUAL(bench.window.REF, 0);
        QCOMPARE(bench.board.Received(), refreshBytes);
        QVERIFY(!bench.Ticker()->Enabled());
    }

    void HandlersHoldTheTimer_data()
    {
        QTest::addColumn<QByteArray>("control");
        QTest::addColumn<QByteArray>("request");
        for (const auto &[control, request] :
             {std::pair("Cbcutch", Bytes({27, 15, 0})), std::pair("CbCutdech", Bytes({27, 16, 0})),
              std::pair("CbCutpwr", Bytes({27, 17, 0})), std::pair("Cbgndbat", Bytes({27, 18, 0})),
              std::pair("CbLed", Bytes({27, 23, 1})), std::pair("Cbventillo", Bytes({27, 25, 1})),
              std::pair("CbCutDBl", Bytes({27, 51, 0})), std::pair("Slider1", Bytes({27, 19, 200})),
              std::pair("Slider2", Bytes({27, 20, 200})), std::pair("Slider3", Bytes({27, 21, 200})),
              std::pair("Slider4", Bytes({27, 22, 200})), std::pair("SliderPWMFreq", Bytes({27, 51, 1, 200, 0, 0})),
              std::pair("SliderPWMDelta", Bytes({27, 51, 1, 40, 0, 200}))})
            QTest::newRow(control) << QByteArray(control) << request;
    }
    void HandlersHoldTheTimer()
    {
        QFETCH(QByteArray, control);
        QFETCH(QByteArray, request);
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(request[1], static_cast<int>(request.size()) - 2);
        bench.Button("CBAUTO")->click();
        if (auto *slider = bench.SliderOf(control.constData()))
            slider->setValue(200);
        else
            bench.Button(control.constData())->click();
        QVERIFY(!bench.Ticker()->Enabled());
        SOON_EQUAL(bench.board.Received(), request);
        QVERIFY(!bench.Ticker()->Enabled());
        bench.board.Send(Bytes({6}));
        SOON(bench.Ticker()->Enabled());
        QCOMPARE(bench.window.Autoon, 1);
    }

    void TheLastOfOverlappingHandlersReArms()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(15, 1);
        bench.HoldBack(23, 1);
        bench.Button("CBAUTO")->click();
        bench.Button("Cbcutch")->click();
        bench.Button("CbLed")->click();
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 15, 0, 27, 23, 1}));
        QVERIFY(!bench.Ticker()->Enabled());
        bench.board.Send(Bytes({6}));
        SOON(bench.Ticker()->Enabled());
    }

    void SwitchedOffMeanwhileTheTimerStaysOff()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(15, 1);
        bench.Button("CBAUTO")->click();
        bench.Button("Cbcutch")->click();
        bench.Button("CBAUTO")->click();
        QCOMPARE(bench.Text("Label1"), QStringLiteral("Auto = off"));
        bench.board.Send(Bytes({6}));
        SOON(bench.link.line.Idle());
        QVERIFY(!bench.Ticker()->Enabled());
    }

    // ---- in mid-refresh

    void EverythingElseWaitsForTheEndOfARefresh()
    {
        DashboardBench bench;
        bench.Open();
        bench.bits = {{31, 2}};
        bench.HoldBack(8);
        bench.Button("CBmanuel")->click();
        SOON_EQUAL(bench.board.Received(), refreshBytes.left(8));
        bench.Button("Cbcutch")->click();
        bench.SliderOf("Slider4")->setValue(9);
        bench.SliderOf("Slider4")->setValue(10);
        bench.Button("CbBeep")->click();
        QCOMPARE(bench.BoxText("TxVdecal"), QStringLiteral("000"));
        bench.AnswerAgain(8);
        bench.board.Send(Bytes({27, 0, 0, 0}));
        SOON_EQUAL(bench.board.Received().size(), refreshBytes.size() + 9);
        const QByteArray received = bench.board.Received();
        QCOMPARE(received.left(refreshBytes.size()), refreshBytes);
        // The press starts from the bit that the refresh has read.
        QVERIFY(received.contains(Bytes({27, 15, 1})));
        QVERIFY(received.contains(Bytes({27, 22, 10})));
        QCOMPARE(bench.BoxText("TxVdecal"), QStringLiteral(" 10"));
        QVERIFY(received.contains(Bytes({27, 24, 10})));
        QCOMPARE(bench.Colour("Label21"), green);
    }

    void ARefreshAskedForInARefreshFollowsIt()
    {
        DashboardBench bench;
        bench.Open();
        for (int press = 0; press < 3; ++press)
            bench.Button("CBmanuel")->click();
        SOON_EQUAL(bench.board.Received(), refreshBytes + refreshBytes + refreshBytes);
        SOON_EQUAL(bench.window.REF, 0);
    }

    void PressesAndRefreshesTogetherNeverBlockEachOther()
    {
        DashboardBench bench;
        bench.Open();
        bench.Button("CBAUTO")->click();
        const QSignalSpy ticks(bench.Ticker(), &Timer::Tick);
        for (int round = 0; round < 10; ++round) {
            const auto before = ticks.size();
            for (const char *button : {"CbLed", "CBmanuel", "Cbcutch", "CbLed", "CBmanuel", "CbCutDBl", "CbBeep"})
                bench.Button(button)->click();
            bench.SliderOf("Slider2")->setValue(round + 1);
            SOON(bench.board.Received().endsWith(refreshBytes) && ticks.size() > before);
        }
        bench.Button("CBAUTO")->click();
        SOON(bench.window.REF == 0 && bench.link.line.Idle());
    }

    void NoOtherExchangeOvertakesAReading()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(8);
        bench.Button("CBmanuel")->click();
        SOON_EQUAL(bench.board.Received(), refreshBytes.left(8));
        bench.others.Start(measurement::WriteRegister(bench.link, 17, 0));
        Simulated().Run(3 * Exchanges::patience); // the others are overtaken after one
        QCOMPARE(bench.board.Received(), refreshBytes.left(8));
        QVERIFY(bench.window.isVisible());
        bench.AnswerAgain(8);
        bench.board.Send(Bytes({27, 0, 0, 0}));
        SOON_EQUAL(bench.window.REF, 0);
        QCOMPARE(bench.board.Received(), refreshBytes.left(8) + Bytes({27, 17, 0}) + refreshBytes.mid(8));
    }

    void Closing_data()
    {
        QTest::addColumn<bool>("button");
        QTest::newRow("Fermer") << true;
        QTest::newRow("title bar") << false;
    }
    void Closing()
    {
        QFETCH(bool, button);
        DashboardBench bench;
        bench.Open();
        bench.Button("CBAUTO")->click();
        QVERIFY(bench.Ticker()->Enabled());
        if (button)
            bench.Button("CBfermeretat")->click();
        else
            bench.window.close();
        QVERIFY(!bench.window.isVisible());
        QVERIFY(!bench.Ticker()->Enabled());
        QVERIFY(bench.board.Received().isEmpty());
    }

    void ClosingInMidRefreshEndsItWithTheReadingInHand()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(8);
        bench.Button("CBAUTO")->click();
        bench.Button("CBmanuel")->click();
        SOON_EQUAL(bench.board.Received(), refreshBytes.left(8));
        bench.Button("CBfermeretat")->click();
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(bench.window.REF, 0);
        QVERIFY(!bench.Ticker()->Enabled());
        bench.board.Send(Bytes({27, 0, 0, 0}));
        SOON(bench.link.line.Idle());
        QCOMPARE(bench.board.TakeReceived(), refreshBytes.left(8));
        QCOMPARE(bench.Text("LBInvCad"), QString());
        QVERIFY(!bench.Ticker()->Enabled());

        bench.AnswerAgain(8);
        bench.Open();
        bench.Refresh();
        QCOMPARE(bench.board.Received(), refreshBytes);
    }

    void APressBeforeTheClosingStillReachesTheBoard()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(8);
        bench.Button("CBAUTO")->click();
        bench.Button("CBmanuel")->click();
        SOON_EQUAL(bench.board.Received(), refreshBytes.left(8));
        bench.Button("CbCutpwr")->click();
        bench.window.close();
        bench.board.Send(Bytes({27, 0, 0, 0}));
        SOON_EQUAL(bench.board.Received(), refreshBytes.left(8) + Bytes({27, 17, 0}));
        SOON(bench.link.line.Idle());
        QVERIFY(!bench.Ticker()->Enabled());
    }

    void WhatWasNotSentIsVoidInTheNextOpening()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(15, 1);
        bench.Button("Cbcutch")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 15, 0})); // and no answer
        bench.Button("CbLed")->click();
        bench.SliderOf("Slider1")->setValue(7);
        bench.window.close();
        bench.window.Open();
        bench.Button("CBAUTO")->click();
        QVERIFY(bench.Ticker()->Enabled()); // nothing of before holds it
        bench.Button("CBAUTO")->click();
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 15, 0, 27, 0}));
        SOON(bench.link.line.Idle());
        QCOMPARE(bench.board.Received(), Bytes({27, 15, 0, 27, 0}));
        QCOMPARE(bench.window.LedState, 0);
        QCOMPARE(bench.Colour("Label17"), QColor(128, 128, 128));
        QCOMPARE(bench.BoxText("TxIch"), QStringLiteral("000"));
    }

    void ClosingFreesTheLineFromASilentBoard()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(8);
        bench.Button("CBmanuel")->click();
        SOON_EQUAL(bench.board.Received(), refreshBytes.left(8));
        bench.window.close();
        bench.others.Start(measurement::WriteRegister(bench.link, 17, 0));
        SOON_EQUAL(bench.board.Received(), refreshBytes.left(8) + Bytes({27, 17, 0}));
        SOON(bench.others.Idle()); // asked again, once the answer before it is known to be lost
        bench.board.TakeReceived();
        bench.AnswerAgain(8);
        bench.window.Open();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 0}));
        bench.Refresh();
        QCOMPARE(bench.board.Received(), Bytes({27, 0}) + refreshBytes);
    }

    void ARefreshBehindALostAnswerIsMadeAllTheSame()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(17, 1);
        bench.others.Start(measurement::WriteRegister(bench.link, 17, 0));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 17, 0}));
        bench.board.On(17, 1, [](const QByteArray &) { return Bytes({6}); });
        bench.Refresh(); // the first byte of its first answer passes for the one that was lost
        SOON(bench.others.Idle());
        QCOMPARE(bench.board.Received(), Bytes({27, 17, 0}) + refreshBytes.first(2) + refreshBytes.first(2) +
                                             refreshBytes + Bytes({27, 17, 0}));
        QCOMPARE(bench.Text("LbTempcad"), QStringLiteral(" 575"));
    }

    void AReadingThatIsCutAfterTheClosingIsNotAskedForAgain()
    {
        DashboardBench bench;
        bench.Open();
        bench.HoldBack(8);
        bench.Button("CBmanuel")->click();
        SOON_EQUAL(bench.board.Received(), refreshBytes.left(8));
        bench.window.close();
        bench.Reopen();
        bench.others.Start(measurement::WriteRegister(bench.link, 17, 0));
        SOON(bench.others.Idle());
        QCOMPARE(bench.board.Received(), refreshBytes.left(8) + Bytes({27, 17, 0}));
    }

    void AWindowMayEndInMidRefresh()
    {
        DashboardBench bench;
        {
            Kept<FEtat> window(bench.link);
            window.Open();
            SOON_EQUAL(bench.board.Received(), Bytes({27, 0}));
            SOON(bench.link.line.Idle());
            bench.board.TakeReceived();
            bench.HoldBack(8);
            window.findChild<QPushButton *>(QStringLiteral("CBmanuel"))->click();
            window.findChild<QPushButton *>(QStringLiteral("CBAUTO"))->click();
            window.findChild<QPushButton *>(QStringLiteral("CbLed"))->click();
            SOON_EQUAL(bench.board.Received(), refreshBytes.left(8));
        }
        bench.board.Send(Bytes({27, 0, 0, 0}));
        bench.others.Start(measurement::WriteRegister(bench.link, 17, 0));
        SOON_EQUAL(bench.board.Received(), refreshBytes.left(8) + Bytes({27, 17, 0}));
    }
};

REGISTER_TEST(TestFEtatRefresh)
#include "tst_fetat_refresh.moc"
