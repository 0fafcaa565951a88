// SPDX-License-Identifier: GPL-3.0-or-later
#include "menubench.h"
#include "support/suite.h"

#include <QSignalSpy>

namespace {
struct Bench : MenuBench
{
    /// Chooses an entry with the keys, as a user does.
    void Choose(int entry)
    {
        List()->setFocus();
        List()->showPopup();
        auto *view = List()->view();
        view->setCurrentIndex(List()->model()->index(entry, 0));
        QTest::keyClick(view, Qt::Key_Return);
    }
    /// The names of the windows that are open.
    static QString Windows()
    {
        QStringList open;
        for (int entry = 0; entry < 6; ++entry)
            if (WindowOf(entry)->isVisible())
                open.append(QLatin1String(entryNames[entry]));
        return open.join(u' ');
    }
};
} // namespace

class TestReglage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Controls_data()
    {
        AddControls({
            {"Info1", "QLabel", "Selectionnez une option"},
            {"SelRegl", "QComboBox", nullptr},
            {"Rquitter", "QPushButton", "Retour"},
        });
    }
    void Controls()
    {
        Bench bench;
        bench.window.Open();
        CheckControl(bench.window);
    }

    void Opening()
    {
        Bench bench;
        bench.window.Open();
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("Mode Reglage"));
        QVERIFY(bench.Centred());
        QVERIFY(!bench.window.isModal());
        for (int again = 0; again < 2; ++again) {
            QStringList entries;
            for (int entry = 0; entry < bench.List()->count(); ++entry)
                entries.append(bench.List()->itemText(entry));
            QCOMPARE(entries, QStringList({QStringLiteral("Temperature"), QStringLiteral("Tension Batterie"),
                                           QStringLiteral("Tensions Alimentations"), QStringLiteral("Courrant Charge"),
                                           QStringLiteral("Courrant Décharge"), QStringLiteral("Tensions LIPO")}));
            QCOMPARE(bench.List()->currentIndex(), -1);
            bench.window.close();
            bench.window.Open();
        }
        QCOMPARE(bench.Windows(), QString());
        QCOMPARE(bench.Settled(), QByteArray());
    }

    void EntriesOpenTheirWindows_data()
    {
        QTest::addColumn<int>("entry");
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("temperature") << int(Temperature) << QByteArray();
        QTest::newRow("battery") << int(Battery) << voutOpening;
        QTest::newRow("supplies") << int(Supplies) << QByteArray();
        QTest::newRow("charge") << int(Charge) << chargeOpening;
        QTest::newRow("discharge") << int(Discharge) << dischargeOpening;
        QTest::newRow("lithium") << int(Lithium) << lithiumOpening;
    }
    void EntriesOpenTheirWindows()
    {
        QFETCH(int, entry);
        for (const bool byHand : {true, false}) {
            Bench bench;
            bench.window.Open();
            if (byHand)
                bench.Choose(entry);
            else
                bench.List()->setCurrentIndex(entry);
            QCOMPARE(bench.Windows(), QLatin1String(entryNames[entry]));
            QVERIFY(!bench.WindowOf(entry)->isModal());
            QTEST(bench.Settled(), "sent"); // once
        }
    }

    void AnIndexOutsideOpensNothing()
    {
        Bench bench;
        bench.window.Open();
        bench.Choose(Temperature);
        bench.List()->setCurrentIndex(-1);
        QCOMPARE(bench.Windows(), QString());
        Q_EMIT bench.List()->activated(6);
        QCOMPARE(bench.Windows(), QString());
    }

    void TheNextChoiceClosesFourOfThem()
    {
        Bench bench;
        bench.window.Open();
        const std::pair<int, const char *> choices[] = {
            {Temperature, "Temper"},
            {Battery, "Vout"},
            {Supplies, "Vfiltrage"},
            {Charge, "Rcourant"},
            {Discharge, "RglDech"},
            {Lithium, "RglDech RegLIPO"},
            {Temperature, "Temper RglDech RegLIPO"},
            {Lithium, "RglDech RegLIPO"},
            {Charge, "Rcourant RglDech RegLIPO"},
        };
        for (const auto &[entry, open] : choices) {
            bench.Choose(entry);
            QCOMPARE(bench.Windows(), QLatin1String(open));
        }
    }

    void SwitchWritesKeepTheirOrder()
    {
        Bench bench;
        bench.window.Open();
        bench.Choose(Charge);
        bench.Choose(Battery);
        QCOMPARE(bench.Settled(), chargeOpening.first(3) + chargeLeaving + voutOpening);
        bench.Choose(Charge); // which the battery's window leaves as it is
        bench.Choose(Temperature);
        QCOMPARE(bench.Settled(), chargeOpening.first(3) + chargeLeaving);
    }

    void TheSameEntryAgain()
    {
        Bench bench;
        bench.window.Open();
        bench.Choose(Charge);
        QCOMPARE(bench.Settled(), chargeOpening);
        bench.Choose(Charge); // one of the four is closed and opened
        QCOMPARE(bench.Settled(), chargeLeaving + chargeOpening);
        QCOMPARE(bench.Windows(), QStringLiteral("Rcourant"));

        bench.Choose(Lithium);
        QCOMPARE(bench.Settled(), chargeLeaving + lithiumOpening);
        const QWidget *lithium = bench.WindowOf(Lithium);
        SOON_EQUAL(QGuiApplication::focusWindow(), lithium->windowHandle());
        bench.window.activateWindow();
        SOON_EQUAL(QGuiApplication::focusWindow(), bench.window.windowHandle());
        bench.Choose(Lithium); // one of the two is only raised
        SOON_EQUAL(QGuiApplication::focusWindow(), lithium->windowHandle());
        QCOMPARE(bench.Settled(), QByteArray());
    }

    void TheWheelChoosesNothing()
    {
        Bench bench;
        bench.window.Open();
        QWheelEvent wheel({5, 5}, bench.List()->mapToGlobal(QPoint(5, 5)), {}, {0, -120}, Qt::NoButton, {},
                          Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(bench.List(), &wheel);
        QCOMPARE(bench.List()->currentIndex(), -1);
        QCOMPARE(bench.Windows(), QString());
    }

    void Return()
    {
        Bench bench;
        bench.window.Open();
        bench.Choose(Discharge);
        bench.Choose(Lithium);
        bench.Choose(Charge);
        bench.Settled();
        bench.link.ReconnectOnActivate = 1;
        int flag = -1;
        connect(&bench.window, &Window::Returning, this, [&] { flag = bench.link.ReconnectOnActivate; });
        bench.Find<QPushButton>("Rquitter")->click();
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(flag, 0); // before the main window comes back
        QCOMPARE(bench.Windows(), QStringLiteral("RglDech RegLIPO"));
        QCOMPARE(bench.Settled(), chargeLeaving);
    }

    void TheCloseBox()
    {
        Bench bench;
        bench.window.Open();
        bench.Choose(Charge);
        bench.Settled();
        QSignalSpy returning(&bench.window, &Window::Returning);
        bench.link.ReconnectOnActivate = 1;
        bench.window.close();
        QCOMPARE(bench.Windows(), QString());
        QCOMPARE(bench.Settled(), chargeLeaving);
        QCOMPARE(bench.link.ReconnectOnActivate, 1);
        QCOMPARE(returning.size(), 0);
    }

    void ClosingASilentBoardsWindowsSwitchesOff()
    {
        Bench bench;
        bench.window.Open();
        bench.Choose(Charge);
        bench.Settled();
        bench.board.SetSilent(true);
        bench.window.close();
        SOON_EQUAL(bench.board.Received(), chargeLeaving); // no answer is waited for without end
    }

    void AClosedPortIsSaid()
    {
        Bench bench;
        bench.window.Open();
        bench.ClosePort();
        bench.Choose(Charge);
        SOON(!OpenBoxes().isEmpty());
        QCOMPARE(OpenBoxes().constFirst()->windowTitle(), QStringLiteral("Mode Reglage"));
    }
};

REGISTER_TEST(TestReglage)
#include "tst_reglage.moc"
