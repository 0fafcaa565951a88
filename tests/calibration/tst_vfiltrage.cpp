// SPDX-License-Identifier: GPL-3.0-or-later
#include "calibration/vfiltrage.h"
#include "calibrationbench.h"
#include "support/suite.h"

namespace {
struct Bench : CalibrationBench<Vfiltrage>
{
    Bench() { board.channel = {{6, 1000}, {7, 700}}; }
};
const QByteArray readings = Bytes({27, 6, 27, 7});
} // namespace

class TestVfiltrage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Controls_data()
    {
        AddControls({
            {"TxCad", "QLineEdit", ""},
            {"LbValim", "QLabel", "Entrer Valeur Alimentation"},
            {"TxValim", "QLineEdit", "000"},
            {"LbEEPAlim", "QLabel", "Valeur EEprom Alim"},
            {"TxEEpAlim", "QLineEdit", ""},
            {"LbVdbl", "QLabel", "Entrer Valeur Doubleur"},
            {"TxVdbl", "QLineEdit", "000"},
            {"LbEEpDblr", "QLabel", "Valeur EEprom dblr"},
            {"TxEEpDblr", "QLineEdit", ""},
            {"Label1", "QLabel", " ==>"},
            {"Label2", "QLabel", " ==>"},
            {"Label3", "QLabel", "1500 pour 15,00 Volts"},
            {"Text1", "QLineEdit", ""},
            {"Cbset", "QPushButton", "SET"},
            {"CBQuit", "QPushButton", "RETOUR"},
        });
    }
    void Controls()
    {
        Bench bench;
        bench.Open();
        CheckControl(bench.window);
    }

    void OpensAndPolls()
    {
        Bench bench;
        bench.window.Open();
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("Reglage Tensions d'Alimentation"));
        QVERIFY(bench.Centred());
        QCOMPARE(bench.Ticker()->objectName(), QStringLiteral("Timeritension"));
        QCOMPARE(bench.Ticker()->Interval(), 500);
        QVERIFY(bench.Ticker()->Enabled());
        QCOMPARE(bench.BoxText("TxCad"), QString());
        SOON_EQUAL(bench.BoxText("TxCad"), QStringLiteral("CAD ALIM =  1000 - CAD DOUBLEUR =  700"));
        QCOMPARE(bench.board.Received(), readings);
        SOON_EQUAL(bench.board.Received(), readings + readings);
    }

    void RepliesAreFramed()
    {
        Bench bench;
        bench.Open();
        bench.board.On(6, 0, [](const QByteArray &) { return Bytes({65, 6, 27, 2, 27, 27}); });
        bench.board.On(7, 0, [](const QByteArray &) { return Bytes({27, 200, 10, 0}); });
        QCOMPARE(bench.Tick(), readings);
        QCOMPARE(bench.BoxText("TxCad"), QStringLiteral("CAD ALIM =  539 - CAD DOUBLEUR =  51210"));
    }

    void Entries_data()
    {
        QTest::addColumn<QByteArray>("typed");
        QTest::addColumn<QString>("result");
        QTest::addColumn<bool>("refused");
        QTest::newRow("15.00 V") << QByteArray("1500") << " 682" << false;
        QTest::newRow("1024") << QByteArray("1024") << " 1000" << false;
        QTest::newRow("large") << QByteArray("1") << " 1024000" << false;
        QTest::newRow("negative") << QByteArray("-1500") << "-683" << false;
        QTest::newRow("zero") << QByteArray("0") << "before" << true;
        QTest::newRow("empty") << QByteArray("") << "before" << true;
        QTest::newRow("no number") << QByteArray("abc") << "before" << true;
    }
    void Entries()
    {
        QFETCH(QByteArray, typed);
        QFETCH(QString, result);
        QFETCH(bool, refused);
        Bench bench;
        bench.board.channel = {{6, 1000}, {7, 1000}};
        bench.Open();
        bench.Tick();
        for (const auto &[entry, shown] : {std::pair("TxValim", "TxEEpAlim"), std::pair("TxVdbl", "TxEEpDblr")}) {
            bench.Type(shown, "before");
            bench.Type(entry, typed.constData());
            QCOMPARE(bench.BoxText(shown), result);
            QCOMPARE(bench.Refused(entry), refused);
            bench.Type(entry, "12");
            QVERIFY(!bench.Refused(entry));
        }
        QVERIFY(OpenBoxes().isEmpty());
        QCOMPARE(bench.Settled(), QByteArray());
    }

    void BeforeTheFirstReadingNothingIsComputed()
    {
        Bench bench;
        bench.Open();
        bench.Type("TxValim", "1500");
        bench.Type("TxVdbl", "1500");
        QCOMPARE(bench.BoxText("TxEEpAlim"), QString());
        QCOMPARE(bench.BoxText("TxEEpDblr"), QString());
    }

    void SetWritesBothWords()
    {
        Bench bench;
        bench.Open();
        bench.Tick();
        bench.Type("TxValim", "1500"); // 682
        bench.Type("TxVdbl", "2600");  // 275
        QCOMPARE(bench.BoxText("TxEEpDblr"), QStringLiteral(" 275"));
        QCOMPARE(bench.Press("Cbset"), Bytes({27, 39, 9, 2, 27, 39, 10, 170, 27, 39, 11, 1, 27, 39, 12, 19}));
        QCOMPARE(bench.link.MasterEeprom[9], quint8(2));
        QCOMPARE(bench.link.MasterEeprom[10], quint8(170));
        QCOMPARE(bench.link.MasterEeprom[11], quint8(1));
        QCOMPARE(bench.link.MasterEeprom[12], quint8(19));
        QCOMPARE(bench.Text("storedSupply"), QStringLiteral(" 682"));
        QCOMPARE(bench.Text("storedDoubler"), QStringLiteral(" 275"));
        QCOMPARE(bench.Text("note"), QStringLiteral("Écrit."));
    }

    void AZeroCorrectionIsNotWritten_data()
    {
        QTest::addColumn<QByteArray>("supply");
        QTest::addColumn<QByteArray>("doubler");
        QTest::addColumn<QByteArray>("sent");
        const QByteArray supplySent = Bytes({27, 39, 9, 4, 27, 39, 10, 0});
        const QByteArray doublerSent = Bytes({27, 39, 11, 4, 27, 39, 12, 1});
        QTest::newRow("supply only") << QByteArray("1024") << QByteArray("0") << supplySent;
        QTest::newRow("doubler only") << QByteArray("") << QByteArray("1025") << doublerSent;
        QTest::newRow("neither") << QByteArray("") << QByteArray("x") << QByteArray();
    }
    void AZeroCorrectionIsNotWritten()
    {
        QFETCH(QByteArray, supply);
        QFETCH(QByteArray, doubler);
        Bench bench;
        bench.Open();
        bench.Type("TxEEpAlim", supply.constData());
        bench.Type("TxEEpDblr", doubler.constData());
        QTEST(bench.Press("Cbset"), "sent");
    }

    void TheImageIsSetBeforeTheBoardSaysSo()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(39, 2);
        bench.Type("TxEEpAlim", "1027");
        bench.Find<QPushButton>("Cbset")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 39, 9, 4}));
        QCOMPARE(bench.link.MasterEeprom[9], quint8(4));
        QCOMPARE(bench.link.MasterEeprom[10], quint8(0));
        bench.link.RxCount = 77;
        bench.board.Send(Bytes({27, 5, 7})); // no 6
        SOON_EQUAL(bench.link.RxCount, qint16(0));
        QCOMPARE(bench.board.Received(), Bytes({27, 39, 9, 4}));
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 39, 9, 4, 27, 39, 10, 3}));
        QCOMPARE(bench.link.MasterEeprom[10], quint8(3));
    }

    void AWordThatDoesNotFitIsNotBegun()
    {
        Bench bench;
        bench.Open();
        bench.Type("TxEEpAlim", "1024");
        bench.Type("TxEEpDblr", "65536");
        QCOMPARE(bench.Press("Cbset"), Bytes({27, 39, 9, 4, 27, 39, 10, 0})); // the first one stays done
        QCOMPARE(BoxTexts(), QStringList(QStringLiteral("Dépassement de capacité : Valeur EEprom dblr")));
        AnswerBoxes();
        bench.Type("TxEEpAlim", "65536");
        bench.Type("TxEEpDblr", "1024");
        QCOMPARE(bench.Press("Cbset"), QByteArray());
        QCOMPARE(BoxTexts(), QStringList(QStringLiteral("Dépassement de capacité : Valeur EEprom Alim")));
        QVERIFY(bench.window.isVisible());
    }

    void PollingGoesOnDuringSetAndTearsNothingApart()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(39, 2);
        bench.Type("TxEEpAlim", "1024");
        bench.Find<QPushButton>("Cbset")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 39, 9, 4}));
        bench.BeginTick();
        bench.board.Send(Bytes({6}));
        const QByteArray sent = Bytes({27, 39, 9, 4}) + readings + Bytes({27, 39, 10, 0});
        SOON_EQUAL(bench.board.Received(), sent); // the younger tick first, then the rest
        SOON_EQUAL(bench.BoxText("TxCad"), QStringLiteral("CAD ALIM =  1000 - CAD DOUBLEUR =  700"));
    }

    void ATickDuringAReadingIsSkipped()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(6, 0);
        bench.BeginTick();
        bench.BeginTick();
        bench.BeginTick();
        bench.board.Send(Bytes({27, 1, 1, 0}));
        QCOMPARE(bench.Settled(), readings);
        QCOMPARE(bench.BoxText("TxCad"), QStringLiteral("CAD ALIM =  257 - CAD DOUBLEUR =  700"));
    }

    void LeavingStopsThePolling_data()
    {
        QTest::addColumn<bool>("button");
        QTest::newRow("button") << true;
        QTest::newRow("title bar") << false;
    }
    void LeavingStopsThePolling()
    {
        QFETCH(bool, button);
        Bench bench;
        bench.window.Open();
        bench.HoldBack(6, 0);
        bench.BeginTick();
        bench.Ticker()->SetEnabled(true);
        if (button)
            bench.Find<QPushButton>("CBQuit")->click();
        else
            bench.window.close();
        QVERIFY(!bench.window.isVisible());
        QVERIFY(!bench.Ticker()->Enabled());
        bench.board.Send(Bytes({27, 1, 1, 0}));
        QCOMPARE(bench.Settled(), Bytes({27, 6})); // the reading under way ends, the next is not begun
        QCOMPARE(bench.BoxText("TxCad"), QString());
    }

    void ReopeningStartsFresh()
    {
        Bench bench;
        bench.Open();
        bench.Tick();
        bench.Type("TxValim", "0");
        bench.HoldBack(6, 0);
        bench.BeginTick(); // is never answered
        bench.window.close();
        bench.window.Open();
        QVERIFY(bench.Ticker()->Enabled());
        bench.Ticker()->SetEnabled(false);
        QCOMPARE(bench.BoxText("TxCad"), QString());
        QCOMPARE(bench.BoxText("TxValim"), QStringLiteral("000"));
        QVERIFY(!bench.Refused("TxValim"));
        bench.Type("TxValim", "1500");
        QCOMPARE(bench.BoxText("TxEEpAlim"), QString()); // no reading of this opening yet
        bench.board.On(6, 0, [](const QByteArray &) { return Bytes({27, 3, 232, 0}); });
        bench.BeginTick(); // goes ahead of the silent one
        SOON_EQUAL(bench.BoxText("TxCad"), QStringLiteral("CAD ALIM =  1000 - CAD DOUBLEUR =  700"));
    }

    void AClosedPortIsSaidOnce()
    {
        Bench bench;
        bench.Open();
        bench.ClosePort();
        bench.BeginTick();
        SOON_EQUAL(BoxTexts().size(), 1);
        AnswerBoxes();
        bench.BeginTick();
        QVERIFY(OpenBoxes().isEmpty());
        bench.link.OpenPort();
        bench.Tick();
        bench.ClosePort();
        bench.BeginTick();
        SOON_EQUAL(BoxTexts().size(), 1); // it had come back
    }
};

REGISTER_TEST(TestVfiltrage)
#include "tst_vfiltrage.moc"
