// SPDX-License-Identifier: GPL-3.0-or-later
#include "house.h"
#include "support/suite.h"

#include <QComboBox>
#include <QStatusBar>
#include <QStatusTipEvent>
#include <QToolButton>

namespace {
const QByteArray stop = Bytes({27, 15, 0, 27, 17, 0, 27, 18, 1});
const QByteArray looks = Bytes({27, 31, 27, 31});
const QString charges = QStringLiteral("Attention : la carte charge sans surveillance");
const QString discharges = QStringLiteral("Attention : la carte décharge sans surveillance");

/// What the red strip of a window says to a person who looks at it.
QString Warning(const QWidget &window)
{
    const auto *text = window.findChild<QLabel *>(QStringLiteral("unwatched"));
    return text && text->isVisible() ? text->text() : QString();
}

void Cut(const QWidget &window)
{
    window.findChild<QToolButton *>(QStringLiteral("cut"))->click();
}

/// A charge was started and left with "Retour".
struct LeftCharge : House
{
    LeftCharge()
    {
        Load();
        Charge();
        Press(main.ChargeWindow(), "CQuitter");
        Simulated().Run(1s);
        board.TakeReceived();
    }
};
} // namespace

/// What the program says of that which flows with nobody there to end it, and of a board that does not listen.
class TestWarnings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ARunThatIsWatchedIsNotWarnedOf()
    {
        House house;
        house.Load();
        house.Charge();
        Simulated().Run(10s);
        QCOMPARE(Warning(house.main), QString());
        QCOMPARE(Warning(house.main.ChargeWindow()), QString());
        House::Press(house.main.ChargeWindow(), "CBStop");
        Simulated().Run(10s);
        QCOMPARE(Warning(house.main), QString());
    }

    void AChargeThatIsLeftIsWarnedOfUntilItIsNot_data()
    {
        QTest::addColumn<QByteArray>("until");
        for (const char *until : {"start", "stop", "discharge", "cut", "connection", "other hand"})
            QTest::newRow(until) << QByteArray(until);
    }
    void AChargeThatIsLeftIsWarnedOfUntilItIsNot()
    {
        QFETCH(QByteArray, until);
        LeftCharge house;
        QCOMPARE(Warning(house.main), charges);
        // A menu that the mouse passes over speaks in the status bar too, be it only to say nothing.
        QStatusTipEvent nothing{QString()};
        QCoreApplication::sendEvent(&house.main, &nothing);
        QCOMPARE(Warning(house.main), charges);
        house.TurnAwayAndBack();
        Simulated().Run(1s);
        QCOMPARE(Warning(house.main), charges); // reopening the port is no connection
        QCOMPARE(house.board.Received(), QByteArray());

        if (until == "start") {
            house.Charge();
        } else if (until == "stop") {
            house.Press("cb_chargeur");
            House::Press(house.main.ChargeWindow(), "CBStop");
        } else if (until == "discharge") {
            house.Discharge();
        } else if (until == "cut") {
            Cut(house.main);
        } else if (until == "connection") {
            house.board.lines.clear(); // the board was switched off and on
            house.Press("Cb_Reconnect");
        } else {
            house.Press("Cb_Debug");
            House::Press(*House::Named("Micro"), "CBEtat");
            Simulated().Run(5s);
            QCOMPARE(Warning(*House::Named("FEtat")), charges);
            House::Press(*House::Named("FEtat"), "Cbcutch");
        }
        SOON_EQUAL(Warning(house.main), QString());
    }

    void AConnectionThatFindsItOnSaysHowMuchFlows()
    {
        LeftCharge house;
        QSignalSpy connected(&house.main.Link().handshake, &Handshake::Connected);
        house.Press("Cb_Reconnect");
        SOON_EQUAL(connected.size(), 1);
        SOON_EQUAL(Warning(house.main), QStringLiteral("Attention : la carte charge (1.50 A) sans surveillance"));
        QVERIFY(house.board.Received().endsWith(Bytes({27, 38, 15, 27, 31, 27, 10, 27, 11})));
    }

    void AnOrdinaryConnectionAsksNothingMore()
    {
        House house;
        house.Load();
        house.Press("Cb_Reconnect");
        SOON(house.Connected() && house.board.Received().contains(Bytes({27, 38, 15})));
        Simulated().Run(5s);
        QVERIFY(house.board.Received().endsWith(Bytes({27, 38, 15})));
    }

    void WhatAProgramOfBeforeHasLeftOnIsFound()
    {
        House house;
        house.board.lines = {{16, 1}};
        house.main.SuspectUnwatched();
        house.Load();
        SOON_EQUAL(Warning(house.main), QStringLiteral("Attention : la carte décharge (2.00 A) sans surveillance"));
        Cut(house.main);
        SOON_EQUAL(Warning(house.main), QString());
        QVERIFY(!house.ChargeOn());
    }

    void CuttingIsAStopThatIsConfirmed()
    {
        LeftCharge house;
        Cut(house.main);
        SOON_EQUAL(Warning(house.main), QString());
        SOON(house.board.Received().endsWith(looks));
        QCOMPARE(house.board.Received(), stop + looks);
        QVERIFY(!house.ChargeOn());
        QVERIFY(!house.main.Link().outputs.Unconfirmed());
    }

    void CuttingOnADisconnectedBoardConnectsFirst()
    {
        LeftCharge house;
        house.Press("CD_DECONNECT");
        Simulated().Run(5s);
        QCOMPARE(Warning(house.main), charges);
        QVERIFY(house.ChargeOn());
        house.board.TakeReceived();
        Cut(house.main);
        SOON(!house.ChargeOn());
        SOON_EQUAL(Warning(house.main), QString());
        QVERIFY(BoxTexts().isEmpty());
    }

    void EveryWindowHasTheStrip()
    {
        LeftCharge house;
        QCOMPARE(Warning(house.main), charges);
        for (const char *button : {"CbDechargeur", "CbCapa", "Cb_Reglage", "Cb_Debug"})
            house.Press(button); // some of which put the main window out of sight
        for (const char *window : {"Dechargeur", "MesCapa", "Reglage", "Micro"})
            QCOMPARE(Warning(*House::Named(window)), charges);
        Cut(*House::Named("MesCapa"));
        SOON_EQUAL(Warning(*House::Named("Reglage")), QString());
        QVERIFY(!House::Named("MesCapa")->findChild<QWidget *>(QStringLiteral("warnings"))->isVisible());
    }

    void WhatTheDashboardHasSwitchedOnIsWarnedOf()
    {
        House house;
        house.Load();
        house.Press("Cb_Debug");
        House::Press(*House::Named("Micro"), "CBEtat");
        Simulated().Run(5s);
        const auto letThrough = [](const char *button) { // the first press cuts what is cut already
            for (int presses = 0; presses < 2; ++presses) {
                House::Press(*House::Named("FEtat"), button);
                Simulated().Run(1s);
            }
        };
        letThrough("Cbcutch");
        QCOMPARE(Warning(house.main), QString()); // without the power nothing flows
        letThrough("CbCutpwr");
        SOON_EQUAL(Warning(*House::Named("FEtat")), charges);
        QCOMPARE(Warning(*House::Named("Micro")), charges);
    }

    void ABatteryVoltageCalibrationSaysWhatItHasLeftOn_data()
    {
        QTest::addColumn<bool>("byButton");
        QTest::addColumn<QString>("text");
        QTest::newRow("close box") << false << discharges;
        QTest::newRow("button") << true << QStringLiteral("Attention : la carte charge et décharge sans surveillance");
    }
    void ABatteryVoltageCalibrationSaysWhatItHasLeftOn()
    {
        QFETCH(bool, byButton);
        QFETCH(QString, text);
        House house;
        house.Load();
        house.Press("Cb_Reglage");
        House::Named("Reglage")->findChild<QComboBox *>(QStringLiteral("SelRegl"))->setCurrentIndex(1);
        QWidget *window = House::Named("Vout");
        Simulated().Run(5s);
        QCOMPARE(Warning(*window), QString()); // it is there to end it
        if (byButton)
            House::Press(*window, "CBQvout");
        else
            window->close();
        SOON_EQUAL(Warning(house.main), text);
        Cut(house.main);
        SOON_EQUAL(Warning(house.main), QString());
        SOON(!house.ChargeOn());
    }

    void TheStripIsNotCutAndMovesNothing()
    {
        LeftCharge house;
        house.Press("Cb_Reglage");
        QWidget *window = House::Named("Reglage"); // the narrowest
        SOON_EQUAL(Warning(*window), charges);
        const auto *text = window->findChild<QLabel *>(QStringLiteral("unwatched"));
        QVERIFY(text->width() >= text->sizeHint().width());
        const auto *back = window->findChild<QPushButton *>(QStringLiteral("Rquitter"));
        const QSize size = window->size();
        const int place = back->mapTo(window, QPoint()).y();
        Cut(*window);
        SOON_EQUAL(Warning(*window), QString());
        QCOMPARE(window->size(), size);
        QCOMPARE(back->mapTo(window, QPoint()).y(), place);
    }

    void ACalibrationBesideTheMonitorIsWarnedOf()
    {
        House house;
        house.Load();
        house.Press("Cb_Reglage");
        House::Named("Reglage")->findChild<QComboBox *>(QStringLiteral("SelRegl"))->setCurrentIndex(3);
        Simulated().Run(5s);
        QCOMPARE(Warning(*House::Named("Rcourant")), QString());
        house.Press("CbMoni"); // the board hears nobody any more
        SOON_EQUAL(Warning(*House::Named("Rcourant")), charges);
        QCOMPARE(Warning(*House::Named("Moni")), charges);
        House::Press(*House::Named("Moni"), "CbQuit");
        Cut(*House::Named("Rcourant"));
        SOON(!house.ChargeOn()); // it is greeted for that
        SOON_EQUAL(Warning(*House::Named("Rcourant")), QString());
    }

    // ---- a board that streams

    void AWindowThatOpensOnAStreamingBoardOpensWhenItListens()
    {
        House house;
        house.Load();
        const auto *streams = house.main.findChild<QLabel *>(QStringLiteral("streams"));
        QVERIFY(!streams->isVisible());
        house.main.Link().ReconnectOnActivate = 0; // a window of before has been left
        house.Press("CbMoni");
        SOON(house.main.Link().Streaming);
        QVERIFY(!streams->isVisible()); // as the monitor wants it
        house.board.TakeReceived();
        House::Press(*House::Named("Moni"), "CbQuit");
        SOON(streams->isVisible());
        QCOMPARE(streams->text(), QStringLiteral("La carte émet : session à rouvrir"));
        Simulated().Run(10s);
        QCOMPARE(house.board.Received(), QByteArray()); // nobody wants anything of it

        house.Press("cb_chargeur");
        QVERIFY(!house.main.ChargeWindow().isVisible());
        SOON(house.main.ChargeWindow().isVisible());
        QVERIFY(house.board.Received().startsWith(Bytes({85, 170, 27, 1})));
        QVERIFY(!streams->isVisible());
    }

    void ABoardThatStreamsSinceADisconnectionIsGreetedToo()
    {
        House house;
        house.Load();
        house.main.Link().ReconnectOnActivate = 0;
        house.Press("CD_DECONNECT");
        Simulated().Run(1s);
        house.Press("CbMoni"); // it opens the port itself
        SOON(house.main.Link().Streaming);
        house.main.Link().ReconnectOnActivate = 0;
        House::Press(*House::Named("Moni"), "CbQuit");
        Simulated().Run(1s);
        house.Press("cb_chargeur");
        SOON(house.main.ChargeWindow().isVisible());
        QVERIFY(house.board.Received().contains(Bytes({85, 170, 27, 1})));
    }

    void AStreamingBoardThatDoesNotAnswerCanBeLeft()
    {
        House house;
        house.Load();
        house.main.Link().ReconnectOnActivate = 0;
        house.Press("CbMoni");
        SOON(house.main.Link().Streaming);
        House::Press(*House::Named("Moni"), "CbQuit");
        house.board.SetSilent(true);
        house.Press("Cb_Debug");
        Simulated().Run(30s);
        QVERIFY(!House::Named("Micro")->isVisible());
        QVERIFY(house.Display().startsWith(QStringLiteral("Essais de Connection")));
        house.Press("CD_DECONNECT");
        SOON_EQUAL(house.Display(), QStringLiteral("Déconnecté"));
        house.board.SetSilent(false);
        house.Press("Cb_Reconnect");
        SOON(house.Connected());
        QVERIFY(!House::Named("Micro")->isVisible()); // it was given up
    }

    void AStopOnAStreamingBoardGreetsFirst()
    {
        House house;
        house.Load();
        house.main.Link().ReconnectOnActivate = 0;
        house.Charge();
        House::Press(house.main.ChargeWindow(), "CQuitter");
        Simulated().Run(1s);
        house.Press("cb_chargeur"); // it lies open beside the monitor
        house.Press("CbMoni");
        SOON(house.main.Link().Streaming);
        House::Press(*House::Named("Moni"), "CbQuit");
        Simulated().Run(1s);
        house.board.TakeReceived();
        House::Press(house.main.ChargeWindow(), "CBStop");
        SOON(!house.ChargeOn());
        QVERIFY(house.board.Received().startsWith(Bytes({85, 170, 27, 1})));
        SOON(!house.main.Link().outputs.Unconfirmed());
        SOON_EQUAL(House::State(house.main.ChargeWindow()), QStringLiteral("Arret"));
    }

    // ---- the guard

    void ARunWithoutAGuardSaysSo()
    {
        House house;
        house.Load();
        house.Charge();
        house.main.SetGuardMissing(true);
        const auto *missing = house.main.ChargeWindow().findChild<QLabel *>(QStringLiteral("guardMissing"));
        QVERIFY(missing->isVisible());
        QCOMPARE(missing->text(), QStringLiteral("sans surveillance de secours"));
        house.main.SetGuardMissing(false);
        QVERIFY(!missing->isVisible());
    }
};

REGISTER_TEST(TestWarnings)
#include "tst_warnings.moc"
