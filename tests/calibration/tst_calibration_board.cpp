// SPDX-License-Identifier: GPL-3.0-or-later
#include "calibration/reglage.h"
#include "dashboard/fetat.h"
#include "link/measurement.h"
#include "support/boardlink.h"
#include "support/suite.h"

#include "status_text.h"

#include <cmath>

/// Calibrates the virtual board with what its meter shows, and sees the dashboard come right.
class TestCalibrationBoard : public QObject
{
    Q_OBJECT

private:
    struct Bench : BoardLink
    {
        bool Start(const QStringList &options)
        {
            return BoardLink::Start(options + QStringList{QStringLiteral("--memory"), Path("memory")}) && Connect();
        }

        /// What the board's good meter shows.
        double Meter(const char *name) const
        {
            for (const QByteArray &line : QByteArray::fromStdString(Board::StatusText(board.Core())).split('\n'))
                if (line.startsWith(name + QByteArray(" ")))
                    return line.mid(line.indexOf(' ')).toDouble();
            return std::nan("");
        }
        /// Waits until the meter shows a value.
        bool MeterComesTo(const char *name, double value)
        {
            return clock.RunUntil([&] { return std::abs(Meter(name) - value) < 1e-4; });
        }
        bool Apply(double volts)
        {
            board.Tell("volts " + QByteArray::number(volts));
            return MeterComesTo("pack-volts", volts);
        }

        void Refresh()
        {
            if (!dashboard.isVisible())
                dashboard.Open();
            static_cast<QWidget &>(dashboard).findChild<QPushButton *>(QStringLiteral("CBmanuel"))->click();
            clock.RunUntil([this] { return dashboard.REF == 0; });
        }
        /// The mean of some readings of the dashboard, without their units.
        double Dashboard(const char *name)
        {
            constexpr int readings = 16;
            double sum = 0;
            for (int reading = 0; reading < readings; ++reading) {
                Refresh();
                QString text = static_cast<QWidget &>(dashboard).findChild<QLabel *>(QLatin1String(name))->text();
                sum += text.remove(QRegularExpression(QStringLiteral("[VA]"))).toDouble();
            }
            return sum / readings;
        }

        /// Opens the window of an entry of the menu.
        QWidget *Open(int entry, const char *name)
        {
            if (!menu.isVisible())
                menu.Open();
            static_cast<QWidget &>(menu).findChild<QComboBox *>()->setCurrentIndex(entry);
            for (QWidget *widget : QApplication::topLevelWidgets())
                if (widget->objectName() == QLatin1String(name))
                    return widget;
            return nullptr;
        }

        Kept<FEtat> dashboard{link};
        Kept<Reglage> menu{link};
    };

    static QLineEdit *Box(QWidget *window, const char *name)
    {
        return window->findChild<QLineEdit *>(QLatin1String(name));
    }
    static void Press(QWidget *window, const char *name)
    {
        window->findChild<QPushButton *>(QLatin1String(name))->click();
    }
    static QString Note(QWidget *window) { return window->findChild<QLabel *>(QStringLiteral("note"))->text(); }
    static void Type(QWidget *window, const char *box, double value)
    {
        Box(window, box)->setText(QString::number(value, 'f', 0));
    }
    /// The last number of a text.
    static int Count(const QString &text) { return text.section(u' ', -1).toInt(); }

    /// A step of the converter, and the hundredth that the conversion cuts off.
    static double Step(double word) { return 1024 / word / 100 + 0.01; }

private Q_SLOTS:
    void Supplies()
    {
        Bench bench;
        QVERIFY(bench.Start({}));
        const double supply = bench.Dashboard("LBValim");
        const double doubler = bench.Dashboard("LBVdbl");
        QVERIFY(qAbs(supply - bench.Meter("supply-volts")) > 2 * Step(640));
        QVERIFY(qAbs(doubler - bench.Meter("doubler-volts")) > 2 * Step(320));

        QWidget *window = bench.Open(2, "Vfiltrage");
        const auto counts = [&] {
            const QStringList numbers = Box(window, "TxCad")->text().split(u' ', Qt::SkipEmptyParts);
            return numbers.size() == 9 ? std::pair(numbers[3].toInt(), numbers[8].toInt()) : std::pair(0, 0);
        };
        // A user waits until the counts are those that come again and again.
        QList<int> supplies, doublers;
        while (supplies.size() < 15) {
            Box(window, "TxCad")->clear();
            SOON(counts().first != 0);
            supplies.append(counts().first);
            doublers.append(counts().second);
        }
        std::ranges::sort(supplies);
        std::ranges::sort(doublers);
        SOON_EQUAL(counts(), std::pair(supplies[7], doublers[7]));
        Type(window, "TxValim", bench.Meter("supply-volts") * 100);
        Type(window, "TxVdbl", bench.Meter("doubler-volts") * 100);
        Press(window, "Cbset");
        SOON_EQUAL(Note(window), QStringLiteral("Écrit."));

        for (const bool reloaded : {false, true}) {
            if (reloaded)
                QVERIFY(bench.Connect());
            const double trueSupply = bench.Dashboard("LBValim") - bench.Meter("supply-volts");
            const double trueDoubler = bench.Dashboard("LBVdbl") - bench.Meter("doubler-volts");
            QVERIFY2(qAbs(trueSupply) <= Step(652), qPrintable(QString::number(trueSupply)));
            QVERIFY2(qAbs(trueDoubler) <= Step(314), qPrintable(QString::number(trueDoubler)));
        }
    }

