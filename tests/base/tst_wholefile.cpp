// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "base/wholefile.h"
#include "support/suite.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>

class TestWholeFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AllBytesComeBack()
    {
        const QString path = folder_.filePath(QStringLiteral("all"));
        QByteArray bytes;
        for (int i = 0; i < 256; ++i)
            bytes.append(static_cast<char>(i));
        wholefile::Replace(path, bytes);
        QCOMPARE(wholefile::Read(path, 256), bytes);
        wholefile::Replace(path, "new");
        QCOMPARE(wholefile::Read(path, 256), QByteArray("new"));
    }

    void TooLargeIsRefused()
    {
        const QString path = folder_.filePath(QStringLiteral("large"));
        wholefile::Replace(path, QByteArray(11, 'x'));
        QCOMPARE(wholefile::Read(path, 11).size(), 11);
        QVERIFY_EXCEPTION_THROWN(wholefile::Read(path, 10), FileError);
    }

    void WhatCannotBeOpenedIsAnError()
    {
        QVERIFY_EXCEPTION_THROWN(wholefile::Read(folder_.filePath(QStringLiteral("none")), 10), FileError);
        QVERIFY_EXCEPTION_THROWN(wholefile::Replace(folder_.filePath(QStringLiteral("no/folder")), "x"), FileError);
    }

    void WhatIsNoOrdinaryFileIsRefusedWithoutWaiting_data()
    {
        QTest::addColumn<QString>("path");
        const QString fifo = folder_.filePath(QStringLiteral("fifo"));
        QCOMPARE(mkfifo(qPrintable(fifo), 0600), 0); // with nobody at its other end
        QTest::newRow("fifo") << fifo;
        QTest::newRow("folder") << folder_.path();
        QTest::newRow("device without end") << "/dev/zero";
    }
    void WhatIsNoOrdinaryFileIsRefusedWithoutWaiting()
    {
        QFETCH(QString, path);
        try {
            wholefile::Read(path, 10);
            QFAIL("nothing thrown");
        } catch (const FileError &error) {
            QCOMPARE(error.Text(),
                     QStringLiteral("Erreur de fichier : %1 (ce n'est pas un fichier ordinaire)").arg(path));
        }
    }

    void ALinkToAFileIsRead()
    {
        const QString path = folder_.filePath(QStringLiteral("target"));
        const QString link = folder_.filePath(QStringLiteral("link"));
        wholefile::Replace(path, "x");
        QVERIFY(QFile::link(path, link));
        QCOMPARE(wholefile::Read(link, 10), QByteArray("x"));
    }

    void AFailedReplacementLeavesTheOldFile()
    {
        const QString path = folder_.filePath(QStringLiteral("backup"));
        wholefile::Replace(path, "old");
        std::signal(SIGXFSZ, SIG_IGN);
        rlimit before{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &before), 0);
        rlimit full = before;
        full.rlim_cur = 1000; // as if the disk were full
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &full), 0);
        const auto restore = qScopeGuard([&before] { setrlimit(RLIMIT_FSIZE, &before); });
        for (const int size : {2000, 100000}) // what is written at the end, and before it
            QVERIFY_EXCEPTION_THROWN(wholefile::Replace(path, QByteArray(size, 'x')), FileError);
        QCOMPARE(wholefile::Read(path, 100), QByteArray("old"));
        QCOMPARE(QDir(folder_.path()).entryList({QStringLiteral("backup*")}), QStringList{QStringLiteral("backup")});
    }

private:
    QTemporaryDir folder_;
};

REGISTER_TEST(TestWholeFile)
#include "tst_wholefile.moc"
