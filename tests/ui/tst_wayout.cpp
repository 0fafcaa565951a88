// SPDX-License-Identifier: GPL-3.0-or-later
#include "simulation/simulatedboard.h"
#include "simulation/simulatedclock.h"
#include "support/boxes.h"
#include "support/suite.h"
#include "ui/main/wayout.h"

#include <QComboBox>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

namespace {
/// The whole program, windows and way out, on the virtual board.
struct House
{
    House()
    {
        QDir::setCurrent(folder.path());
        board.SwitchOn();
        QSignalSpy connected(&main.Link().handshake, &Handshake::Connected);
        main.Load();
        SOON(!connected.isEmpty());
    }
    ~House()
    {
        AnswerBoxes();
        QDir::setCurrent(QStringLiteral("/"));
    }

    void Run(RunWindow &window)
    {
        main.OpenMode(window);
        window.findChild<QLineEdit *>(QStringLiteral("Text1"))->setText(QStringLiteral("1"));
        QSignalSpy recorded(&window, &RunWindow::Recorded);
        window.findChild<QPushButton *>(QStringLiteral("CBstart"))->click();
        SOON(recorded.size() >= 2);
    }
    void MeasureCapacity()
    {
        main.OpenMode(main.CapacityWindow());
        main.CapacityWindow().findChild<QPushButton *>(QStringLiteral("CBstart"))->click();
        SOON(IsOn());
    }
    /// Opens a window of the calibration menu by its place in the list.
    void Calibrate(int entry)
    {
        main.findChild<QPushButton *>(QStringLiteral("Cb_Reglage"))->click();
        const auto widgets = QApplication::topLevelWidgets();
        for (const QWidget *widget : widgets)
            if (auto *list = widget->findChild<QComboBox *>(QStringLiteral("SelRegl")))
                list->setCurrentIndex(entry);
        SOON(IsOn());
        Simulated().Run(3s);
    }

    bool IsOn() const
    {
        const Board::Lines &lines = board.Hardware().Switches();
        return lines.charge || lines.discharge;
    }
    /// The status with which the program has ended; 0 when it has not.
    int Status() const { return left.isEmpty() ? 0 : left[0][0].toInt(); }

    SimulatedClock clock;
    QTemporaryDir folder;
    MemoryPort *port = new MemoryPort;
    SimulatedBoard board{*port};
    Main main{std::unique_ptr<Port>(port)};
    WayOut wayOut{main};
    QSignalSpy left{&wayOut, &WayOut::Left};
};
} // namespace

