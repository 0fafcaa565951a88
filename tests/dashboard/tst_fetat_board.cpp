// SPDX-License-Identifier: GPL-3.0-or-later
#include "dashboardbench.h"
#include "support/boardlink.h"
#include "support/suite.h"

/// The dashboard on the virtual board, whose ports answer from its real outputs.
class TestFEtatBoard : public QObject
{
    Q_OBJECT

private:
    struct Bench : BoardLink
    {
        bool Start(const QStringList &options = {})
        {
            if (!BoardLink::Start(options) || !Connect())
                return false;
            link.SlaveEeprom[6] = 4;
            window.Open();
            return Rests();
        }

        void Press(const char *name)
        {
            window.findChild<QAbstractButton *>(QLatin1String(name))->click();
            QVERIFY(Rests());
        }
        void Refresh()
        {
            Press("CBmanuel");
            SOON_EQUAL(window.REF, 0);
        }
        QLabel *Label(const char *name) { return window.findChild<QLabel *>(QLatin1String(name)); }

        Kept<FEtat> window{link};
    };

private Q_SLOTS:
    void OutputsReadBack_data()
    {
        QTest::addColumn<QByteArray>("button");
        QTest::addColumn<QByteArray>("lamp");
        QTest::newRow("charge") << QByteArray("Cbcutch") << QByteArray("Label21");
        QTest::newRow("discharge") << QByteArray("CbCutdech") << QByteArray("Label20");
        QTest::newRow("power") << QByteArray("CbCutpwr") << QByteArray("Label3");
        QTest::newRow("LED") << QByteArray("CbLed") << QByteArray("Label17");
        QTest::newRow("fan") << QByteArray("Cbventillo") << QByteArray("Label19");
    }
    void OutputsReadBack()
    {
        QFETCH(QByteArray, button);
        QFETCH(QByteArray, lamp);
        Bench bench;
        QVERIFY(bench.Start());
        bench.Refresh();
        QLabel *indicator = bench.Label(lamp.constData());
        QVERIFY(ColourOf(indicator) == green || ColourOf(indicator) == red);
        for (int press = 0; press < 4; ++press) {
            bench.Press(button.constData());
            const QColor pressed = ColourOf(indicator);
            bench.Refresh();
            QCOMPARE(ColourOf(indicator), pressed);
        }
    }

    void TheDoublerReadsBackAsItWasSent()
    {
        Bench bench;
        QVERIFY(bench.Start());
        for (const int sent : {0, 1, 0}) {
            bench.Press("CbCutDBl");
            QCOMPARE(ColourOf(bench.Label("Label18")), sent == 1 ? red : green);
            bench.Refresh();
            QCOMPARE(ColourOf(bench.Label("Label18")), sent == 1 ? red : green);
            QCOMPARE(bench.Label("LBVinv")->text(), sent == 1 ? QStringLiteral("inv") : QStringLiteral("norm"));
        }
    }

    void Booster()
    {
        Bench bench;
        QVERIFY(bench.Start({QStringLiteral("--booster")}));
        bench.Press("Check1");
        bench.Press("CbCutDBl");
        bench.Refresh();
        const auto volts = [&bench] { return bench.Label("LBVdbl")->text().chopped(1).toDouble(); };
        const double before = volts();
        bench.window.findChild<QSlider *>(QStringLiteral("SliderPWMDelta"))->setValue(70);
        QVERIFY(bench.Rests());
        bench.Refresh();
        QVERIFY2(volts() > before + 3, qPrintable(bench.Label("LBVdbl")->text()));
    }

    void PushButtonsShow()
    {
        Bench bench;
        QVERIFY(bench.Start());
        bench.Refresh();
        const char *const lamps[] = {"Label6", "Label7", "Label8", "Label9", "Label10", "Label11"};
        for (const char *lamp : lamps)
            QCOMPARE(ColourOf(bench.Label(lamp)), green);
        int number = 0;
        for (const char *lamp : lamps) {
            bench.board.Tell("button " + QByteArray::number(++number));
            bench.Refresh();
            QCOMPARE(ColourOf(bench.Label(lamp)), red);
        }
    }
};

REGISTER_TEST(TestFEtatBoard)
#include "tst_fetat_board.moc"
