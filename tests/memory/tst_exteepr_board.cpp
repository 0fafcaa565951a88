// SPDX-License-Identifier: GPL-3.0-or-later
#include "memory/exteepr.h"
#include "support/boardlink.h"
#include "support/suite.h"

/// The external EEPROMs of the virtual board, which keeps them in a file.
class TestExteeprBoard : public QObject
{
    Q_OBJECT

private:
    struct Bench : BoardLink
    {
        bool Start(const QString &memory)
        {
            if (!BoardLink::Start({QStringLiteral("--memory"), memory}) || !Connect())
                return false;
            window.Open();
            return true;
        }
        void Transfer(const char *button)
        {
            window.findChild<QAbstractButton *>(QLatin1String(button))->click();
            auto *bar = window.findChild<QProgressBar *>(QStringLiteral("Bar1"));
            SOON(bar->isHidden());
        }
        QLineEdit *Box(const char *name) { return window.findChild<QLineEdit *>(QLatin1String(name)); }
        void Choose(int number) { window.findChild<QSlider *>(QStringLiteral("Slider1"))->setValue(number); }

        Kept<Exteepr> window{link};
    };

private Q_SLOTS:
    void AnEditedProfileStays()
    {
        const QTemporaryDir folder;
        const QString memory = folder.filePath(QStringLiteral("memory"));
        QByteArray before;
        {
            Bench bench;
            QVERIFY(bench.Start(memory));
            bench.Transfer("Option1");
            QVERIFY(bench.window.Eeprom1Loaded);
            QCOMPARE(bench.window.ImageTable.Entries()[1], QByteArray("Charge          "));
            bench.Transfer("Option2");
            QVERIFY(bench.window.Eeprom2Loaded);
            QCOMPARE(bench.Box("Text4")->text(), QStringLiteral("006"));
            before = bench.window.ProfileTable.RecordsMemory();
            bench.Choose(4);
            QCOMPARE(bench.Box("Text1")->text(), QStringLiteral("LiPo 2200 3S    "));
            bench.Box("Text1")->setText(QStringLiteral("LiPo 2600 3S"));
            bench.Box("EdICharg")->setText(QStringLiteral("2,600 A"));
            bench.Box("Text4")->setText(QStringLiteral("007"));
            bench.Transfer("CbSave");
        }
        Bench bench;
        QVERIFY(bench.Start(memory));
        bench.Transfer("Option2");
        QCOMPARE(bench.Box("Text4")->text(), QStringLiteral("007"));
        bench.Choose(4);
        QCOMPARE(bench.Box("Text1")->text(), QStringLiteral("LiPo 2600 3S    "));
        QCOMPARE(bench.Box("EdICharg")->text(), QStringLiteral("2,600 A"));
        before.replace(3 * 32, 16, "LiPo 2600 3S    ");
        before.replace(3 * 32 + 20, 3, "260");
        QCOMPARE(bench.window.ProfileTable.RecordsMemory(), before); // all the others are as they were
    }
};

REGISTER_TEST(TestExteeprBoard)
#include "tst_exteepr_board.moc"
