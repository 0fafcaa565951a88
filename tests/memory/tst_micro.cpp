// SPDX-License-Identifier: GPL-3.0-or-later
#include "memory/micro.h"
#include "support/controls.h"
#include "support/linkfixture.h"
#include "support/suite.h"

#include <QProgressBar>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QtTest>

namespace {
struct Bench : LinkFixture
{
    Bench() { link.OpenPort(); }

    QPushButton *Button(const char *name) { return window.findChild<QPushButton *>(QLatin1String(name)); }

    Kept<Micro> window{link};
    QSignalSpy opened{&window, &Micro::Opened};
    QSignalSpy returning{&window, &Window::Returning};
    QSignalSpy dashboard{&window, &Micro::DashboardWanted};
};
} // namespace

class TestMicro : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Controls_data()
    {
        AddControls({
            {"Frame2", "QGroupBox", "Mise A Jour"},
            {"CBepr", "QPushButton", "EEprom Master"},
            {"CbEEprSalave", "QPushButton", "EEprom Slave"},
            {"CBMIC1", "QPushButton", "PGM Flash Master"},
            {"CbPgmSlave", "QPushButton", "PGM Flash Slave"},
            {"CbextEEPROM", "QPushButton", "External EEprom"},
            {"CBEtat", "QPushButton", "Tableau de bord"},
            {"Frame1", "QGroupBox", "ETAT"},
            {"LBtypest", "QLabel", ""},
            {"LBinfos", "QLabel", ""},
            {"ProgBar1", "QProgressBar", nullptr},
            {"MQuitter", "QPushButton", "Retour"},
        });
    }
    void Controls()
    {
        Bench bench;
        CheckControl(bench.window);
    }

    void Typefaces()
    {
        Bench bench;
        for (const char *frame : {"Frame1", "Frame2"})
            QCOMPARE(bench.window.findChild<QGroupBox *>(QLatin1String(frame))->font().family(),
                     QStringLiteral("Times New Roman"));
        QCOMPARE(bench.window.findChild<QLabel *>(QStringLiteral("LBinfos"))->font().family(), QStringLiteral("Arial"));
    }

    void Opening()
    {
        Bench bench;
        bool shown = true;
        connect(&bench.window, &Micro::Opened, this, [&] { shown = bench.window.isVisible(); });
        bench.window.Open();
        QCOMPARE(bench.opened.size(), 1);
        QVERIFY(!shown);
        QVERIFY(bench.window.isVisible());
        QVERIFY(!bench.window.isModal());
        QCOMPARE(bench.window.objectName(), QStringLiteral("Micro"));
        QCOMPARE(bench.window.windowTitle(), QStringLiteral("Form1"));
        QCOMPARE(bench.window.size(), QSize(533, 467));
        const QPoint off = bench.window.geometry().center() - bench.window.screen()->availableGeometry().center();
        QVERIFY(qAbs(off.x()) <= 2 && qAbs(off.y()) <= 2);
        QVERIFY(!bench.window.findChild<QProgressBar *>(QStringLiteral("ProgBar1"))->isVisible());
        bench.window.Open(); // is raised
        QCOMPARE(bench.opened.size(), 1);
    }

    void TheDashboardIsAskedFor()
    {
        Bench bench;
        bench.window.Open();
        bench.Button("CBEtat")->click();
        QCOMPARE(bench.dashboard.size(), 1);
        QVERIFY(bench.window.isVisible());
    }

    void TheExternalEepromsOpen()
    {
        Bench bench;
        bench.window.Open();
        const auto profiles = [] {
            for (QWidget *widget : QApplication::topLevelWidgets())
                if (widget->objectName() == QLatin1String("Exteepr") && widget->isVisible())
                    return widget;
            return static_cast<QWidget *>(nullptr);
        };
        QVERIFY(!profiles());
        bench.Button("CbextEEPROM")->click();
        QVERIFY(profiles());
        QVERIFY(bench.window.isVisible());
        profiles()->close();
        SOON_EQUAL(QGuiApplication::focusWindow(), bench.window.windowHandle()); // in front again
    }

    void ReturnKeepsTheConnection()
    {
        Bench bench;
        bench.window.Open();
        int flag = -1;
        connect(&bench.window, &Window::Returning, this, [&] { flag = bench.link.ReconnectOnActivate; });
        QCOMPARE(bench.link.ReconnectOnActivate, 1);
        bench.Button("MQuitter")->click();
        QVERIFY(!bench.window.isVisible());
        QCOMPARE(bench.returning.size(), 1);
        QCOMPARE(flag, 0); // before the main window comes back
        bench.window.Open();
        QCOMPARE(bench.opened.size(), 2);
    }

    void TheTitleBarLeavesTheFlagAlone()
    {
        for (const int flag : {0, 1}) {
            Bench bench;
            bench.link.ReconnectOnActivate = flag;
            bench.window.Open();
            bench.window.close();
            QCOMPARE(bench.returning.size(), 1);
            QCOMPARE(bench.link.ReconnectOnActivate, flag);
        }
    }

    void NothingIsSent()
    {
        Bench bench;
        bench.window.Open();
        bench.Button("CBEtat")->click();
        bench.Button("MQuitter")->click();
        bench.link.SendByte(7); // comes after all that the window may have sent
        SOON_EQUAL(bench.board.Received(), Bytes({7}));
    }
};

REGISTER_TEST(TestMicro)
#include "tst_micro.moc"
