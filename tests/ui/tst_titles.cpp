// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/title.h"
#include "house.h"
#include "support/suite.h"

/// What the title bars say of a run.
class TestTitles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AWindowHasItsTitleAgain()
    {
        QWidget window;
        window.setWindowTitle(QStringLiteral("Essai"));
        QCOMPARE(title::Of(window), QStringLiteral("Essai"));
        title::Say(window, QStringLiteral("un"));
        title::Say(window, QStringLiteral("deux"));
        QCOMPARE(window.windowTitle(), QStringLiteral("deux"));
        QCOMPARE(title::Of(window), QStringLiteral("Essai"));
        title::Say(window, {});
        QCOMPARE(window.windowTitle(), QStringLiteral("Essai"));
    }

    void AChargeIsSaidInItsWindowAndTheMainOne()
    {
        House house;
        house.Load();
        house.Charge();
        QWidget &window = house.main.ChargeWindow();
        Simulated().Run(72min); // at 1.5 A
        QCOMPARE(window.windowTitle(), QStringLiteral("CHARGE 01:12 · 1800 mAh"));
        QCOMPARE(house.main.windowTitle(), window.windowTitle());
        QCOMPARE(house.main.DischargeWindow().windowTitle(), QStringLiteral("DECHARGEUR"));
        House::Press(window, "CBStop");
        QCOMPARE(window.windowTitle(), QStringLiteral("Mode chargeur rapide"));
        QCOMPARE(house.main.windowTitle(), QStringLiteral("Form1"));
    }

    void ADischargeIsSaidToo()
    {
        House house;
        house.Load();
        house.Discharge();
        Simulated().Run(10min);
        QVERIFY2(house.main.windowTitle().startsWith(QStringLiteral("DECHARGE 00:10 · ")),
                 qPrintable(house.main.windowTitle()));
        house.board.channel[13] = 10; // empty
        SOON_EQUAL(house.main.windowTitle(), QStringLiteral("Form1"));
        QCOMPARE(house.main.DischargeWindow().windowTitle(), QStringLiteral("DECHARGEUR"));
    }

    void AMeasurementTellsItsPhaseAndGoesOnInAPause()
    {
        House house;
        house.Load();
        house.board.channel[12] = 800;
        house.Press("CbCapa");
        QWidget &window = house.main.CapacityWindow();
        House::Press(window, "CBstart");
        SOON_EQUAL(window.windowTitle(), QStringLiteral("MESURE 00:00 · Preparation Ch/Decharge"));
        QVERIFY(Simulated().RunUntil(
            [&] { return window.windowTitle().startsWith(QStringLiteral("MESURE 00:05 · Charge · ")); }, 10min));
        house.board.channel[12] = 700; // full
        QVERIFY(Simulated().RunUntil([&] { return window.windowTitle().endsWith(QStringLiteral(" · Pause")); }, 1min));
        const QString begun = window.windowTitle();
        Simulated().Run(70s);
        QVERIFY(window.windowTitle().endsWith(QStringLiteral(" · Pause")));
        QVERIFY(window.windowTitle() != begun);
        House::Press(window, "CBStop");
        QCOMPARE(window.windowTitle(), QStringLiteral("MESURE CAPACITE BATTERIE"));
    }

    void MessagesKeepTheTitleOfTheirWindow()
    {
        House house;
        house.Load();
        house.Charge();
        house.Press("Cb_quitter"); // what is to become of the charge?
        QCOMPARE(OpenBoxes().constFirst()->windowTitle(), QStringLiteral("Form1"));
        AnswerBoxes();
    }
};

REGISTER_TEST(TestTitles)
#include "tst_titles.moc"
