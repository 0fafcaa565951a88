// SPDX-License-Identifier: GPL-3.0-or-later
#include "calibration/vout.h"
#include "calibrationbench.h"
#include "support/suite.h"

namespace {
struct Bench : CalibrationBench<Vout>
{
    Bench() { board.channel = {{13, 1000}}; }
};
const QByteArray opening = Bytes({27, 17, 1, 27, 16, 1, 27, 15, 0, 27, 18, 1});
const QByteArray leaving = Bytes({27, 17, 1, 27, 16, 1, 27, 15, 1, 27, 18, 0});
const QByteArray readings = Times(8, {27, 13});
} // namespace

class TestVout : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Controls_data()
    {
        AddControls({
            {"RegvText1", "QLineEdit", ""},
            {"Label1", "QLabel", "Entrer Valeur mesuree"},
            {"RegVText2", "QLineEdit", "0000"},
            {"voutLabel2", "QLabel", "Valeur EEprom"},
            {"voutepr", "QLineEdit", ""},
            {"Label2", "QLabel", "1200 Pour 12,00 volts"},
            {"Text1", "QLineEdit", ""},
            {"CdsetVout", "QPushButton", "SET"},
            {"CBQvout", "QPushButton", "RETOUR"},
        });
    }
    void Controls()
    {
        Bench bench;
        bench.Open();
        CheckControl(bench.window);
    }

    void OpeningSetsTheSwitches()
    {
        Bench bench;
        bench.window.Open();
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("Reglage tension de sortie"));
        QVERIFY(bench.Centred());
        QCOMPARE(bench.Ticker()->objectName(), QStringLiteral("Timerrtension"));
        QCOMPARE(bench.Ticker()->Interval(), 300);
        QVERIFY(bench.Ticker()->Enabled());
        QCOMPARE(bench.Find<QLineEdit>("Text1")->font().family(), QStringLiteral("Arial Black"));
        SOON_EQUAL(bench.board.Received(), opening);
        SOON_EQUAL(bench.BoxText("RegvText1"), QStringLiteral("Valeur mesuree :  1000"));
        QVERIFY(bench.board.Received().startsWith(opening + readings));
    }

    void TheMeanOfEightIsCut()
    {
        Bench bench;
        bench.Open();
        int reading = 0;
        bench.board.On(13, 0, [&](const QByteArray &) { return Bytes({27, 200, ++reading % 2 == 0 ? 1 : 0, 27}); });
        QCOMPARE(bench.Tick(), readings);
        QCOMPARE(bench.BoxText("RegvText1"), QStringLiteral("Valeur mesuree :  51200")); // 51200.5
    }

    void TheReadingIsClearedFirst()
    {
        Bench bench;
        bench.Open();
        bench.Tick();
        bench.HoldBack(13, 0);
        bench.BeginTick();
        QCOMPARE(bench.BoxText("RegvText1"), QString());
    }

    void Entries_data()
    {
        QTest::addColumn<QByteArray>("typed");
        QTest::addColumn<QString>("result");
        QTest::addColumn<bool>("refused");
        QTest::newRow("12.00 V") << QByteArray("1200") << " 853" << false;
        QTest::newRow("large") << QByteArray("1") << " 1024000" << false;
        QTest::newRow("zero") << QByteArray("000") << "before" << true;
        QTest::newRow("empty") << QByteArray("") << "before" << true;
    }
    void Entries()
    {
        QFETCH(QByteArray, typed);
        QFETCH(bool, refused);
        Bench bench;
        bench.Open();
        bench.Tick();
        bench.Type("voutepr", "before");
        bench.Type("RegVText2", typed.constData());
        QTEST(bench.BoxText("voutepr"), "result");
        QCOMPARE(bench.Refused("RegVText2"), refused);
        QVERIFY(OpenBoxes().isEmpty());
    }

    void BeforeTheFirstReadingTheCorrectionIsZero()
    {
        Bench bench;
        bench.Open();
        bench.Type("RegVText2", "1200");
        QCOMPARE(bench.BoxText("voutepr"), QStringLiteral(" 0"));
        QCOMPARE(bench.Press("CdsetVout"), QByteArray());
        QCOMPARE(BoxTexts(), QStringList(QStringLiteral("data 0")));
    }

    void SetWritesTheWord()
    {
        Bench bench;
        bench.Open();
        bench.Tick();
        bench.Type("RegVText2", "1200");
        bench.Type("voutepr", "7"); // is computed anew
        QCOMPARE(bench.Press("CdsetVout"), Bytes({27, 40, 6, 3, 27, 40, 7, 85}));
        QCOMPARE(bench.link.SlaveEeprom[6], quint8(3));
        QCOMPARE(bench.link.SlaveEeprom[7], quint8(85));
        QCOMPARE(bench.Text("storedWord"), QStringLiteral(" 853"));
    }

    void TheImageIsSetOnceBothBytesAreDone()
    {
        Bench bench;
        bench.Open();
        bench.Tick();
        bench.Type("RegVText2", "1200");
        bench.HoldBack(40, 2);
        bench.Find<QPushButton>("CdsetVout")->click();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 40, 6, 3}));
        bench.board.Send(Bytes({0, 27, 6}));
        SOON_EQUAL(bench.board.Received(), Bytes({27, 40, 6, 3, 27, 40, 7, 85}));
        QCOMPARE(bench.link.SlaveEeprom[6], quint8(0));
        bench.board.Send(Bytes({6}));
        SOON_EQUAL(bench.link.SlaveEeprom[6], quint8(3));
        QCOMPARE(bench.link.SlaveEeprom[7], quint8(85));
    }

    void ErrorsStopSetAndNothingElse_data()
    {
        QTest::addColumn<QByteArray>("typed");
        QTest::addColumn<QString>("said");
        QTest::newRow("zero") << QByteArray("0") << "Division par zéro : Entrer Valeur mesuree";
        QTest::newRow("empty") << QByteArray("") << "Division par zéro : Entrer Valeur mesuree";
        QTest::newRow("65536") << QByteArray("15") << "Dépassement de capacité : Entrer Valeur mesuree";
    }
    void ErrorsStopSetAndNothingElse()
    {
        QFETCH(QByteArray, typed);
        QFETCH(QString, said);
        Bench bench;
        bench.Open();
        bench.Tick();
        bench.Type("RegVText2", typed.constData());
        QCOMPARE(bench.Press("CdsetVout"), QByteArray());
        QCOMPARE(BoxTexts(), QStringList(said));
        QCOMPARE(bench.link.SlaveEeprom[6], quint8(0));
        AnswerBoxes();
        QCOMPARE(bench.Tick(), readings);
    }

    void ReturnSetsTheSwitchesBack()
    {
        Bench bench;
        bench.Open();
        bench.Ticker()->SetEnabled(true);
        bench.Find<QPushButton>("CBQvout")->click();
        QVERIFY(!bench.window.isVisible());
        QVERIFY(!bench.Ticker()->Enabled());
        QCOMPARE(bench.Settled(), leaving);
    }

    void TheTitleBarDoesNot()
    {
        Bench bench;
        bench.Open();
        bench.Ticker()->SetEnabled(true);
        bench.window.close();
        QVERIFY(!bench.Ticker()->Enabled());
        QCOMPARE(bench.Settled(), QByteArray());
    }

    void ReturnInTheMiddleOfAReading()
    {
        Bench bench;
        bench.Open();
        bench.HoldBack(13, 0);
        bench.BeginTick();
        bench.Find<QPushButton>("CBQvout")->click();
        bench.board.Send(Bytes({27, 1, 1, 0}));
        QCOMPARE(bench.Settled(), Bytes({27, 13}) + leaving);
        QCOMPARE(bench.BoxText("RegvText1"), QString());
    }

    void ASilentBoardFreezesNothing()
    {
        Bench bench;
        bench.board.SetSilent(true);
        bench.window.Open();
        SOON_EQUAL(bench.board.Received(), Bytes({27, 17, 1}));
        bench.Find<QPushButton>("CBQvout")->click();
        QVERIFY(!bench.window.isVisible());
        bench.board.SetSilent(false);
        SOON_EQUAL(bench.board.Received(), opening + leaving); // each once the one before was given its time
    }
};

REGISTER_TEST(TestVout)
#include "tst_vout.moc"
