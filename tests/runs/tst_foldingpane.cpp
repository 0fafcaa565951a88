// SPDX-License-Identifier: GPL-3.0-or-later
#include "runbench.h"
#include "runs/chargeur.h"
#include "runs/dechargeur.h"
#include "runs/runcurve.h"
#include "support/suite.h"

#include <QScreen>
#include <QToolButton>

namespace {
template <class W>
struct Bench : RunBench<W>
{
    QWidget &Window() { return this->window; }
    QToolButton *Fold() { return this->template Find<QToolButton>("CbCourbe"); }
    bool Folded() { return !this->template Find<RunCurve>("Courbe")->isVisible(); }
    QRect Room() { return Window().screen()->availableGeometry(); }
    void OpenAgain()
    {
        Window().close();
        this->window.Open();
    }
};
} // namespace

/// The pane beside the controls on a screen that has room for it.
class TestFoldingPane : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY2(QGuiApplication::primaryScreen()->size() == QSize(1600, 900),
                 "needs QT_QPA_PLATFORM=offscreen:configfile=tests/data/screen.json, as CTest sets it");
    }

    void ItIsOpenWhereThereIsRoom()
    {
        Bench<Chargeur> bench;
        QVERIFY(!bench.Folded());
        QVERIFY(bench.Fold()->isChecked());
        QVERIFY(bench.Find<RunCurve>("Courbe")->width() > 400);
        const QPoint off = bench.Window().geometry().center() - bench.Room().center();
        QVERIFY(qAbs(off.x()) <= 2 && qAbs(off.y()) <= 2);
        QVERIFY(!QFileInfo::exists(bench.folder.filePath(QStringLiteral("voltaire.ini")))); // nobody has said so
        const int opened = bench.Window().width();
        Simulated().Run(100ms);
        bench.Window().resize(opened - 200, bench.Window().height());
        QCOMPARE(bench.Window().width(), opened - 200);
        QVERIFY(!bench.Folded());
    }

    void AWindowThatWasFoldedOpensAsBefore()
    {
        Bench<Chargeur> bench;
        const int opened = bench.Window().width();
        bench.Fold()->click();
        const QSize folded = bench.Window().size();
        QVERIFY(folded.width() < opened - 400);
        bench.OpenAgain();
        QVERIFY(bench.Folded());
        QCOMPARE(bench.Window().size(), folded);
        const QPoint off = bench.Window().geometry().center() - bench.Room().center();
        QVERIFY(qAbs(off.x()) <= 2 && qAbs(off.y()) <= 2);
        bench.Fold()->click();
        QCOMPARE(bench.Window().width(), opened);
    }

    void AWindowThatGrowsStaysOnTheScreen()
    {
        Bench<Dechargeur> bench;
        bench.Window().close();
        bench.link.MainLeft = 700;
        bench.link.MainTop = 80;
        bench.window.Open();
        QVERIFY(bench.Window().width() > 900);
        QVERIFY(bench.Window().frameGeometry().right() <= bench.Room().right());
        QCOMPARE(bench.Window().y(), 80);
        bench.Fold()->click();
        bench.Window().move(880, 80);
        bench.Fold()->click();
        QVERIFY(bench.Window().frameGeometry().right() <= bench.Room().right());
    }

    void AMaximisedWindowKeepsItsSize()
    {
        Bench<Chargeur> bench;
        bench.Window().showMaximized();
        Simulated().Run(100ms);
        const QSize whole = bench.Window().size();
        bench.Fold()->click();
        QVERIFY(bench.Folded());
        QCOMPARE(bench.Window().size(), whole);
        bench.Fold()->click();
        QCOMPARE(bench.Window().size(), whole);
    }
};

REGISTER_TEST(TestFoldingPane)
#include "tst_foldingpane.moc"
