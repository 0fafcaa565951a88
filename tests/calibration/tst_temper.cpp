// SPDX-License-Identifier: GPL-3.0-or-later
#include "calibration/temper.h"
#include "calibrationbench.h"
#include "support/suite.h"

using Bench = CalibrationBench<Temper>;

namespace {
void Fill(Bench &bench, const std::array<const char *, 5> &texts)
{
    const char *const boxes[] = {"RegtText1", "Text1", "Text2", "Text3", "Text4"};
    for (size_t i = 0; i < texts.size(); ++i)
        bench.Type(boxes[i], texts[i]);
}
} // namespace

class TestTemper : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Controls_data()
    {
        AddControls({
            {"RegtText1", "QLineEdit", "1024"},
            {"Text1", "QLineEdit", "3000"},
            {"Text2", "QLineEdit", ""},
            {"Text3", "QLineEdit", ""},
            {"Text4", "QLineEdit", ""},
            {"Command2", "QPushButton", "SET"},
            {"Command1", "QPushButton", "Retour"},
            {"Label1", "QLabel", "DECALLAGE 0"},
            {"Label2", "QLabel", "FACTEUR"},
            {"Label3", "QLabel", "DECALLAGE FINAL"},
            {"Label4", "QLabel", "ALLUMAGE VENTILLO"},
            {"Label5", "QLabel", "GEL OPERATIONS"},
        });
    }
    void Controls()
    {
        Bench bench;
        bench.Open();
        CheckControl(bench.window);
    }

    void Opening()
    {
        Bench bench;
        QCOMPARE(bench.Open(), QByteArray());
        QCOMPARE(bench.window.objectName(), QStringLiteral("Temper"));
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("Reglages temperature"));
        QVERIFY(bench.window.isVisible());
        QVERIFY(!bench.window.isModal());
        QVERIFY(bench.Centred());
        for (const char *box : {"RegtText1", "Text1", "Text2", "Text3", "Text4"})
            QCOMPARE(bench.Find<QLineEdit>(box)->font().family(), QStringLiteral("Arial Black"));
    }

    void SetWritesEverythingInOrder()
    {
        Bench bench;
        bench.Open();
        Fill(bench, {"1024", "3000", "55", "50", "90"});
        const auto before = bench.link.MasterEeprom;
        QCOMPARE(bench.Press("Command2"), Bytes({27, 39,  2,  4,  27, 39, 3,  0,  27, 39, 0,  11, 27, 39,
                                                 1,  184, 27, 39, 8,  55, 27, 39, 4,  50, 27, 39, 5,  90}));
        QCOMPARE(bench.link.MasterEeprom, before);
        QVERIFY(bench.Text("note").startsWith(QStringLiteral("Écrit")));
    }

    void AnEmptyThresholdIsZeroAndNumbersAreCut()
    {
        Bench bench;
        bench.Open();
        Fill(bench, {"258.9", "65535", "", "12.7", " 255 "});
        QCOMPARE(bench.Press("Command2"), Bytes({27, 39,  2,  1,  27, 39, 3,  2,  27, 39, 0,  255, 27, 39,
                                                 1,  255, 27, 39, 8,  0,  27, 39, 4,  12, 27, 39,  5,  255}));
    }

    void AnyAnswerWillDo()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(39, 2);
        bench.Find<QPushButton>("Command2")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 39, 2, 4}));
        bench.board.Send(Bytes({200}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 39, 2, 4, 27, 39, 3, 0}));
    }

    void AValueThatDoesNotFitEndsItThere_data()
    {
        QTest::addColumn<int>("box");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("sent");
        QTest::addColumn<QString>("name");
        const QByteArray all = Bytes(
            {27, 39, 2, 4, 27, 39, 3, 0, 27, 39, 0, 11, 27, 39, 1, 184, 27, 39, 8, 55, 27, 39, 4, 50, 27, 39, 5, 90});
        const QByteArray tooLarge("65536"), negative("-1"), noByte("256");
        QTest::newRow("offset") << 0 << tooLarge << QByteArray() << "DECALLAGE 0";
        QTest::newRow("negative offset") << 0 << negative << QByteArray() << "DECALLAGE 0";
        QTest::newRow("factor") << 1 << tooLarge << all.left(8) << "FACTEUR";
        QTest::newRow("battery") << 2 << noByte << all.left(16) << "DECALLAGE FINAL";
        QTest::newRow("fan") << 3 << noByte << all.left(20) << "ALLUMAGE VENTILLO";
        QTest::newRow("halt") << 4 << negative << all.left(24) << "GEL OPERATIONS";
    }
    void AValueThatDoesNotFitEndsItThere()
    {
        QFETCH(int, box);
        QFETCH(QByteArray, text);
        QFETCH(QString, name);
        Bench bench;
        bench.Open();
        std::array<const char *, 5> texts = {"1024", "3000", "55", "50", "90"};
        texts[size_t(box)] = text.constData();
        Fill(bench, texts);
        QTEST(bench.Press("Command2"), "sent");
        QCOMPARE(BoxTexts(), QStringList(QStringLiteral("Dépassement de capacité : ") + name));
        QVERIFY(bench.window.isVisible()); // and the program goes on
        QCOMPARE(bench.Text("note"), QString());
        AnswerBoxes();
        Fill(bench, {"1024", "3000", "55", "50", "90"});
        QCOMPARE(bench.Press("Command2").size(), 28);
    }

    void WordsOfTwoPressesDoNotMix()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(39, 2);
        bench.Find<QPushButton>("Command2")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 39, 2, 4}));
        Fill(bench, {"514", "772", "5", "6", "7"});
        bench.Find<QPushButton>("Command2")->click();
        bench.board.On(39, 2, [](const QByteArray &) { return Bytes({6}); });
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.board.Received(),
                   Bytes({27, 39, 2, 4}) + Bytes({27, 39, 2,  2,  27, 39, 3,  2,  27, 39, 0,  3,  27, 39,
                                                  1,  4,  27, 39, 8,  5,  27, 39, 4,  6,  27, 39, 5,  7}));
        QCOMPARE(bench.Settled().size(), 4 + 28); // nothing of the first press follows
    }

    void ShowsWhatTheBoardHas()
    {
        Bench bench;
        const quint8 bytes[] = {11, 184, 4, 0, 50, 90, 0, 0, 55};
        std::ranges::copy(bytes, bench.link.MasterEeprom.begin());
        bench.Open();
        QCOMPARE(bench.Text("storedOffset"), QStringLiteral(" 1024"));
        QCOMPARE(bench.Text("storedFactor"), QStringLiteral(" 3000"));
        QCOMPARE(bench.Text("storedCutOff"), QStringLiteral(" 55"));
        QCOMPARE(bench.Text("storedFan"), QStringLiteral(" 50"));
        QCOMPARE(bench.Text("storedHalt"), QStringLiteral(" 90"));
        bench.link.MasterEeprom[0] = 12; // a connection has loaded the board's words again
        Q_EMIT bench.link.handshake.Connected();
        QCOMPARE(bench.Text("storedFactor"), QStringLiteral(" 3256"));
    }

    void WhatIsShownFollowsEveryWrite()
    {
        Bench bench;
        bench.Open();
        Fill(bench, {"1024", "3000", "55", "50", "90"});
        QCOMPARE(bench.Text("storedOffset"), QStringLiteral(" 0"));
        bench.HoldBack(39, 2);
        bench.Find<QPushButton>("Command2")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 39, 2, 4}));
        QCOMPARE(bench.Text("storedOffset"), QStringLiteral(" 0")); // not before the board has it
        bench.board.On(39, 2, [](const QByteArray &) { return Bytes({6}); });
        bench.board.Send(Bytes({6}));
        bench.Settled();
        QCOMPARE(bench.Text("storedOffset"), QStringLiteral(" 1024"));
        QCOMPARE(bench.Text("storedFactor"), QStringLiteral(" 3000"));
        QCOMPARE(bench.Text("storedCutOff"), QStringLiteral(" 55"));
        QCOMPARE(bench.Text("storedFan"), QStringLiteral(" 50"));
        QCOMPARE(bench.Text("storedHalt"), QStringLiteral(" 90"));
        bench.window.close();
        bench.Open();
        QCOMPARE(bench.Text("storedHalt"), QStringLiteral(" 90"));
        bench.board.Healthy(); // whose memory is another's
        bench.others.Start(bench.link.handshake.ConnectBoard());
        SOON(bench.others.Idle());
        QCOMPARE(bench.Text("storedHalt"), QStringLiteral(" 0"));
    }

    void LeavingSendsNothing_data()
    {
        QTest::addColumn<bool>("button");
        QTest::newRow("button") << true;
        QTest::newRow("title bar") << false;
    }
    void LeavingSendsNothing()
    {
        QFETCH(bool, button);
        Bench bench;
        bench.Open();
        bench.Type("Text2", "55");
        if (button)
            bench.Press("Command1");
        else
            bench.window.close();
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(bench.Settled(), QByteArray());
        bench.Open();
        QCOMPARE(bench.BoxText("Text2"), QString()); // as designed
    }

    void ASilentBoardFreezesNothing()
    {
        Bench bench;
        bench.Open();
        bench.board.SetSilent(true);
        bench.Find<QPushButton>("Command2")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 39, 2, 4}));
        QCOMPARE(bench.Text("note"), QStringLiteral("Écriture…"));
        bench.Find<QPushButton>("Command1")->click();
        QVERIFY(!bench.window.isVisible());
    }

    void AClosedPortIsSaid()
    {
        Bench bench;
        bench.Open();
        bench.ClosePort();
        bench.Press("Command2");
        SOON_EQUAL(BoxTexts().size(), 1);
        QVERIFY(BoxTexts().constFirst().startsWith(QStringLiteral("Le port série est fermé")));
    }
};

REGISTER_TEST(TestTemper)
#include "tst_temper.moc"
