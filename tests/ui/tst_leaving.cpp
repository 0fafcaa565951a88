// SPDX-License-Identifier: GPL-3.0-or-later
#include "house.h"
#include "support/suite.h"

#include <QComboBox>

namespace {
/// The question's answers by the alphabet, none while it is not asked.
QStringList Offered()
{
    QStringList answers;
    for (const QMessageBox *box : OpenBoxes())
        for (const QAbstractButton *button : box->buttons())
            answers.append(button->text());
    answers.sort();
    return answers;
}

/// Does something in the program's own event loop and lets some time pass; its status, or -1 when it has not ended.
template <class F>
int StatusAfter(F what)
{
    QTimer::singleShot(0, qApp, [&what] {
        what();
        Simulated().Run(20s);
        QTimer::singleShot(0, qApp, [] { QCoreApplication::exit(-1); });
    });
    return QCoreApplication::exec();
}

const QStringList ofACharge = {QStringLiteral("Annuler"), QStringLiteral("Arrêter la charge"),
                               QStringLiteral("La laisser")};
} // namespace

/// The ways out of the program and of the session while something is on.
class TestLeaving : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AWayOutAsksWhatIsToBecomeOfTheCharge_data()
    {
        QTest::addColumn<QByteArray>("way");
        for (const char *way : {"Cb_quitter", "close", "CD_DECONNECT"})
            QTest::newRow(way) << QByteArray(way);
    }
    void AWayOutAsksWhatIsToBecomeOfTheCharge()
    {
        QFETCH(QByteArray, way);
        House house;
        house.Load();
        house.Charge();
        const auto leave = [&] {
            if (way == "close")
                house.main.close();
            else
                house.Press(way.constData());
        };
        leave();
        QCOMPARE(Offered(), ofACharge);
        QVERIFY(OpenBoxes().constFirst()->text().startsWith(QStringLiteral("Une charge est en cours")));
        Simulated().Run(5s);
        QVERIFY(house.main.isVisible());
        QVERIFY(house.main.ChargeWindow().Running());
        AnswerBox(QStringLiteral("Annuler"));
        Simulated().Run(5s);
        QVERIFY(house.main.ChargeWindow().Running());
        QVERIFY(house.main.isVisible());
        QVERIFY(house.main.Link().com.PortOpen());
    }

    void AChargeThatIsLeftOnGoesOnBehindTheProgram()
    {
        House house;
        house.Load();
        house.Charge();
        QCOMPARE(StatusAfter([&] {
                     house.Press("Cb_quitter");
                     AnswerBox(QStringLiteral("La laisser"));
                 }),
                 0);
        QVERIFY(house.ChargeOn());
        QVERIFY(house.main.Link().outputs.WhatIsWatched().off.empty()); // so that no guard ends it
    }

    void AChargeThatIsStoppedIsOffBeforeTheProgramEnds()
    {
        House house;
        house.Load();
        house.Charge();
        house.board.TakeReceived();
        QCOMPARE(StatusAfter([&] {
                     house.Press("Cb_quitter");
                     AnswerBox(QStringLiteral("Arrêter la charge"));
                 }),
                 0);
        QVERIFY(!house.ChargeOn());
        QCOMPARE(house.board.Received(), Bytes({27, 15, 0, 27, 17, 0, 27, 18, 1}));
    }

    void AChargeThatIsStoppedIsOffBeforeTheSessionEnds()
    {
        House house;
        house.Load();
        house.Charge();
        house.board.TakeReceived();
        house.Press("CD_DECONNECT");
        AnswerBox(QStringLiteral("Arrêter la charge"));
        SOON_EQUAL(house.Display(), QStringLiteral("Déconnecté"));
        SOON(house.board.Received().endsWith(Bytes({27, 3})));
        QCOMPARE(house.board.Received(), Bytes({27, 15, 0, 27, 17, 0, 27, 18, 1, 27, 3}));
    }

    void WhoInsistsIsNotAskedAgain()
    {
        House house;
        house.Load();
        house.Charge();
        QCOMPARE(StatusAfter([&] {
                     house.Press("Cb_quitter");
                     house.Press("Cb_quitter");
                 }),
                 0);
        QVERIFY(house.ChargeOn());
    }

    void ACalibrationsCurrentIsAskedAfterToo()
    {
        House house;
        house.Load();
        house.Press("Cb_Reglage");
        House::Named("Reglage")->findChild<QComboBox *>(QStringLiteral("SelRegl"))->setCurrentIndex(3);
        Simulated().Run(2s);
        house.Press("Cb_quitter");
        QCOMPARE(Offered(), QStringList({QStringLiteral("Annuler"), QStringLiteral("Arrêter le courant"),
                                         QStringLiteral("Le laisser")}));
        QCOMPARE(StatusAfter([&] { AnswerBox(QStringLiteral("Arrêter le courant")); }), 0);
        QVERIFY(!house.ChargeOn());
    }

    void NothingIsAskedWhenNothingIsOn()
    {
        House house;
        house.Load();
        house.Charge();
        House::Press(house.main.ChargeWindow(), "CQuitter"); // left on by its user, who was told
        Simulated().Run(1s);
        QCOMPARE(StatusAfter([&] { house.Press("Cb_quitter"); }), 0);
        QVERIFY(BoxTexts().isEmpty());
    }

    void LinesThatACalibrationLetsThroughEndWithTheSession()
    {
        House house;
        house.Load();
        house.Press("Cb_Reglage");
        House::Named("Reglage")->findChild<QComboBox *>(QStringLiteral("SelRegl"))->setCurrentIndex(1);
        Simulated().Run(2s);
        QVERIFY(house.ChargeOn());
        house.main.StopAll(QStringLiteral("fin de session"));
        SOON(!house.ChargeOn());
        SOON(house.main.Link().outputs.WhatIsWatched().off.empty());
    }
};

REGISTER_TEST(TestLeaving)
#include "tst_leaving.moc"