    void BatteryVoltage()
    {
        Bench bench;
        QVERIFY(bench.Start({}));
        QVERIFY(bench.Apply(8.36));
        QVERIFY(qAbs(bench.Dashboard("LbVbatin") - 8.36) > 5 * Step(1024));

        QWidget *window = bench.Open(1, "Vout");
        SOON(Count(Box(window, "RegvText1")->text()) != 0);
        Type(window, "RegVText2", 836);
        Press(window, "CdsetVout");
        SOON_EQUAL(Note(window), QStringLiteral("Écrit."));

        for (const bool reloaded : {false, true}) {
            if (reloaded)
                QVERIFY(bench.Connect());
            for (const double volts : {8.36, 5.25}) {
                QVERIFY(bench.Apply(volts));
                const double off = bench.Dashboard("LbVbatin") - volts;
                QVERIFY2(qAbs(off) <= Step(1005), qPrintable(QString::number(off)));
            }
        }
        Press(window, "CBQvout");
        QVERIFY(bench.MeterComesTo("line-18", 0));
        QVERIFY(bench.MeterComesTo("line-15", 1));
    }

    void ChargeCurrent()
    {
        Bench bench;
        QVERIFY(bench.Start({QStringLiteral("--soc"), QStringLiteral("30")}));
        QWidget *window = bench.Open(3, "Rcourant");
        window->findChild<QSlider *>(QStringLiteral("Slcour"))->setValue(102);
        QVERIFY(bench.MeterComesTo("charge-amps", 2));
        QVERIFY(qAbs(bench.Dashboard("Icharg") - 2) > 2 * Step(1600));
        QVERIFY(measurement::CurrentSettingAmps(102, bench.link.SlaveEeprom[4]) > 2.03);

        Box(window, "RegcText1")->clear(); // the next one was measured with this current
        SOON(Count(Box(window, "RegcText1")->text()) != 0);
        Type(window, "RegcText2", Count(Box(window, "RegcText1")->text()));
        Type(window, "courText4", 200);
        QCOMPARE(Box(window, "courtext3")->text(), QStringLiteral("102"));
        Press(window, "Courset");
        SOON(Note(window).startsWith(QStringLiteral("Écrit ;")));
        QVERIFY(bench.Connect());

        const double off = bench.Dashboard("Icharg") - bench.Meter("charge-amps");
        QVERIFY2(qAbs(off) <= Step(1568), qPrintable(QString::number(off)));
        QCOMPARE(measurement::CurrentSettingAmps(102, bench.link.SlaveEeprom[4]), 2.0);
        Press(window, "Courquit");
        QVERIFY(bench.MeterComesTo("charge-amps", 0));
        QVERIFY(bench.MeterComesTo("line-15", 0));
        QVERIFY(bench.MeterComesTo("line-17", 0));
    }

    void DischargeCurrent()
    {
        Bench bench;
        QVERIFY(bench.Start({QStringLiteral("--soc"), QStringLiteral("80")}));
        QWidget *window = bench.Open(4, "RglDech");
        window->findChild<QSlider *>(QStringLiteral("SlDech"))->setValue(100);
        QVERIFY(bench.MeterComesTo("register-20", 100));
        const double amps = bench.Meter("discharge-amps");
        QVERIFY(qAbs(amps - 2.451) < 0.001);
        QVERIFY(qAbs(bench.Dashboard("LbIDech") - amps) > 2 * Step(1500));

        Box(window, "RegcText1")->clear();
        SOON(Count(Box(window, "RegcText1")->text()) != 0);
        Type(window, "Vaclcad", Count(Box(window, "RegcText1")->text()));
        Type(window, "courmes", amps * 100);
        Press(window, "Dechset");
        SOON(Note(window).startsWith(QStringLiteral("Écrit ;")));
        QVERIFY(bench.Connect());

        const double off = bench.Dashboard("LbIDech") - bench.Meter("discharge-amps");
        QVERIFY2(qAbs(off) <= Step(1530), qPrintable(QString::number(off)));
        window->close();
        QVERIFY(bench.MeterComesTo("discharge-amps", 0));
    }

