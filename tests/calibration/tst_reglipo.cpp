// SPDX-License-Identifier: GPL-3.0-or-later
#include "calibration/reglipo.h"
#include "calibrationbench.h"
#include "support/suite.h"

namespace {
const QByteArray opening = Bytes({27, 17, 0, 27, 16, 1, 27, 15, 0, 27, 18, 1});
const QByteArray leaving = Bytes({27, 17, 0, 27, 16, 1, 27, 15, 1, 27, 18, 0});
const QByteArray readings = Times(4, {27, 12});
const char *const pointButtons[] = {"BtnV4_4", "BtnV4_2", "BtnV4_1", "BtnV3_0", "Btn2_7"};
const char *const checks[] = {"Check1", "Check2", "Check3", "Check4", "Check5", "Check6", "Check7"};

struct Bench : CalibrationBench<RegLIPO>
{
    Bench() { board.channel = {{12, 700}}; }

    bool Checked(const char *check) { return Find<QCheckBox>(check)->isChecked(); }
    QString Caption(const char *button) { return Find<QPushButton>(button)->text(); }

    /// Measures a point: its press sends nothing before the next measurement; gives what that and the writes send.
    QByteArray Measure(const char *button, int count)
    {
        board.channel[12] = count;
        if (!Press(button).isEmpty())
            return "sent something before the measurement";
        const QByteArray sent = Tick();
        Ticker()->SetEnabled(false); // it goes on after the writes
        return sent;
    }
    void MeasureAll(std::initializer_list<int> counts)
    {
        int point = 0;
        for (const int count : counts)
            Measure(pointButtons[point++], count);
    }
};
} // namespace

