// SPDX-License-Identifier: GPL-3.0-or-later
#include "capacitybench.h"
#include "support/controls.h"
#include "support/suite.h"

#include <QLocale>
#include <QScreen>

namespace {
const QColor green(0, 255, 0);
const QColor grey(128, 128, 128);
const QColor red(255, 0, 0);
} // namespace

class TestMesCapa : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        Timer::SetScale(1);
        QLocale::setDefault(QLocale::c());
    }

    // ---- the window

    void TheFirstSliderHasTheFocus()
    {
        CapacityBench bench;
        SOON_EQUAL(QApplication::focusWidget(), bench.SliderOf("SlIChrg"));
    }

    void Controls_data()
    {
        AddControls({
            {"Frchrage", "QGroupBox", "PARAMETRES CHARGE ET DECHARGE"},
            {"LbVbat", "QLabel", ""},
            {"LbCadVbat", "QLabel", ""},
            {"Label20", "QLabel", "V Batterie"},
            {"LbIchrg", "QLabel", ""},
            {"LCadIchrg", "QLabel", ""},
            {"Label19", "QLabel", "I Charge"},
            {"LbIDech", "QLabel", ""},
            {"LbCadIDech", "QLabel", ""},
            {"LbIDChrg", "QLabel", "I Dech."},
            {"LbCadVDelta", "QLabel", ""},
            {"Label23", "QLabel", "V Delta"},
            {"LbICTot", "QLabel", "C = 0mAh"},
            {"LbIDTot", "QLabel", "D = 0mAh"},
            {"LbChrgtot", "QLabel", "Cour Total"},
            {"LbRchrg", "QLabel", ""},
            {"LbRes", "QLabel", "Resistance"},
            {"FrAlim", "QGroupBox", "PARAMETRES ALIMENTATIONS"},
            {"LbVAlim", "QLabel", ""},
            {"LbCadAlim", "QLabel", ""},
            {"Label13", "QLabel", "V ALIMENTATION"},
            {"LbVDbl", "QLabel", ""},
            {"LbCadDbl", "QLabel", ""},
            {"Label14", "QLabel", "V DOUBLEUR"},
            {"LbTemp", "QLabel", ""},
            {"LbCadTemp", "QLabel", ""},
            {"Label15", "QLabel", "TEMPERATURE"},
            {"Dspvent", "QLabel", ""},
            {"FrClock", "QGroupBox", "HORLOGE"},
            {"LbH", "QLabel", "H"},
            {"LbM", "QLabel", "M"},
            {"LbS", "QLabel", "S"},
            {"FrEtat", "QGroupBox", "ETAT"},
            {"LbEtat", "QLabel", ""},
            {"FrReglages", "QGroupBox", "REGLAGES"},
            {"SlIChrg", "QSlider", nullptr},
            {"Label12", "QLabel", "COURANT DE CHARGE = 0.00 A"},
            {"SlIDech", "QSlider", nullptr},
            {"Label25", "QLabel", "COURANT DEDECHARGE = 0.00 A"},
            {"TxNbrCycles", "QLineEdit", "1"},
            {"LbNbrCycles", "QLabel", "Nombre de Cycles"},
            {"TxNbElem", "QLineEdit", "4"},
            {"LbNbElem", "QLabel", "Nombre d'éléments"},
            {"TxMode", "QLineEdit", "0"},
            {"LbMode", "QLabel", "Mode"},
            {"CBstart", "QPushButton", "Demarrage"},
            {"CBStop", "QPushButton", "Arret"},
            {"CbRetour", "QPushButton", "RETOUR"},
        });
    }
    void Controls()
    {
        CapacityBench bench;
        CheckControl(bench.window);
    }

    void OpensAndSendsNothing()
    {
        CapacityBench bench;
        QCOMPARE(bench.window.objectName(), QStringLiteral("MesCapa"));
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("MESURE CAPACITE BATTERIE"));
        QVERIFY(bench.window.isVisible());
        for (const char *name : {"SlIChrg", "SlIDech"}) {
            QCOMPARE(bench.SliderOf(name)->minimum(), 0);
            QCOMPARE(bench.SliderOf(name)->maximum(), 255);
            QCOMPARE(bench.SliderOf(name)->value(), 0);
        }
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        QVERIFY(!bench.TimerOf("Timerch2")->Enabled());
        QCOMPARE(bench.Lamp(), grey);
        QVERIFY(bench.window.findChild<QLabel *>(QStringLiteral("Dspvent"))->autoFillBackground());
        const QPoint off = bench.window.geometry().center() - bench.window.screen()->availableGeometry().center();
        QVERIFY(qAbs(off.x()) <= 2 && qAbs(off.y()) <= 2);
        // A slider's write comes after all that the opening may have sent.
        bench.SliderOf("SlIChrg")->setValue(1);
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 1}));
    }

    void TimersHaveTheirIntervals()
    {
        CapacityBench bench;
        QCOMPARE(bench.TimerOf("Timerchargeur")->Interval(), 2000);
        QCOMPARE(bench.TimerOf("Timerch2")->Interval(), 100);
    }

    void OpeningIsAnnouncedBeforeTheWindowShows()
    {
        CapacityBench bench;
        bench.Button("CbRetour")->click();
        SOON(!bench.window.isVisible());
        bool visible = true;
        QSignalSpy opened(&bench.window, &MesCapa::Opened);
        connect(&bench.window, &MesCapa::Opened, this, [&] { visible = bench.window.isVisible(); });
        bench.window.Open();
        QCOMPARE(opened.size(), 1);
        QVERIFY(!visible);
        bench.window.Open(); // is only raised
        QCOMPARE(opened.size(), 1);
    }

    // ---- the sliders

    void SlidersSetTheCurrents()
    {
        CapacityBench bench;
        bench.SliderOf("SlIChrg")->setValue(100);
        QCOMPARE(bench.Text("Label12"), QStringLiteral("COURANT DE CHARGE = 1.25 A"));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 100}));
        QSignalSpy sent(&bench.window, &MesCapa::SettingSent);
        SOON_EQUAL(sent.size(), 1);
        bench.SliderOf("SlIDech")->setValue(50);
        QCOMPARE(bench.Text("Label25"), QStringLiteral("COURANT DE DECHARGE = 1.25 A"));
        SOON_EQUAL(sent.size(), 2);
        bench.SliderOf("SlIDech")->setValue(1);
        QCOMPARE(bench.Text("Label25"), QStringLiteral("COURANT DE DECHARGE = 0.02 A"));
        SOON_EQUAL(sent.size(), 3);
        bench.SliderOf("SlIDech")->setValue(0);
        QCOMPARE(bench.Text("Label25"), QStringLiteral("COURANT DE DECHARGE = 0 A"));
        SOON_EQUAL(sent.size(), 4);
        QCOMPARE(bench.board.Received(), Bytes({27, 19, 100, 27, 20, 50, 27, 20, 1, 27, 20, 0}));
    }

    void SliderWithoutScaleIsADivisionByZero_data()
    {
        QTest::addColumn<QString>("slider");
        QTest::addColumn<int>("scale");
        QTest::newRow("charge") << QStringLiteral("SlIChrg") << 4;
        QTest::newRow("discharge") << QStringLiteral("SlIDech") << 5;
    }
    void SliderWithoutScaleIsADivisionByZero()
    {
        QFETCH(QString, slider);
        QFETCH(int, scale);
        CapacityBench bench;
        bench.link.SlaveEeprom[static_cast<size_t>(scale)] = 0;
        bench.window.findChild<QSlider *>(slider)->setValue(7);
        QCOMPARE(BoxTexts().size(), 1);
        QVERIFY(BoxTexts()[0].startsWith(QStringLiteral("Division par zéro")));
        bench.Button("CBStop")->click();
        SOON_EQUAL(bench.board.Received(), stopBytes); // and nothing of the slider
    }

    void MovesThatAreSupersededAreSkipped()
    {
        CapacityBench bench;
        bench.board.On(19, 1, [](const QByteArray &) { return QByteArray(); });
        bench.SliderOf("SlIChrg")->setValue(10); // holds the line
        SOON_EQUAL(bench.board.Received(), Bytes({27, 19, 10}));
        for (int value = 11; value <= 20; ++value)
            bench.SliderOf("SlIChrg")->setValue(value);
        bench.board.On(19, 1, [](const QByteArray &) { return Bytes({6}); });
        bench.board.Send(Bytes({6}));
        QSignalSpy sent(&bench.window, &MesCapa::SettingSent);
        SOON(!sent.isEmpty());
        QCOMPARE(bench.board.Received(), Bytes({27, 19, 10, 27, 19, 20}));
    }

    // ---- a whole measurement

    void OneCycleByteForByte()
    {
        CapacityBench bench;
        bench.SliderOf("SlIChrg")->setValue(100);
        bench.SliderOf("SlIDech")->setValue(50);
        QSignalSpy sent(&bench.window, &MesCapa::SettingSent);
        SOON_EQUAL(sent.size(), 2);
        bench.board.TakeReceived();
        ScriptOneCycle(bench);
        QSignalSpy ended(&bench.window, &MesCapa::Ended);
        const RunNews &news = bench.window.News();
        QStringList phases;
        std::vector<RunPoint> points;
        QSignalSpy over(&news, &RunNews::Over);
        connect(&news, &RunNews::PhaseBegan, &bench.window, [&](const QString &name) { phases.append(name); });
        connect(&news, &RunNews::Measured, &bench.window, [&](const RunPoint &point) { points.push_back(point); });
        bench.Start();
        LATER_EQUAL(ended.size(), 1);
        QCOMPARE(bench.board.TakeReceived(), OneCycleBytes(100, 50));
        QVERIFY(BoxTexts().isEmpty());
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());

        QStringList expected = {QStringLiteral("Preparation Ch/Decharge"), QStringLiteral("Reglage Delta"),
                                QStringLiteral("Charge"), QStringLiteral("Pause")};
        QStringList countdown;
        for (int left = 120; left >= 1; --left)
            countdown.append(QStringLiteral(" %1Pause ... ").arg(left));
        expected += countdown;
        expected += {QStringLiteral("Decharge"), QStringLiteral("Mesure Resistance"), QStringLiteral("Decharge")};
        expected += countdown;
        expected += {QStringLiteral("Reglage Delta"), QStringLiteral("Charge"), QStringLiteral("Fin du Processus")};
        QCOMPARE(bench.states, expected);

        QCOMPARE(bench.Result(),
                 QByteArray(
                     "DUREE:TEMPER:ICHRG:IDECHRG:TOTALCHARGE:TOTALDECHARGE:VBAT:VUNIT:VDELTA:RESISTANCE:TEMPS\r\n"
                     "\r\n"
                     " 2 : 25 : 1.5 : 1 : 0 : 2 : 5.12 : 1.28 : 100 : 89 : 2.31481481481481E-05 \r\n"
                     " 4 : 25 : 1.5 : 1 : 0 : 4 : 3.58 : 0.89 : 100 : 89 : 4.62962962962963E-05 \r\n"
                     "*********:**********:*************:******************************************************\r\n"
                     " 2 : 25 : 1.5 : 1 : 0 : 4 : 5.12 : 1.28 : 800 : 89 : 2.31481481481481E-05 \r\n"
                     " 4 : 25 : 1.5 : 1 : 3 : 4 : 5.12 : 1.28 : 794 : 89 : 4.62962962962963E-05 \r\n"
                     "=========:==========:=============:========:=============================================\r\n"));

        // What it tells those who follow it.
        QCOMPARE(phases,
                 QStringList({QStringLiteral("Preparation Ch/Decharge"), QStringLiteral("Reglage Delta"),
                              QStringLiteral("Charge"), QStringLiteral("Pause"), QStringLiteral("Decharge"),
                              QStringLiteral("Pause"), QStringLiteral("Reglage Delta"), QStringLiteral("Charge")}));
        QCOMPARE(news.Log(), bench.window.ResultPath());
        QCOMPARE(over.size(), 1);
        QCOMPARE(over[0][0].value<RunEnd>().how, RunEnd::How::Rule);
        QCOMPARE(points.size(), 6u);
        QVERIFY(std::ranges::is_sorted(points, {}, &RunPoint::seconds));
        QCOMPARE(points[2].amperes, -1.0);
        QCOMPARE(points[2].resistance, 89);
        QVERIFY(!points[2].delta);
        QCOMPARE(points[4].amperes, 1.5);
        QCOMPARE(points[4].delta, 800);
        QCOMPARE(points[4].temperature, 25.0);

        QCOMPARE(bench.Text("LbEtat"), QStringLiteral("Fin du Processus"));
        QCOMPARE(bench.Text("Label23"), QStringLiteral("VDelta"));
        QCOMPARE(bench.Text("LbVAlim"), QStringLiteral(" 13.65V"));
        QCOMPARE(bench.Text("LbCadAlim"), QStringLiteral(" 800"));
        QCOMPARE(bench.Text("LbVDbl"), QStringLiteral(" 23.04V"));
        QCOMPARE(bench.Text("LbCadDbl"), QStringLiteral(" 900"));
        QCOMPARE(bench.Text("LbTemp"), QStringLiteral(" 25"));
        QCOMPARE(bench.Text("LbCadTemp"), QStringLiteral(" 575"));
        QCOMPARE(bench.Text("LbIchrg"), QStringLiteral(" 1.5A"));
        QCOMPARE(bench.Text("LCadIchrg"), QStringLiteral(" 300"));
        QCOMPARE(bench.Text("LbIDech"), QStringLiteral(" 1A"));
        QCOMPARE(bench.Text("LbCadIDech"), QStringLiteral(" 200"));
        QCOMPARE(bench.Text("LbVbat"), QStringLiteral(" 5.12V"));
        QCOMPARE(bench.Text("LbCadVbat"), QStringLiteral(" 600"));
        QCOMPARE(bench.Text("LbICTot"), QStringLiteral("C  0mAh"));
        QCOMPARE(bench.Text("LbIDTot"), QStringLiteral("D  1mAh"));
        QCOMPARE(bench.Text("LbRchrg"), QStringLiteral(" 89 mR"));
        QCOMPARE(bench.Text("LbCadVDelta"), QStringLiteral(" 800"));

        // A new start does it all again.
        ScriptOneCycle(bench);
        bench.Start();
        LATER_EQUAL(ended.size(), 2);
        QCOMPARE(bench.board.TakeReceived(), OneCycleBytes(100, 50));
    }

    void ResultFileFollowsTheLocale()
    {
        QLocale::setDefault(QLocale(QLocale::French, QLocale::France));
        CapacityBench bench;
        ScriptOneCycle(bench);
        QSignalSpy ended(&bench.window, &MesCapa::Ended);
        bench.Start();
        LATER_EQUAL(ended.size(), 1);
        QCOMPARE(bench.Result().split('\n').at(2),
                 QByteArray(" 2 : 25 : 1,5 : 1 : 0 : 2 : 5,12 : 1,28 : 100 : 89 : 2,31481481481481E-05 \r"));
        QCOMPARE(bench.Text("LbIchrg"), QStringLiteral(" 1.5A")); // labels keep the point
    }

    void CyclesAsAskedFor_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("cycles");
        QTest::newRow("0") << QStringLiteral("0") << 1;
        QTest::newRow("2") << QStringLiteral("2") << 2;
        QTest::newRow("1.9") << QStringLiteral("1.9") << 1;
        QTest::newRow("abc") << QStringLiteral("abc") << 1;
    }
    void CyclesAsAskedFor()
    {
        QFETCH(QString, text);
        QFETCH(int, cycles);
        CapacityBench bench;
        ScriptOneCycle(bench);
        if (cycles == 2) {
            bench.deltas += {100, 100, 100, 800, 800, 794};
            bench.volts += {600, 600, 600, 600, 590, 600, 600, 420};
        }
        bench.Box("TxNbrCycles")->setText(text);
        QSignalSpy ended(&bench.window, &MesCapa::Ended);
        bench.Start();
        LATER_EQUAL(ended.size(), 1);
        QCOMPARE(bench.states.filter(QStringLiteral("Mesure Resistance")).size(), cycles);
        QCOMPARE(bench.states.count(QStringLiteral("Charge")), 1 + cycles);
        // One cycle is in the file, the last one; the line for another has no file to go to, and that is said.
        QCOMPARE(bench.Result().count("\r\n"), 8);
        const QStringList boxes = BoxTexts();
        QCOMPARE(boxes.size(), cycles - 1);
        if (cycles == 2)
            QVERIFY(boxes[0].startsWith(QLatin1String("Erreur de fichier")));
    }

    void FileIsThereOnlyInTheLastCycle()
    {
        CapacityBench bench;
        bench.deltas = {800, 800, 794};
        bool before = false;
        connect(&bench.window, &MesCapa::StateShown, this, [&](const QString &text) {
            if (text == QLatin1String(" 1Pause ... "))
                before = bench.window.ResultPath().isEmpty();
        });
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        LATER_EQUAL(bench.Text("LbEtat"), QStringLiteral("Decharge"));
        QVERIFY(before);
        LATER(measured.size() >= 5);
        const QString name = QFileInfo(bench.window.ResultPath()).fileName();
        QVERIFY2(name.startsWith(QLatin1String("Capa_Bat_D")), qPrintable(name));
        QCOMPARE(QFileInfo(bench.window.ResultPath()).canonicalPath(),
                 QFileInfo(bench.folder.filePath(QStringLiteral("log"))).canonicalFilePath());
        QCOMPARE(QDir::current().canonicalPath(), QFileInfo(bench.window.ResultPath()).canonicalPath());
        QVERIFY(bench.Result().count("\r\n") >= 4); // every tick is on disk at once
    }

    // ---- preparation and search

    void RampCountsTheCurrentTwelveTimes()
    {
        CapacityBench bench;
        QStringList totals;
        bench.board.On(41, 0, [&](const QByteArray &) {
            totals.append(bench.Text("LbICTot")); // what the readings before this one have shown
            return Bytes({27, 7, 12, 0, 0});
        });
        bench.Start();
        LATER(totals.size() >= 34);
        bench.Button("CBStop")->click();
        QCOMPARE(totals[1], QStringLiteral("C  5mAh")); // 12 × 1.5 A
        QCOMPARE(totals[2], QStringLiteral("C  10mAh"));
        QCOMPARE(totals[30], QStringLiteral("C  150mAh")); // thirty times that
        QCOMPARE(totals[31], QStringLiteral("C  150mAh")); // then 2 × 1.5 A: 543 As
        QCOMPARE(totals[32], QStringLiteral("C  151mAh")); // 546 As
        QCOMPARE(totals[33], QStringLiteral("C  152mAh")); // 549 As
        QCOMPARE(bench.Text("LbH"), QStringLiteral("07"));
        QCOMPARE(bench.Text("LbM"), QStringLiteral(" 12"));
        QCOMPARE(bench.Text("LbS"), QStringLiteral("00"));
    }

    void OffsetIsSearchedUpwards()
    {
        CapacityBench bench;
        bench.deltas = {100, 700, 701, 900}; // 700 is not above 700
        bench.Start();
        LATER(bench.states.contains(QStringLiteral("Charge")));
        const QByteArray expected = resetBytes + RampBytes() + Bytes({27, 21, 0, 27, 22, 255}) + idleBytes +
                                    batteryBytes + Bytes({27, 21, 10}) + batteryBytes + Bytes({27, 21, 20}) +
                                    batteryBytes + Bytes({27, 21, 30, 27, 19, 0}) + chargeBytes;
        LATER(bench.board.Received().size() >= expected.size());
        QCOMPARE(bench.board.Received().left(expected.size()), expected);
    }

    void SearchShowsTheCount()
    {
        CapacityBench bench;
        bench.usualDelta = 123;
        QString shown;
        connect(&bench.window, &MesCapa::StateShown, this, [&](const QString &text) {
            if (text == QLatin1String("Probleme V Delta"))
                shown = bench.Text("LbCadVDelta");
        });
        bench.Start();
        LATER_EQUAL(shown, QStringLiteral(" 123"));
    }

    void OffsetIsSearchedDownwardsThen()
    {
        CapacityBench bench;
        bench.deltas.fill(0, 25);
        bench.deltas += {700, 750};
        bench.Start();
        LATER(bench.states.contains(QStringLiteral("Charge")));
        QByteArray expected = resetBytes + RampBytes() + Bytes({27, 21, 0, 27, 22, 255}) + idleBytes;
        for (int offset = 10; offset <= 250; offset += 10)
            expected += batteryBytes + Bytes({27, 21, offset});
        expected += batteryBytes + Bytes({27, 22, 245}) + batteryBytes + Bytes({27, 22, 235}) + Bytes({27, 19, 0}) +
                    chargeBytes;
        LATER(bench.board.Received().size() >= expected.size());
        QCOMPARE(bench.board.Received().left(expected.size()), expected);
    }

    void PlaceFoundAtTheVeryEndCountsAsNone()
    {
        CapacityBench bench;
        bench.deltas.fill(0, 24);
        bench.deltas += {800, 800};
        bench.Start();
        LATER(bench.states.contains(QStringLiteral("Charge")));
        QVERIFY(bench.board.Received().contains(Bytes({27, 21, 250}) + batteryBytes + Bytes({27, 22, 245, 27, 19, 0})));
    }

    void NoPlaceIsSaidForATickAndTheCycleGoesOn()
    {
        CapacityBench bench;
        bench.usualDelta = 0;
        Stopwatch watch;
        Clock::Duration shown{};
        QByteArray sent;
        connect(&bench.window, &MesCapa::StateShown, this, [&](const QString &text) {
            if (text == QLatin1String("Probleme V Delta")) {
                watch.Restart();
                sent = bench.board.TakeReceived();
            } else if (text == QLatin1String("Pause")) {
                shown = watch.Elapsed();
            }
        });
        bench.Start();
        LATER(bench.states.contains(QStringLiteral("Pause")));
        QVERIFY(shown == 2s);
        QByteArray search = Bytes({27, 21, 0, 27, 22, 255}) + idleBytes;
        for (int offset = 10; offset <= 250; offset += 10)
            search += batteryBytes + Bytes({27, 21, offset});
        for (int second = 245; second >= 5; second -= 10)
            search += batteryBytes + Bytes({27, 22, second});
        QVERIFY(sent.endsWith(search));
        QVERIFY(bench.OutputsOff());
        LATER(bench.states.contains(QStringLiteral("Decharge")));
        const QByteArray discharge = resetBytes + idleBytes + batteryBytes + Bytes({27, 19, 0});
        LATER(bench.board.Received().size() >= discharge.size());
        QVERIFY(bench.board.Received().startsWith(discharge));
        QVERIFY(!bench.states.contains(QStringLiteral("Charge")));
    }

    // ---- charge

    void ChargeEndsSixBelowThePeak()
    {
        CapacityBench bench;
        bench.deltas = {800, 820, 815, 830, 825, 824}; // 825 is 5 below, 824 is 6
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        LATER(bench.states.contains(QStringLiteral("Pause")));
        QCOMPARE(measured.size(), 5);
        QVERIFY(bench.board.Received().endsWith(chargeTickBytes + chargeTickBytes));
    }

    void CountAboveTheRangeLowersTheOffset()
    {
        CapacityBench bench;
        // The search ends at offset 30. 1000 is still in the range.
        bench.deltas = {0, 0, 800, 1000, 1001, 1001, 940, 934, 933};
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        LATER(bench.states.contains(QStringLiteral("Pause")));
        QCOMPARE(measured.size(), 5);
        QVERIFY(bench.board.Received().endsWith(chargeTickBytes + chargeTickBytes + Bytes({27, 21, 28}) +
                                                chargeTickBytes + Bytes({27, 21, 26}) + chargeTickBytes +
                                                chargeTickBytes));
        QCOMPARE(measured[1][0].value<CapacityRecord>().VDeltaCount, 1001); // the record has the count as it was
        QCOMPARE(bench.Text("LbCadVDelta"), QStringLiteral(" 940"));        // as the readings of the last tick had it
    }

    void LoweredCountIsShownAsTen()
    {
        CapacityBench bench;
        bench.deltas = {800, 1001};
        bench.usualDelta = 1001; // and lowers on and on, with the offset at last at 0
        bench.Start();
        LATER_EQUAL(bench.Text("LbCadVDelta"), QStringLiteral(" 10"));
        LATER(bench.board.Received().contains(Bytes({27, 21, 0}) + chargeTickBytes + Bytes({27, 21, 0})));
        QCOMPARE(bench.Text("LbEtat"), QStringLiteral("Charge"));
    }

    void LongPhaseIsNoted()
    {
        Timer::SetScale(100000); // sixteen hours in some hundred ticks
        CapacityBench bench;
        QString noteOfThePause = QStringLiteral("?");
        connect(&bench.window, &MesCapa::StateShown, this, [&](const QString &text) {
            if (text == QLatin1String("Pause"))
                QMetaObject::invokeMethod(this, [&] { noteOfThePause = bench.Text("LbNote"); }, Qt::QueuedConnection);
        });
        bench.Start();
        LATER_EQUAL(bench.Text("LbEtat"), QStringLiteral("Charge"));
        LATER_EQUAL(bench.Text("LbNote"), QStringLiteral("Cette phase dure depuis plus de 16 heures"));
        QVERIFY(bench.Text("LbDuree").startsWith(QStringLiteral("Durée de la phase : ")));
        bench.usualDelta = 700;
        LATER(bench.states.contains(QStringLiteral("Pause")));
        LATER_EQUAL(noteOfThePause, QString());
    }

    // ---- discharge

    void DischargeReadsAsTheTextsSay()
    {
        CapacityBench bench;
        bench.deltas = {800, 800, 794};
        bench.Start();
        LATER_EQUAL(bench.Text("LbEtat"), QStringLiteral("Decharge"));
        LATER_EQUAL(bench.Text("LbCadVDelta"), QStringLiteral(" 1.28"));
        QCOMPARE(bench.Text("Label23"), QStringLiteral("VUnité"));
    }

    void EmptyPackIsNotDischarged()
    {
        CapacityBench bench;
        bench.deltas = {800, 800, 794, 100, 800, 800, 794};
        bench.volts = {600, 600, 600, 422}; // 3.6 V: exactly 0.9 V per cell
        QSignalSpy ended(&bench.window, &MesCapa::Ended);
        bench.Start();
        LATER_EQUAL(ended.size(), 1);
        QVERIFY(!bench.states.contains(QStringLiteral("Mesure Resistance")));
        const QByteArray discharge = resetBytes + idleBytes + batteryBytes + Bytes({27, 19, 0}) + resetBytes;
        QVERIFY(bench.board.Received().contains(discharge));
        QVERIFY(!bench.board.Received().contains(Bytes({27, 16, 1})));
    }

    void ResistanceIsMeasuredEveryFifteenTicks()
    {
        CapacityBench bench;
        bench.deltas = {800, 800, 794};
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        QList<qsizetype> when;
        connect(&bench.window, &MesCapa::StateShown, this, [&](const QString &text) {
            if (text == QLatin1String("Mesure Resistance"))
                when.append(measured.size() - 2); // ticks of the discharge that are over
        });
        bench.Start();
        LATER(when.size() >= 4);
        QCOMPARE(when.mid(0, 4), QList<qsizetype>({0, 15, 30, 45}));
    }

    void ResistanceReadDoesNotClearWhatWasRead()
    {
        CapacityBench bench;
        bench.deltas = {800, 800, 794};
        bench.Box("TxNbElem")->setText(QStringLiteral("0.5"));
        bench.link.SlaveEeprom[6] = 40; // 600 counts are 0.6 V, 1.2 V a cell
        bench.link.SlaveEeprom[7] = 0;
        bench.At(QStringLiteral("Mesure Resistance"), [&] {
            // The answer to the write before the reading is taken for its beginning: the count is 27 × 256 + 2.
            bench.board.On(18, 1, [](const QByteArray &) { return Bytes({27}); });
            bench.At(QStringLiteral("Decharge"),
                     [&] { bench.board.On(18, 1, [](const QByteArray &) { return Bytes({6}); }); });
        });
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        LATER(measured.size() >= 4);
        // V1 = Int(6914 × 1024 / 10240) / 100 = 6.91, V2 = 0.6; the difference is a little below -6.31 in binary.
        QCOMPARE(measured[3][0].value<CapacityRecord>().Resistance, -6311);
    }

    // ---- temperature

    void FanFollowsTheTemperature()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        const auto ticks = [&](int count) {
            const auto goal = measured.size() + count;
            return Simulated().RunUntil([&] { return measured.size() >= goal; });
        };
        bench.SetTemperature(50);
        bench.Start();
        LATER(measured.size() >= 2);
        const auto fans = [&] { return bench.board.Received().count(Bytes({27, 25})); };
        QCOMPARE(fans(), 0);
        QCOMPARE(bench.Lamp(), grey);
        bench.SetTemperature(51);
        LATER_EQUAL(bench.Lamp(), green);
        QVERIFY(ticks(3));
        QCOMPARE(fans(), 1);
        QVERIFY(bench.board.Received().contains(batteryBytes + Bytes({27, 25, 1}) + chargeBytes));
        bench.SetTemperature(45);
        QVERIFY(ticks(3));
        QCOMPARE(fans(), 1);
        QCOMPARE(bench.Lamp(), green);
        bench.SetTemperature(44);
        LATER_EQUAL(bench.Lamp(), grey);
        QVERIFY(ticks(3));
        QCOMPARE(fans(), 2);
        QVERIFY(bench.board.Received().contains(batteryBytes + Bytes({27, 25, 0}) + chargeBytes));
    }

    void OverheatedBoardIsHeldUntilItHasCooledDown()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.SetTemperature(90);
        bench.Start();
        LATER(measured.size() >= 3);
        QVERIFY(!bench.states.contains(QStringLiteral("!! Surchauffe !!")));
        bench.SetTemperature(91);
        LATER_EQUAL(bench.Text("LbEtat"), QStringLiteral("!! Surchauffe !!"));
        QCOMPARE(bench.Lamp(), red);
        QVERIFY(bench.OutputsOff());
        // From now on no fourth byte comes, and none is waited for.
        int readings = 0;
        int degrees = 86;
        bench.board.On(5, 0, [&](const QByteArray &) {
            ++readings;
            return CapacityBench::Reading(600 - degrees)
                .chopped(bench.Text("LbEtat") == QLatin1String("!! Surchauffe !!") ? 1 : 0);
        });
        bench.board.TakeReceived();
        LATER(readings >= 20);
        QCOMPARE(bench.Text("LbEtat"), QStringLiteral("!! Surchauffe !!"));
        QCOMPARE(bench.Text("LbTemp"), QStringLiteral(" 86"));
        QCOMPARE(bench.Text("LbCadTemp"), QStringLiteral(" 514"));
        const auto before = measured.size();
        degrees = 85;
        LATER_EQUAL(bench.Text("LbEtat"), QStringLiteral("Charge"));
        QCOMPARE(bench.Lamp(), red); // until the fan is next switched
        LATER(measured.size() >= before + 2);
        QByteArray hold = bench.board.TakeReceived();
        while (hold.startsWith(Bytes({27, 5})))
            hold.remove(0, 2);
        QVERIFY(hold.startsWith(chargeBytes));
    }

    void HoldKnowsTheBoardsFourthByteToo()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.SetTemperature(95);
        bench.Start();
        LATER_EQUAL(bench.Text("LbEtat"), QStringLiteral("!! Surchauffe !!"));
        bench.SetTemperature(60);
        LATER_EQUAL(bench.Text("LbEtat"), QStringLiteral("Charge"));
        const auto before = measured.size();
        LATER(measured.size() >= before + 3);
        QCOMPARE(bench.Text("LbTemp"), QStringLiteral(" 60"));
    }

    // ---- missing calibration

    void UncalibratedQuantitiesKeepTheirFormerValues()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        LATER(measured.size() >= 2);
        for (const size_t i : {0, 1, 9, 10, 11, 12})
            bench.link.MasterEeprom[i] = 0;
        for (const size_t i : {0, 1, 2, 3})
            bench.link.SlaveEeprom[i] = 0;
        bench.board.channel = {{6, 801}, {7, 901}, {5, 400}, {10, 301}, {11, 201}};
        // The step that is under way may have read some of them before.
        const auto before = measured.size();
        LATER(measured.size() >= before + 2);
        QCOMPARE(bench.Text("LbCadIDech"), QStringLiteral(" 201"));
        QCOMPARE(bench.Text("LbIDech"), QStringLiteral(" 1A"));
        QCOMPARE(bench.Text("LbCadAlim"), QStringLiteral(" 801"));
        QCOMPARE(bench.Text("LbVAlim"), QStringLiteral(" 13.65V"));
        QCOMPARE(bench.Text("LbCadDbl"), QStringLiteral(" 901"));
        QCOMPARE(bench.Text("LbVDbl"), QStringLiteral(" 23.04V"));
        QCOMPARE(bench.Text("LbCadTemp"), QStringLiteral(" 400"));
        QCOMPARE(bench.Text("LbTemp"), QStringLiteral(" 25"));
        QCOMPARE(bench.Text("LCadIchrg"), QStringLiteral(" 301"));
        QCOMPARE(bench.Text("LbIchrg"), QStringLiteral(" 1.5A"));
    }

    // ---- slider moves in the middle of a cycle

    void SliderMovesGoBetweenTheExchanges()
    {
        CapacityBench bench;
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        bench.Start();
        LATER(measured.size() >= 2);
        QSignalSpy sent(&bench.window, &MesCapa::SettingSent);
        bench.SliderOf("SlIChrg")->setValue(120);
        SOON_EQUAL(sent.size(), 1);
        bench.SliderOf("SlIDech")->setValue(33);
        SOON_EQUAL(sent.size(), 2);
        const auto before = measured.size();
        LATER(measured.size() >= before + 2);
        QByteArray bytes = bench.board.Received();
        QCOMPARE(bytes.count(Bytes({27, 19, 120})), 1);
        QCOMPARE(bytes.count(Bytes({27, 20, 33})), 1);
        bytes.replace(Bytes({27, 19, 120}), QByteArray());
        bytes.replace(Bytes({27, 20, 33}), QByteArray());
        QByteArray expected = resetBytes + RampBytes() + QuickSearchBytes() + Bytes({27, 19, 0});
        while (expected.size() < bytes.size())
            expected += chargeTickBytes;
        QCOMPARE(bytes, expected.left(bytes.size()));
    }

    void ChargeTakesTheSettingOfTheLastMove()
    {
        CapacityBench bench;
        bench.deltas = {0, 0, 0, 0};
        bench.At(QStringLiteral("Reglage Delta"), [&] { bench.SliderOf("SlIChrg")->setValue(77); });
        bench.Start();
        LATER(bench.states.contains(QStringLiteral("Charge")));
        LATER(bench.board.Received().contains(Bytes({27, 19, 77}) + chargeBytes));
    }

    void MoveThatOvertakesTheChargesSettingIsNotUndone()
    {
        CapacityBench bench;
        bench.deltas = {0, 0, 800};
        // The slider moves while the last write of the search is under way: its setting goes first, and is the one that
        // the charge then sends.
        bench.board.On(21, 1, [&](const QByteArray &value) {
            if (static_cast<quint8>(value[0]) == 30)
                bench.SliderOf("SlIChrg")->setValue(99);
            return Bytes({6});
        });
        bench.Start();
        LATER(bench.states.contains(QStringLiteral("Charge")));
        LATER(bench.board.Received().contains(Bytes({27, 21, 30, 27, 19, 99, 27, 19, 99}) + chargeBytes));
    }

    void DischargeRunsAtTheLastSettingAfterAResistance()
    {
        CapacityBench bench;
        bench.deltas = {800, 800, 794};
        bench.At(QStringLiteral("Mesure Resistance"), [&] { bench.SliderOf("SlIDech")->setValue(44); });
        bench.Start();
        LATER(bench.states.contains(QStringLiteral("Decharge")));
        LATER(bench.board.Received().contains(idleBytes + Bytes({27, 20, 44}) + dischargeBytes));
    }
};

REGISTER_TEST(TestMesCapa)
#include "tst_mescapa.moc"
