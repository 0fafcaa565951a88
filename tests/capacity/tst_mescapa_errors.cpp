// SPDX-License-Identifier: GPL-3.0-or-later
#include "capacitybench.h"
#include "support/suite.h"

/// What an error does to a measurement.
class TestMesCapaErrors : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ErrorsEndTheMeasurement_data()
    {
        QTest::addColumn<QString>("phase");
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QString>("text");
        const QString overflow = QStringLiteral("Dépassement de capacité");
        const QString division = QStringLiteral("Division par zéro");
        QTest::newRow("overflow in the ramp") << "Preparation Ch/Decharge" << "voie 10" << overflow;
        QTest::newRow("overflow in the search") << "Reglage Delta" << "voie 12" << overflow;
        QTest::newRow("overflow in the charge") << "Charge" << "voie 13" << overflow;
        QTest::newRow("overflow in a charge's wait") << "Charge" << "voie 6" << overflow;
        QTest::newRow("overflow in the discharge") << "Decharge" << "voie 11" << overflow;
        QTest::newRow("overflow in the resistance") << "Mesure Resistance" << "voie 13" << overflow;
        QTest::newRow("overflow in the hold") << "!! Surchauffe !!" << "voie 5" << overflow;
        QTest::newRow("no battery divisor in the search") << "Reglage Delta" << "divisor" << division;
        QTest::newRow("no battery divisor in the charge") << "Charge" << "divisor" << division;
        QTest::newRow("no battery divisor in the discharge") << "Decharge" << "divisor" << division;
        QTest::newRow("no cells") << "" << "cells" << division;
        QTest::newRow("no scale for a slider in the charge") << "Charge" << "slider" << division;
        QTest::newRow("no folder for the file") << "" << "folder" << QStringLiteral("Erreur de fichier");
    }
    void ErrorsEndTheMeasurement()
    {
        QFETCH(QString, phase);
        QFETCH(QString, fault);
        QFETCH(QString, text);
        CapacityBench bench;
        if (phase == QLatin1String("!! Surchauffe !!"))
            bench.SetTemperature(95);
        else if (phase != QLatin1String("Charge"))
            bench.deltas = {800, 800, 794};
        if (fault == QLatin1String("cells"))
            bench.Box("TxNbElem")->setText(QStringLiteral("0"));
        if (fault == QLatin1String("folder")) {
            QFile obstacle(bench.folder.filePath(QStringLiteral("log")));
            QVERIFY(obstacle.open(QIODevice::WriteOnly));
        }
        bench.At(phase, [&] {
            if (fault.startsWith(QLatin1String("voie ")))
                bench.board.On(static_cast<quint8>(fault.mid(5).toInt()), 0,
                               [](const QByteArray &) { return Bytes({27, 128, 0, 0}); });
            else if (fault == QLatin1String("divisor"))
                bench.link.SlaveEeprom[6] = bench.link.SlaveEeprom[7] = 0;
            else if (fault == QLatin1String("slider")) {
                bench.link.SlaveEeprom[4] = 0;
                bench.SliderOf("SlIChrg")->setValue(9);
            }
        });
        bool offFirst = false;
        BoxWatcher watcher([&] {
            // The board has its orders when the user is told, and nobody has waited for an answer.
            offFirst = bench.board.Received().endsWith(idleBytes);
        });
        QSignalSpy aborted(&bench.window, &MesCapa::Aborted);
        bench.Start();
        LATER_EQUAL(aborted.size(), 1);
        QVERIFY(offFirst);
        QCOMPARE(BoxTexts().size(), 1);
        QVERIFY2(BoxTexts()[0].startsWith(text), qPrintable(BoxTexts()[0]));
        QVERIFY(!bench.TimerOf("Timerchargeur")->Enabled());
        Simulated().Run(20s);
        // The slider moved in the middle of an exchange: whose the answers were is not quite sure then.
        QVERIFY(
            bench.board.Received().endsWith(fault == QLatin1String("slider") ? idleBytes + readLinesBytes : idleBytes));
        QVERIFY(bench.OutputsOff() && !bench.SaysUnconfirmed());
        QCOMPARE(aborted.size(), 1);
    }

    void ErrorInTheDischargeClosesTheFile()
    {
        CapacityBench bench;
        bench.deltas = {800, 800, 794};
        QSignalSpy measured(&bench.window, &MesCapa::Measured);
        QSignalSpy aborted(&bench.window, &MesCapa::Aborted);
        bench.Start();
        LATER(measured.size() >= 4);
        bench.board.On(13, 0, [](const QByteArray &) { return Bytes({27, 255, 255, 0}); });
        LATER_EQUAL(aborted.size(), 1);
        QCOMPARE(bench.Result().count("\r\n"), measured.size()); // two of the charge are not in it, two lines are heads
        AnswerBoxes();
        // Nothing is left of it but the corrected start.
        bench.board.On(13, 0, [](const QByteArray &) { return CapacityBench::Reading(600); });
        const auto before = measured.size();
        bench.Start();
        LATER(measured.size() >= before + 2);
        QCOMPARE(bench.Text("LbEtat"), QStringLiteral("Charge"));
    }

    void UnguardedResistanceOverflows()
    {
        CapacityBench bench;
        bench.deltas = {800, 800, 794};
        bench.link.SlaveEeprom[6] = 0;
        bench.link.SlaveEeprom[7] = 10; // 600 counts: 614.4 V
        bench.volts = {600, 600, 600, 600, 300, 600};
        QSignalSpy aborted(&bench.window, &MesCapa::Aborted);
        bench.Start();
        LATER_EQUAL(aborted.size(), 1);
        QVERIFY(BoxTexts()[0].startsWith(QStringLiteral("Dépassement de capacité")));
        LATER(bench.OutputsOff());
    }

private:
    /// Calls back when a message box shows.
    class BoxWatcher : public QObject
    {
    public:
        explicit BoxWatcher(std::function<void()> shown) : shown_(std::move(shown)) { qApp->installEventFilter(this); }
        bool eventFilter(QObject *object, QEvent *event) override
        {
            if (event->type() == QEvent::Show && qobject_cast<QMessageBox *>(object))
                shown_();
            return false;
        }

    private:
        std::function<void()> shown_;
    };
};

REGISTER_TEST(TestMesCapaErrors)
#include "tst_mescapa_errors.moc"