class TestRegLIPO : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Controls_data()
    {
        AddControls({
            {"List1", "QListWidget", nullptr},
            {"BtnV4_4", "QPushButton", "4.4 V"},
            {"BtnV4_2", "QPushButton", "4.2 V"},
            {"BtnV4_1", "QPushButton", "4.1 V"},
            {"BtnV3_0", "QPushButton", "3.0 V"},
            {"Btn2_7", "QPushButton", "2.7 V"},
            {"Check1", "QCheckBox", ""},
            {"Check2", "QCheckBox", ""},
            {"Check3", "QCheckBox", ""},
            {"Check4", "QCheckBox", ""},
            {"Check5", "QCheckBox", ""},
            {"Check6", "QCheckBox", ""},
            {"Check7", "QCheckBox", ""},
            {"BtnCoef", "QPushButton", "Coefficients"},
            {"BtnPot", "QPushButton", "Potentiomètres"},
            {"REGDelta", "QSlider", nullptr},
            {"REGOfs", "QSlider", nullptr},
            {"Label6", "QLabel", "Valeur CAD Delta"},
            {"Label7", "QLabel", "Valeurs à enregistrer"},
            {"Label10", "QLabel", nullptr},
            {"Label11", "QLabel", nullptr},
            {"Label12", "QLabel", "Coef A"},
            {"Label13", "QLabel", "Ofst B"},
            {"BtnRetour", "QPushButton", "RETOUR"},
        });
    }
    void Controls()
    {
        Bench bench;
        CheckControl(bench.window);
    }

    void OpeningSetsTheSwitchesThenMeasures()
    {
        Bench bench;
        bench.HoldBack(18, 1);
        bench.window.Open();
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("Reglage Tensions LIPO"));
        QVERIFY(bench.Centred());
        SOON_EQUAL(bench.board.Received(), opening);
        QVERIFY(!bench.Ticker()->Enabled()); // not before the last answer
        bench.board.Send(Bytes({6}));
        SOON(bench.Ticker()->Enabled());
        QCOMPARE(bench.Ticker()->objectName(), QStringLiteral("TimerLipo"));
        QCOMPARE(bench.Ticker()->Interval(), 500);
        SOON_EQUAL(bench.board.Received(), opening + readings);
        SOON_EQUAL(bench.Text("deltaCount"), QStringLiteral(" 700"));
        for (const char *slider : {"REGDelta", "REGOfs"}) {
            QCOMPARE(bench.Find<QSlider>(slider)->minimum(), 0);
            QCOMPARE(bench.Find<QSlider>(slider)->maximum(), 255);
        }
        const auto *list = bench.Find<QListWidget>("List1");
        QStringList entries;
        for (int row = 0; row < list->count(); ++row)
            entries.append(list->item(row)->text());
        QCOMPARE(entries.join(u' '), QStringLiteral("1 2 3 4"));
        QCOMPARE(list->currentRow(), 0);
        QCOMPARE(bench.Text("Label10"), QStringLiteral("0"));
        QCOMPARE(bench.Text("Label11"), QStringLiteral("0"));
    }

    void TheAddressesAreWarnedOf()
    {
        Bench bench;
        bench.Open();
        const auto *warning = bench.Find<QLabel>("warning");
        QVERIFY(warning->isVisible());
        QVERIFY(warning->text().contains(QStringLiteral("réglages de température")));
        QVERIFY(warning->text().contains(QStringLiteral("tensions d'alimentation")));
        QVERIFY(OpenBoxes().isEmpty());
    }

    void Cells_data()
    {
        QTest::addColumn<int>("cells");
        QTest::addColumn<QString>("captions");
        QTest::addColumn<QString>("references");
        QTest::newRow("1") << 1 << "4,4 V/4,2 V/4,1 V/3,0 V/2,7 V" << "4,4 V/4,2 V/4,1 V/3,0 V/2,7 V";
        QTest::newRow("2") << 2 << "8,8 V/8,4 V/8,2 V/6,0 V/5,4 V" << "8,8 V/8,4 V/8,2 V/6,0 V/5,4 V";
        QTest::newRow("3") << 3 << "13,2 V/12,6 V/12,2 V/9,0 V/8,1 V" << "13,2 V/12,6 V/12,3 V/9,0 V/8,1 V";
        QTest::newRow("4") << 4 << "17,6 V/16,8 V/16,4 V/12,0 V/10,8 V" << "17,6 V/16,8 V/16,4 V/12,0 V/10,8 V";
    }
    void Cells()
    {
        QFETCH(int, cells);
        Bench bench;
        bench.Open();
        for (const char *check : checks)
            bench.Find<QCheckBox>(check)->setChecked(true);
        if (cells == 1)
            bench.Find<QListWidget>("List1")->setCurrentRow(3);
        bench.Find<QListWidget>("List1")->setCurrentRow(cells - 1);
        QStringList captions, references;
        for (int point = 0; point < 5; ++point) {
            captions.append(bench.Caption(pointButtons[point]));
            references.append(bench.Text(qPrintable(QStringLiteral("reference%1").arg(point + 1))));
        }
        QTEST(captions.join(u'/'), "captions");
        QTEST(references.join(u'/'), "references");
        for (const char *check : checks)
            QVERIFY(!bench.Checked(check));
        QCOMPARE(bench.Settled(), QByteArray());
    }

    void TheMeanOfFourIsCut()
    {
        Bench bench;
        bench.Open();
        int reading = 0;
        bench.board.On(12, 0, [&](const QByteArray &) { return Bytes({5, 27, 200, ++reading % 4, 27}); });
        QCOMPARE(bench.Tick(), readings);
        QCOMPARE(bench.Text("deltaCount"), QStringLiteral(" 51201")); // 51201.5
    }

    void Points_data()
    {
        QTest::addColumn<int>("point");
        QTest::addColumn<QByteArray>("writes");
        for (int point = 0; point < 5; ++point)
            QTest::newRow(pointButtons[point])
                << point << Bytes({27, 39, 2 + 2 * point, 3, 27, 39, 3 + 2 * point, 222});
    }
    void Points()
    {
        QFETCH(int, point);
        QFETCH(QByteArray, writes);
        Bench bench;
        bench.Open();
        QCOMPARE(bench.Measure(pointButtons[point], 990), readings + writes);
        for (int other = 0; other < 7; ++other)
            QCOMPARE(bench.Checked(checks[other]), other == point);
        QCOMPARE(bench.Caption(pointButtons[point]), QStringLiteral("990"));
        QCOMPARE(bench.link.MasterEeprom, (std::array<quint8, 257>{}));
    }

    void ThePressWaitsForTheNextMeasurement()
    {
        Bench bench;
        bench.Open();
        bench.Tick(); // an old one does not count
        QCOMPARE(bench.Press("BtnV4_2"), QByteArray());
        QVERIFY(!bench.Checked("Check2"));
        QVERIFY(bench.Text("note").contains(QStringLiteral("4,2 V")));
        QCOMPARE(bench.Tick(), readings + Bytes({27, 39, 4, 2, 27, 39, 5, 188}));
        QVERIFY(bench.Checked("Check2"));
        QVERIFY(!bench.Checked("Check1"));
    }

    void WhileAPointWaitsTheOtherButtonsWork()
    {
        Bench bench;
        bench.Open();
        QCOMPARE(bench.Press("BtnV4_2"), QByteArray());
        QCOMPARE(bench.Press("BtnV4_4"), QByteArray());
        QCOMPARE(bench.Press("BtnCoef"), QByteArray());
        QCOMPARE(BoxTexts(), QStringList{QStringLiteral("Valeurs manquantes, opération annulée")});
        AnswerBoxes();
        bench.Find<QPushButton>("BtnPot")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 39, 0, 0, 27, 39, 1, 0}));
        SOON(bench.Text("note").contains(QStringLiteral("écrits")));
        bench.board.TakeReceived();
        // Both points take the next measurement.
        QCOMPARE(bench.Tick(), readings + Bytes({27, 39, 4, 2, 27, 39, 5, 188, 27, 39, 2, 2, 27, 39, 3, 188}));
        QVERIFY(bench.Checked("Check2") && bench.Checked("Check1"));
        QCOMPARE(bench.Caption("BtnV4_4"), QStringLiteral("700"));
    }

    void APressDuringTheWritesOfAnotherButtonWaitsForItsTurn()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(39, 2);
        bench.Find<QPushButton>("BtnV4_4")->click();
        bench.Ticker()->SetEnabled(true);
        SOON(bench.Checked("Check1"));
        bench.Find<QPushButton>("BtnPot")->click();
        bench.Find<QPushButton>("BtnV4_2")->click();
        SOON_EQUAL(bench.board.Received(), readings + Bytes({27, 39, 2, 2}));
        QVERIFY(!bench.Checked("Check6"));
        bench.board.On(39, 2, [](const QByteArray &) { return Bytes({1}); });
        bench.board.Send(Bytes({1}));
        SOON(bench.Checked("Check6") && bench.Checked("Check2"));
        SOON_EQUAL(bench.board.Received(), readings +
                                               Bytes({27, 39, 2, 2, 27, 39, 3, 188, 27, 39, 0, 0, 27, 39, 1, 0}) +
                                               readings + Bytes({27, 39, 4, 2, 27, 39, 5, 188}));
    }

    void TheTimerIsStoppedDuringTheWrites()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(39, 2);
        bench.Find<QPushButton>("BtnV4_4")->click();
        bench.Ticker()->SetEnabled(true);
        SOON_EQUAL(bench.board.Received(), readings + Bytes({27, 39, 2, 2}));
        QVERIFY(!bench.Ticker()->Enabled());
        bench.board.Send(Bytes({1})); // one byte, whatever it is
        SOON_EQUAL(bench.board.Received(), readings + Bytes({27, 39, 2, 2, 27, 39, 3, 188}));
        QVERIFY(!bench.Ticker()->Enabled());
        QCOMPARE(bench.Caption("BtnV4_4"), QStringLiteral("4,4 V"));
        bench.board.Send(Bytes({1}));
        SOON(bench.Ticker()->Enabled());
        QCOMPARE(bench.Caption("BtnV4_4"), QStringLiteral("700"));
    }

    void LeavingEndsTheWaitForAMeasurement()
    {
        Bench bench;
        bench.Open();
        bench.Press("BtnV4_4");
        bench.window.close();
        QCOMPARE(bench.Settled(), leaving);
        bench.Open();
        QCOMPARE(bench.Tick(), readings);
        QVERIFY(!bench.Checked("Check1"));
        QCOMPARE(bench.Measure("BtnV4_2", 700), readings + Bytes({27, 39, 4, 2, 27, 39, 5, 188})); // nothing is refused
    }

    void AnotherNumberOfCellsEndsTheWait()
    {
        Bench bench;
        bench.Open();
        bench.Press("BtnV4_4");
        bench.Find<QListWidget>("List1")->setCurrentRow(1);
        QCOMPARE(bench.Tick(), readings);
        QVERIFY(!bench.Checked("Check1"));
        QCOMPARE(bench.Caption("BtnV4_4"), QStringLiteral("8,8 V"));
    }

    void TheSameNumberOfCellsBeginsAnew()
    {
        Bench bench;
        bench.Open();
        bench.Measure("BtnV4_4", 990);
        auto *list = bench.Find<QListWidget>("List1");
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(list->item(0)).center());
        QCOMPARE(list->currentRow(), 0);
        QVERIFY(!bench.Checked("Check1"));
        QCOMPARE(bench.Caption("BtnV4_4"), QStringLiteral("4,4 V"));
    }

    void ChecksAreNotForTheUser()
    {
        Bench bench;
        bench.Open();
        for (const char *name : checks) {
            auto *check = bench.Find<QCheckBox>(name);
            QTest::mouseClick(bench.window.windowHandle(), Qt::LeftButton, {},
                              check->mapTo(&bench.window, check->rect().center()));
            QVERIFY(!check->isChecked());
            QCOMPARE(check->focusPolicy(), Qt::NoFocus);
            QVERIFY(check->isEnabled());
        }
    }

    void Coefficients_data()
    {
        QTest::addColumn<int>("cells");
        QTest::addColumn<QList<int>>("counts");
        QTest::addColumn<QString>("gain");
        QTest::addColumn<QString>("offset");
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<bool>("fit");
        QTest::newRow("1724 and 2693") << 1 << QList<int>{990, 874, 816, 178, 4} << " 1724" << " 2693"
                                       << Bytes({27, 39, 12, 6, 27, 39, 13, 188, 27, 39, 14, 10, 27, 39, 15, 133})
                                       << true;
        QTest::newRow("negative offset") << 1 << QList<int>{3000, 2880, 2810, 2150, 1960} << " 1594" << "-396"
                                         << Bytes({27, 39, 12, 6, 27, 39, 13, 58, 27, 39, 14, 254, 27, 39, 15, 116})
                                         << false;
        QTest::newRow("negative gain") << 1 << QList<int>{100, 250, 400, 550, 690} << "-2872" << " 4858"
                                       << Bytes({27, 39, 12, 244, 27, 39, 13, 200, 27, 39, 14, 18, 27, 39, 15, 250})
                                       << false;
        QTest::newRow("large gain") << 4 << QList<int>{40, 37, 34, 31, 18} << " 453612" << "-404"
                                    << Bytes({27, 39, 12, 235, 27, 39, 13, 236, 27, 39, 14, 254, 27, 39, 15, 108})
                                    << false;
    }
    void Coefficients()
    {
        QFETCH(int, cells);
        QFETCH(QList<int>, counts);
        QFETCH(bool, fit);
        Bench bench;
        bench.Open();
        bench.Find<QListWidget>("List1")->setCurrentRow(cells - 1);
        for (int point = 0; point < 5; ++point)
            bench.Measure(pointButtons[point], counts[point]);
        QVERIFY(!bench.Checked("Check7"));
        QTEST(bench.Press("BtnCoef"), "sent");
        QVERIFY(bench.Checked("Check7"));
        QTEST(bench.Text("Label10"), "gain");
        QTEST(bench.Text("Label11"), "offset");
        QCOMPARE(bench.Text("note").startsWith(QStringLiteral("Valeur hors limites")), !fit);
        QVERIFY(OpenBoxes().isEmpty());
        QVERIFY(bench.Ticker()->Enabled());
    }

    void MissingPoints()
    {
        Bench bench;
        bench.Open();
        for (const int missing : {0, 1, 2, 3, 4}) {
            for (int point = 0; point < 5; ++point)
                bench.Find<QCheckBox>(checks[point])->setChecked(point != missing);
            QCOMPARE(bench.Press("BtnCoef"), QByteArray());
            QCOMPARE(BoxTexts(), QStringList(QStringLiteral("Valeurs manquantes, opération annulée")));
            QCOMPARE(OpenBoxes().constFirst()->windowTitle(), QStringLiteral("ERREUR"));
            QVERIFY(!bench.Checked("Check7"));
            AnswerBoxes();
            SOON(OpenBoxes().isEmpty());
        }
    }

    void EqualCountsWriteNothing()
    {
        Bench bench;
        bench.Open();
        bench.MeasureAll({990, 874, 874, 178, 4});
        QCOMPARE(bench.Press("BtnCoef"), QByteArray());
        QCOMPARE(BoxTexts().size(), 1);
        QVERIFY(BoxTexts().constFirst().startsWith(QStringLiteral("Division par zéro")));
        QVERIFY(bench.Checked("Check7")); // ticked when the points are complete
        QCOMPARE(bench.Text("Label10"), QStringLiteral("0"));
        QVERIFY(bench.window.isVisible()); // the program goes on
        AnswerBoxes();
        bench.Measure("BtnV4_1", 816);
        QCOMPARE(bench.Press("BtnCoef").size(), 16);
    }

    void Trims()
    {
        Bench bench;
        bench.Open();
        QCOMPARE(bench.Press("BtnPot"), Bytes({27, 39, 0, 0, 27, 39, 1, 0}));
        QVERIFY(bench.Checked("Check6"));
        bench.Find<QSlider>("REGDelta")->setValue(210);
        QCOMPARE(bench.Settled(), Bytes({27, 21, 210}));
        QCOMPARE(bench.Text("gainTrim"), QStringLiteral(" 210"));
        bench.Find<QSlider>("REGOfs")->setValue(7);
        QCOMPARE(bench.Settled(), Bytes({27, 22, 7}));
        QCOMPARE(bench.Text("offsetTrim"), QStringLiteral(" 7"));
        QVERIFY(bench.Ticker()->Enabled());
        QCOMPARE(bench.Press("BtnPot"), Bytes({27, 39, 0, 7, 27, 39, 1, 210}));
    }

    void ATrimWaitsForTheMeasurementToEnd()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(12, 0);
        bench.BeginTick();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 12}));
        bench.Ticker()->SetEnabled(true);
        for (const int value : {10, 20, 30})
            bench.Find<QSlider>("REGDelta")->setValue(value);
        QVERIFY(!bench.Ticker()->Enabled());
        bench.board.On(12, 0, [](const QByteArray &) { return Bytes({27, 1, 0, 0}); });
        bench.board.Send(Bytes({27, 1, 0, 0}));
        SOON(bench.Ticker()->Enabled());
        bench.Ticker()->SetEnabled(false);
        const QByteArray sent = bench.Settled();
        QVERIFY(sent.startsWith(readings));
        QVERIFY(sent.endsWith(Bytes({27, 21, 30}))); // the last one is never lost
        QVERIFY(sent.size() <= readings.size() + 6);
    }

    void NobodyOvertakesAMeasurement()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(12, 0);
        bench.BeginTick();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 12}));
        const auto ask = [](Codebas *link) -> Task<void> {
            Task<QByteArray> exchange = link->Exchange(Request(41), Reply::Framed(3));
            co_await exchange;
        };
        bench.others.Start(ask(&bench.link));
        Simulated().Run(Exchanges::patience + 150ms);
        QCOMPARE(bench.board.Received(), Bytes({27, 12}));
        bench.window.close(); // but who leaves lets the others on
        SOON(bench.board.Received().contains(Bytes({27, 41})));
        SOON(bench.board.Received().contains(leaving));
        SOON(bench.others.Idle()); // asked again, once what the board owes is known to be lost
    }

    void ATickDuringAReadingIsSkipped()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(12, 0);
        bench.BeginTick();
        bench.BeginTick();
        bench.board.On(12, 0, [](const QByteArray &) { return Bytes({27, 1, 0, 0}); });
        bench.board.Send(Bytes({27, 1, 0, 0}));
        QCOMPARE(bench.Settled(), readings);
    }

    void LeavingSetsTheSwitchesBack_data()
    {
        QTest::addColumn<bool>("button");
        QTest::newRow("button") << true;
        QTest::newRow("title bar") << false;
    }
    void LeavingSetsTheSwitchesBack()
    {
        QFETCH(bool, button);
        Bench bench;
        bench.Open();
        bench.HoldBack(12, 0);
        bench.BeginTick();
        bench.Ticker()->SetEnabled(true);
        if (button)
            bench.Find<QPushButton>("BtnRetour")->click();
        else
            bench.window.close();
        QVERIFY(!bench.window.isVisible());
        QVERIFY(!bench.Ticker()->Enabled());
        bench.board.Send(Bytes({27, 1, 0, 0}));
        QCOMPARE(bench.Settled(), Bytes({27, 12}) + leaving);
        QVERIFY(!bench.Ticker()->Enabled());
    }

    void LgetsrlReadsTheMeanCount()
    {
        Bench bench;
        bench.Open();
        int count = -1;
        const auto read = [](Bench *at, int *to) -> Task<void> { *to = co_await at->window.Lgetsrl(); };
        bench.others.Start(read(&bench, &count));
        SOON_EQUAL(count, 700);
        QCOMPARE(bench.board.Received(), readings);
    }

    void ShowsWhatTheBoardHas()
    {
        Bench bench;
        for (quint8 address = 0; address < 16; ++address)
            bench.link.MasterEeprom[address] = address;
        bench.Open();
        const char *const labels[] = {"stored1", "stored2",    "stored3",     "stored4",
                                      "stored5", "storedGain", "storedOffset"};
        int address = 2;
        for (const char *label : labels) {
            QCOMPARE(bench.Text(label), QStringLiteral(" %1").arg(address * 256 + address + 1));
            address += 2;
        }
        QCOMPARE(bench.Text("storedOffsetTrim"), QStringLiteral(" 0"));
        QCOMPARE(bench.Text("storedGainTrim"), QStringLiteral(" 1"));
    }

    void WhatIsShownFollowsEveryWrite()
    {
        Bench bench;
        bench.Open();
        bench.MeasureAll({990, 874, 816, 178, 4});
        const char *const counts[] = {" 990", " 874", " 816", " 178", " 4"};
        for (int row = 0; row < 5; ++row)
            QCOMPARE(bench.Text(qPrintable(QStringLiteral("stored%1").arg(row + 1))), QLatin1String(counts[row]));
        bench.Find<QSlider>("REGOfs")->setValue(12);
        bench.Find<QSlider>("REGDelta")->setValue(34);
        bench.Settled();
        bench.Press("BtnPot");
        QCOMPARE(bench.Text("storedOffsetTrim"), QStringLiteral(" 12"));
        QCOMPARE(bench.Text("storedGainTrim"), QStringLiteral(" 34"));
        bench.Press("BtnCoef");
        QCOMPARE(bench.Text("storedGain"), bench.Text("Label10"));
        QCOMPARE(bench.Text("storedOffset"), bench.Text("Label11"));
        QCOMPARE(bench.link.MasterEeprom[0], quint8(0)); // what is converted with is that of the connection
    }

    void ReopeningStartsFresh()
    {
        Bench bench;
        bench.Open();
        bench.Find<QListWidget>("List1")->setCurrentRow(2);
        bench.MeasureAll({990, 874, 816, 178, 4});
        bench.Press("BtnCoef");
        bench.Find<QSlider>("REGDelta")->setValue(9);
        bench.Settled();
        bench.window.close();
        bench.Settled();
        bench.Open();
        QCOMPARE(bench.Find<QListWidget>("List1")->currentRow(), 0);
        QCOMPARE(bench.Caption("BtnV4_4"), QStringLiteral("4,4 V"));
        QCOMPARE(bench.Text("Label10"), QStringLiteral("0"));
        QCOMPARE(bench.Text("gainTrim"), QStringLiteral("0"));
        QCOMPARE(bench.Press("BtnPot"), Bytes({27, 39, 0, 0, 27, 39, 1, 0}));
        for (int point = 0; point < 5; ++point)
            QVERIFY(!bench.Checked(checks[point]));
    }
};

REGISTER_TEST(TestRegLIPO)
#include "tst_reglipo.moc"
