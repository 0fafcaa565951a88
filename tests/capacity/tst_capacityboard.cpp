// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "capacity/mescapa.h"
#include "support/boardlink.h"
#include "support/boxes.h"
#include "support/suite.h"

#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QtTest>

/// Whole measurements with the virtual board and its battery.
class TestCapacityBoard : public QObject
{
    Q_OBJECT

private:
    struct Bench : BoardLink
    {
        Bench()
        {
            drive::SetRoot(folder.path());
            window.setUpdatesEnabled(false); // nobody looks: painting would take longer than all else
            QObject::connect(&window, &MesCapa::StateShown, &window, [this](const QString &text) {
                if (!states.contains(text) && !text.endsWith(QLatin1String("Pause ... ")))
                    states.append(text);
            });
        }
        ~Bench()
        {
            QDir::setCurrent(QStringLiteral("/"));
            drive::SetRoot(QString());
        }

        /// Opens the window on a pack of four cells and sets both currents, in amperes.
        bool Open(const QString &pack, double charge, double discharge)
        {
            if (!Start(pack.split(u' ')) || !Connect())
                return false;
            window.Open();
            SetCurrent("SlIChrg", charge, link.SlaveEeprom[4]);
            SetCurrent("SlIDech", discharge, link.SlaveEeprom[5]);
            return Rests();
        }
        void SetCurrent(const char *slider, double amperes, int scale)
        {
            window.findChild<QSlider *>(QLatin1String(slider))->setValue(qRound(amperes * scale));
        }
        void Press(const char *button) { window.findChild<QPushButton *>(QLatin1String(button))->click(); }

        QStringList states; ///< each that was shown, once, without the countdowns
        Kept<MesCapa> window{link};
    };

private Q_SLOTS:
    void WholeCycle()
    {
        Bench bench;
        QVERIFY(bench.Open(QStringLiteral("--capacity 100 --resistance 40 --soc 90"), 0.6, 0.6));
        QSignalSpy ended(&bench.window, &MesCapa::Ended);
        int resistances = 0;
        connect(&bench.window, &MesCapa::StateShown, this,
                [&](const QString &text) { resistances += text == QLatin1String("Mesure Resistance") ? 1 : 0; });
        bench.Press("CBstart");
        QVERIFY(bench.clock.RunUntil([&] { return !ended.isEmpty(); }, 3h));
        QVERIFY(OpenBoxes().isEmpty());
        QCOMPARE(bench.board.Hardware().Switches(), Board::Lines());
        QVERIFY(!bench.link.outputs.Unconfirmed());
        const QStringList order = {QStringLiteral("Preparation Ch/Decharge"),
                                   QStringLiteral("Reglage Delta"),
                                   QStringLiteral("Charge"),
                                   QStringLiteral("Pause"),
                                   QStringLiteral("Decharge"),
                                   QStringLiteral("Mesure Resistance"),
                                   QStringLiteral("Fin du Processus")};
        QCOMPARE(bench.states, order);
        QVERIFY2(resistances >= 15, qPrintable(QString::number(resistances))); // every half minute of the discharge

        const auto last = ended[0][0].value<CapacityRecord>();
        const double milliampereHours = capacity::MilliampereHours(last.TotalDischarge);
        QVERIFY2(qAbs(milliampereHours - 100) <= 8, qPrintable(QString::number(milliampereHours)));
        QVERIFY2(qAbs(last.Resistance - 40) <= 20,
                 qPrintable(QString::number(last.Resistance))); // a step is 10 mV at 1 A

        QFile result(bench.window.ResultPath());
        QVERIFY(result.open(QIODevice::ReadOnly));
        const QList<QByteArray> content = result.readAll().split('\n');
        QVERIFY(content.size() > 300);
        QVERIFY(content[content.size() - 2].startsWith("=========:"));
        QCOMPARE(std::ranges::count_if(content, [](const QByteArray &line) { return line.startsWith("*********:"); }),
                 1);
    }
};

REGISTER_TEST(TestCapacityBoard)
#include "tst_capacityboard.moc"