    void TemperatureAtTwoPoints()
    {
        Bench bench;
        const auto start = [&bench](int celsius) {
            return bench.Start({QStringLiteral("--temperature"), QString::number(celsius)});
        };
        constexpr double step = 1024 / 3060.0 + 1; // and the degree that the conversion cuts off
        QVERIFY(start(5));
        const double coldCount = bench.Dashboard("LbTempcad");
        const double cold = bench.Meter("temperature-celsius");
        QVERIFY(start(55));
        const double hotCount = bench.Dashboard("LbTempcad");
        const double hot = bench.Meter("temperature-celsius");
        QVERIFY(qAbs(bench.Dashboard("LbTemp") - hot) > 2 * step);

        const double factor = 1024 * (coldCount - hotCount) / (hot - cold);
        QWidget *window = bench.Open(0, "Temper");
        Type(window, "RegtText1", coldCount + cold * factor / 1024);
        Type(window, "Text1", factor);
        Type(window, "Text2", 55);
        Type(window, "Text3", 50);
        Type(window, "Text4", 90);
        Press(window, "Command2");
        SOON(Note(window).startsWith(QStringLiteral("Écrit ;")));
        QVERIFY(bench.Connect());
        QCOMPARE(bench.link.MasterEeprom[8], quint8(55));
        QCOMPARE(bench.link.MasterEeprom[4], quint8(50));
        QCOMPARE(bench.link.MasterEeprom[5], quint8(90));
        for (const int celsius : {55, 25, 5}) {
            QVERIFY(start(celsius));
            const double off = bench.Dashboard("LbTemp") - bench.Meter("temperature-celsius");
            QVERIFY2(qAbs(off) <= step, qPrintable(QString::number(off)));
        }
    }

    void LiPoVoltages()
    {
        Bench bench;
        QVERIFY(bench.Start(
            {QStringLiteral("--chemistry"), QStringLiteral("lipo"), QStringLiteral("--cells"), QStringLiteral("1")}));
        QWidget *window = bench.Open(5, "RegLIPO");
        window->findChild<QSlider *>(QStringLiteral("REGDelta"))->setValue(23);
        window->findChild<QSlider *>(QStringLiteral("REGOfs"))->setValue(255);
        QVERIFY(bench.MeterComesTo("register-21", 23));
        QVERIFY(bench.MeterComesTo("register-22", 255));
        Press(window, "BtnPot");
        SOON_EQUAL(Note(window), QStringLiteral("Potentiomètres écrits."));

        // What the stored coefficients make of the mean count, in volts.
        const auto reading = [&] {
            const auto &image = bench.link.MasterEeprom;
            auto *label = window->findChild<QLabel *>(QStringLiteral("deltaCount"));
            double sum = 0;
            constexpr int readings = 8;
            for (int i = 0; i < readings; ++i) {
                label->clear();
                if (!Simulated().RunUntil([label] { return !label->text().isEmpty(); }))
                    return std::nan("");
                sum += label->text().toDouble();
            }
            return (measurement::Word(image, 12) * sum / readings + 1000.0 * measurement::Word(image, 14)) / 1000000;
        };
        QVERIFY(bench.Apply(3.9));
        constexpr double step = 1 / 580.0;
        QVERIFY(qAbs(reading() - 3.9) > 100 * step);

        const std::pair<double, const char *> points[] = {
            {4.4, "BtnV4_4"}, {4.2, "BtnV4_2"}, {4.1, "BtnV4_1"}, {3.0, "BtnV3_0"}, {2.7, "Btn2_7"}};
        for (const auto &[volts, button] : points) {
            QVERIFY(bench.Apply(volts));
            auto *label = window->findChild<QLabel *>(QStringLiteral("deltaCount"));
            label->clear(); // a measurement that had begun before is over after this one
            SOON(!label->text().isEmpty());
            Press(window, button);
            SOON(Note(window).endsWith(QStringLiteral("écrit.")));
        }
        Press(window, "BtnCoef");
        SOON_EQUAL(Note(window), QStringLiteral("Coefficients écrits."));
        QVERIFY(bench.Connect());
        QCOMPARE(bench.link.MasterEeprom[0], quint8(255)); // the trims
        QCOMPARE(bench.link.MasterEeprom[1], quint8(23));
        for (const double volts : {3.9, 3.8, 4.0}) {
            QVERIFY(bench.Apply(volts));
            const double off = reading() - volts;
            // ... and the millivolt that the offset is cut to
            QVERIFY2(qAbs(off) <= step + 0.001, qPrintable(QString::number(off)));
        }
        Press(window, "BtnRetour");
        QVERIFY(bench.MeterComesTo("line-15", 1));
        QVERIFY(bench.MeterComesTo("line-18", 0));
    }
};

REGISTER_TEST(TestCalibrationBoard)
#include "tst_calibration_board.moc"
