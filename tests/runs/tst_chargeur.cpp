#include "base/timer.h"
#include "runs/chargeur.h"
#include "support/scriptedboard.h"

#include <QtTest>
#include <QApplication>
#include <QMessageBox>

class TestChargeur : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void Smoke()
    {
        Timer::SetScale(20);
        QTemporaryDir dir;
        QDir::setCurrent(dir.path());
        ScriptedBoard board;
        board.Healthy();
        Com com;
        com.SetPortName(board.Port());
        Timer t1("Timer1", 200, nullptr), t2("Timer2", 20, nullptr);
        Codebas link(com, t1, t2);
        link.InitSerialPort();
        link.OpenPort();
        link.SlaveEeprom[6] = 4;
        Chargeur window(link);
        window.Open();
        window.findChild<QPushButton *>("CBstart")->click();
        QTRY_COMPARE(board.Received().size(), 2 + 15 + 0);
        QTest::qWait(1000);
        for (auto *l : window.findChildren<QLabel *>()) qDebug() << l->objectName() << l->text();
        for (auto *w : QApplication::topLevelWidgets()) if (auto *b = qobject_cast<QMessageBox *>(w)) qDebug() << b->text();
 qDebug() << board.TakeReceived().toHex(' ');
        window.grab().save("/tmp/chargeur.png");
    }
};

QTEST_MAIN(TestChargeur)
#include "tst_chargeur.moc"