class TestWayOut : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void WithoutARunASignalEndsAtOnce_data() { Signals(); }
    void WithoutARunASignalEndsAtOnce()
    {
        QFETCH(int, signal);
        House house;
        std::raise(signal);
        Simulated().Run(1ms);
        QCOMPARE(house.Status(), 128 + signal);
    }

    void ASignalStopsARunFirst_data() { Signals(); }
    void ASignalStopsARunFirst()
    {
        QFETCH(int, signal);
        QFETCH(QString, cause);
        House house;
        Chargeur &charge = house.main.ChargeWindow();
        house.Run(charge);
        QVERIFY(house.IsOn());
        std::raise(signal);
        SOON(!house.left.isEmpty());
        QCOMPARE(house.Status(), 128 + signal);
        QVERIFY(!house.IsOn());
        QCOMPARE(charge.findChild<QLabel *>(QStringLiteral("Label18"))->text(), QStringLiteral("Arret : ") + cause);
        Simulated().Run(1h);
        QCOMPARE(house.left.size(), 1);
    }

    void ASignalStopsWhateverIsOn_data()
    {
        QTest::addColumn<int>("what");
        QTest::newRow("discharge") << 0;
        QTest::newRow("capacity") << 1;
        QTest::newRow("calibration of the charge") << 2;
        QTest::newRow("calibration of the discharge") << 3;
    }
    void ASignalStopsWhateverIsOn()
    {
        QFETCH(int, what);
        House house;
        if (what == 0)
            house.Run(house.main.DischargeWindow());
        else if (what == 1)
            house.MeasureCapacity();
        else
            house.Calibrate(what + 1);
        QVERIFY(house.IsOn());
        std::raise(SIGTERM);
        SOON(!house.left.isEmpty());
        QCOMPARE(house.Status(), 128 + SIGTERM);
        QVERIFY(!house.IsOn());
    }

    void ADeafBoardIsWaitedForForTenSeconds()
    {
        House house;
        house.Run(house.main.ChargeWindow());
        house.port->disconnect(&house.board); // it hears nothing more
        std::raise(SIGTERM);
        Simulated().Run(9900ms);
        QCOMPARE(house.Status(), 0);
        Simulated().Run(200ms);
        QCOMPARE(house.Status(), WayOut::unconfirmed);
    }

    void AnUnpluggedBoardIsWaitedForForTenSeconds()
    {
        House house;
        house.Run(house.main.ChargeWindow());
        house.port->Unplug();
        std::raise(SIGTERM);
        Simulated().Run(9900ms);
        QCOMPARE(house.Status(), 0);
        Simulated().Run(200ms);
        QCOMPARE(house.Status(), WayOut::unconfirmed);
    }

    void OneThatIsPluggedInAgainIsSwitchedOff()
    {
        House house;
        house.Run(house.main.ChargeWindow());
        house.port->Unplug();
        std::raise(SIGTERM);
        Simulated().Run(5s);
        QVERIFY(house.IsOn());
        house.port->Plug();
        SOON(!house.left.isEmpty());
        QCOMPARE(house.Status(), 128 + SIGTERM);
        QVERIFY(!house.IsOn());
    }

    void ASecondSignalDoesNotWait()
    {
        House house;
        house.Run(house.main.ChargeWindow());
        house.port->Unplug();
        std::raise(SIGTERM);
        Simulated().Run(1s);
        QCOMPARE(house.Status(), 0);
        std::raise(SIGTERM);
        Simulated().Run(1ms);
        QCOMPARE(house.Status(), WayOut::unconfirmed);
    }

    void AnErrorKeepsItsStatus()
    {
        House house;
        house.Run(house.main.ChargeWindow());
        house.port->Unplug();
        house.wayOut.Take(WayOut::failed);
        Simulated().Run(10100ms);
        QCOMPARE(house.Status(), WayOut::failed);
    }

    void AfterTheAlarmThereIsMoreTime()
    {
        House house;
        Chargeur &charge = house.main.ChargeWindow();
        connect(&charge, &RunWindow::ConnectionWanted, &house.wayOut, &WayOut::TakeAfterAlarm);
        house.Run(charge);
        house.port->Unplug();
        Simulated().Run(5min);
        QVERIFY(!charge.Running());
        QCOMPARE(house.Status(), 0);
        house.port->Plug();
        SOON(!house.left.isEmpty());
        QCOMPARE(house.Status(), WayOut::failed);
        QVERIFY(!house.IsOn());
    }

    void ButNotForEver()
    {
        House house;
        Chargeur &charge = house.main.ChargeWindow();
        connect(&charge, &RunWindow::ConnectionWanted, &house.wayOut, &WayOut::TakeAfterAlarm);
        house.Run(charge);
        house.port->Unplug();
        Simulated().Run(11min);
        QCOMPARE(house.Status(), WayOut::failed);
    }

    void TheEndOfTheSessionStopsARun()
    {
        House house;
        Chargeur &charge = house.main.ChargeWindow();
        house.Run(charge);
        house.wayOut.SessionEnds();
        Simulated().Run(1min);
        QVERIFY(!house.IsOn());
        QVERIFY(!charge.Running());
        QCOMPARE(charge.findChild<QLabel *>(QStringLiteral("Label18"))->text(),
                 QStringLiteral("Arret : fin de session"));
        QVERIFY(house.left.isEmpty()); // it may be called off; else the system ends the program
    }

    void AChargeThatTheUserHasLeftIsNotTheProgramsAnyMore()
    {
        House house;
        Chargeur &charge = house.main.ChargeWindow();
        house.Run(charge);
        charge.findChild<QPushButton *>(QStringLiteral("CQuitter"))->click();
        Simulated().Run(10s);
        std::raise(SIGTERM);
        Simulated().Run(1s);
        QCOMPARE(house.Status(), 128 + SIGTERM);
        QVERIFY(house.IsOn());
    }

private:
    static void Signals()
    {
        QTest::addColumn<int>("signal");
        QTest::addColumn<QString>("cause");
        QTest::newRow("Ctrl-C") << SIGINT << QStringLiteral("signal INT");
        QTest::newRow("kill") << SIGTERM << QStringLiteral("signal TERM");
        QTest::newRow("lost terminal") << SIGHUP << QStringLiteral("signal HUP");
    }
};

REGISTER_TEST(TestWayOut)
#include "tst_wayout.moc"
