// SPDX-License-Identifier: GPL-3.0-or-later
#include "calibration/rgldech.h"
#include "currentbench.h"
#include "link/measurement.h"
#include "support/suite.h"

#include <QGroupBox>

namespace {
struct Bench : CurrentBench<RglDech>
{
    Bench()
    {
        countBox = "Vaclcad";
        measuredBox = "courmes";
        settingBox = "Valpot";
        board.channel = {{11, 500}};
    }
};
const QByteArray opening = Bytes({27, 17, 0, 27, 16, 1, 27, 18, 1});
const QByteArray leaving = Bytes({27, 16, 0});
const QByteArray readings = Times(8, {27, 11});
const QString missing = QStringLiteral("Valeurs manquantes (à 0)");
} // namespace

/// What differs from the charge's window; the rest they share.
class TestRglDech : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Controls_data()
    {
        AddControls({
            {"RegcText1", "QLineEdit", ""},
            {"Vaclcad", "QLineEdit", ""},
            {"courmes", "QLineEdit", ""},
            {"Valpot", "QLineEdit", ""},
            {"Coef1", "QLineEdit", ""},
            {"Coef2", "QLineEdit", ""},
            {"SlDech", "QSlider", nullptr},
            {"Btcalcul", "QPushButton", "Calcul"},
            {"Dechset", "QPushButton", "SET"},
            {"Btquit", "QPushButton", "RETOUR"},
        });
    }
    void Controls()
    {
        Bench bench;
        bench.Open();
        CheckControl(bench.window);
    }

    void Captions()
    {
        Bench bench;
        QStringList texts;
        for (const QLabel *label : bench.window.findChildren<QLabel *>())
            texts.append(label->text());
        for (const char *caption : {"Entrer Valeur cad", "Entrer Valeur mesuree (en dizaine mA)", "Entrer valeur Pot",
                                    "Valeur EEprom", "Coef  POTENT", "Coef Diviseur"})
            QVERIFY2(texts.contains(QLatin1String(caption)), caption);
        const auto frames = bench.window.findChildren<QGroupBox *>();
        QCOMPARE(frames.size(), 1);
        QCOMPARE(frames.constFirst()->title(), QStringLiteral("Infos"));
    }

    void OpeningSwitchesTheDischargeOn()
    {
        Bench bench;
        bench.window.Open();
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("Reglage Mesure de courant de décharge"));
        QVERIFY(bench.Centred());
        QCOMPARE(bench.Ticker()->objectName(), QStringLiteral("Timercourant"));
        QCOMPARE(bench.Ticker()->Interval(), 500);
        QVERIFY(bench.Ticker()->Enabled());
        QCOMPARE(bench.Find<QSlider>("SlDech")->minimum(), 0);
        QCOMPARE(bench.Find<QSlider>("SlDech")->maximum(), 255);
        SOON_EQUAL(bench.board.Received(), opening);
        SOON_EQUAL(bench.BoxText("RegcText1"), QStringLiteral("Valeur CAD Mesurée :  500"));
        QVERIFY(bench.board.Received().startsWith(opening + readings));
    }

    void Settings()
    {
        Bench bench;
        bench.Open();
        bench.Find<QSlider>("SlDech")->setValue(99);
        QCOMPARE(bench.BoxText("Valpot"), QStringLiteral("99"));
        QCOMPARE(bench.Settled(), Bytes({27, 20, 99}));
        bench.Type("Valpot", "255");
        bench.ClickSetting();
        QCOMPARE(bench.Settled(), Bytes({27, 20, 255}));
    }

    void CalculationAndSet()
    {
        Bench bench;
        bench.Open();
        bench.Enter("500", "200", "80");
        QCOMPARE(bench.Press("Btcalcul"), QByteArray());
        QCOMPARE(bench.BoxText("Coef1"), QStringLiteral(" 2560"));
        QCOMPARE(bench.BoxText("Coef2"), QStringLiteral(" 40"));
        bench.Type("Coef1", "");
        bench.Type("Coef2", "");
        QCOMPARE(bench.Press("Dechset"), Bytes({27, 40, 2, 10, 27, 40, 3, 0, 27, 40, 5, 40}));
        QCOMPARE(bench.BoxText("Coef1"), QStringLiteral(" 2560"));
        QCOMPARE(bench.BoxText("Coef2"), QStringLiteral(" 40"));
        QCOMPARE(bench.link.SlaveEeprom, (std::array<quint8, 257>{}));
        bench.link.SlaveEeprom[2] = 10;
        QCOMPARE(measurement::CadDischargeAmps(bench.link, 500), 2.0);
    }

    void MissingValues_data()
    {
        QTest::addColumn<QByteArray>("button");
        QTest::addColumn<QByteArray>("measured");
        QTest::addColumn<QByteArray>("setting");
        for (const char *button : {"Btcalcul", "Dechset"}) {
            QTest::addRow("%s, nothing measured", button) << QByteArray(button) << QByteArray("0") << QByteArray("80");
            QTest::addRow("%s, no setting", button) << QByteArray(button) << QByteArray("200") << QByteArray("");
        }
    }
    void MissingValues()
    {
        QFETCH(QByteArray, button);
        QFETCH(QByteArray, measured);
        QFETCH(QByteArray, setting);
        Bench bench;
        bench.Open();
        bench.Enter("500", measured.constData(), setting.constData());
        QCOMPARE(bench.Press(button.constData()), QByteArray());
        QCOMPARE(BoxTexts(), QStringList(missing));
        QCOMPARE(bench.BoxText("Coef1"), QString());
        AnswerBoxes();
        bench.Enter("", "200", "80"); // a count of 0 is accepted
        bench.Press(button.constData());
        QVERIFY(OpenBoxes().isEmpty());
        QCOMPARE(bench.BoxText("Coef1"), QStringLiteral(" 0"));
    }

    void FatalErrors_data()
    {
        QTest::addColumn<QByteArray>("count");
        QTest::addColumn<QByteArray>("measured");
        QTest::addColumn<QByteArray>("setting");
        QTest::newRow("word of 32768") << QByteArray("32") << QByteArray("1") << QByteArray("1");
        QTest::newRow("scale of 256") << QByteArray("300") << QByteArray("100") << QByteArray("256");
    }
    void FatalErrors()
    {
        QFETCH(QByteArray, count);
        QFETCH(QByteArray, measured);
        QFETCH(QByteArray, setting);
        Bench bench;
        bench.Open();
        bench.Enter(count.constData(), measured.constData(), setting.constData());
        QCOMPARE(bench.PressFatal("Dechset"), leaving);
        QCOMPARE(BoxTexts().size(), 1);
        QVERIFY(BoxTexts().constFirst().startsWith(QStringLiteral("Dépassement de capacité")));
        QCOMPARE(bench.End(), 1);
    }

    void LeavingSwitchesTheDischargeOff_data()
    {
        QTest::addColumn<bool>("button");
        QTest::newRow("button") << true;
        QTest::newRow("title bar") << false;
    }
    void LeavingSwitchesTheDischargeOff()
    {
        QFETCH(bool, button);
        Bench bench;
        bench.Open();
        bench.Ticker()->SetEnabled(true);
        if (button)
            bench.Find<QPushButton>("Btquit")->click();
        else
            bench.window.close();
        QVERIFY(!bench.window.isVisible());
        QVERIFY(!bench.Ticker()->Enabled());
        QCOMPARE(bench.Settled(), leaving);
    }

    void ShowsWhatTheBoardHas()
    {
        Bench bench;
        bench.link.SlaveEeprom[2] = 5;
        bench.link.SlaveEeprom[3] = 220;
        bench.link.SlaveEeprom[5] = 40;
        bench.Open();
        QCOMPARE(bench.Text("storedWord"), QStringLiteral(" 1500"));
        QCOMPARE(bench.Text("storedScale"), QStringLiteral(" 40"));
    }
};

REGISTER_TEST(TestRglDech)
#include "tst_rgldech.moc"
