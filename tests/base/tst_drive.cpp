// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "base/errors.h"
#include "support/suite.h"

#include <QtTest>

class TestDrive : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { drive::SetRoot({}); }

    void LiesInTheHomeFolderByDefault()
    {
#ifdef Q_OS_WIN
        QCOMPARE(drive::Root(), QStringLiteral("C:/"));
#else
        QCOMPARE(drive::Root(), QDir::homePath() + QStringLiteral("/Voltaire"));
#endif
    }

    void FoldersHaveLowerCaseNames()
    {
        drive::SetRoot(QStringLiteral("/some/Where"));
        QCOMPARE(drive::Root(), QStringLiteral("/some/Where"));
        QCOMPARE(drive::Folder(QStringLiteral("Temp")), QStringLiteral("/some/Where/temp"));
        QCOMPARE(drive::Folder(QStringLiteral("log")), QStringLiteral("/some/Where/log"));
    }

    void IsMadeWithItsTemp()
    {
        const QTemporaryDir home;
        drive::SetRoot(home.filePath(QStringLiteral("a/Drive")));
        drive::Prepare();
        QVERIFY(QFileInfo(home.filePath(QStringLiteral("a/Drive/temp"))).isDir());
        drive::Prepare(); // again: it is there
    }

    void AFileInItsPlaceIsAnError()
    {
        const QTemporaryDir home;
        QFile blocking(home.filePath(QStringLiteral("Drive")));
        QVERIFY(blocking.open(QIODevice::WriteOnly));
        drive::SetRoot(blocking.fileName());
        try {
            drive::Prepare();
            QFAIL("nothing thrown");
        } catch (const FileError &error) {
            QVERIFY2(error.Text().contains(blocking.fileName()), error.what());
        }
    }
};

REGISTER_TEST(TestDrive)
#include "tst_drive.moc"
