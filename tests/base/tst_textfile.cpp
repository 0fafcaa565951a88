// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "base/errors.h"
#include "base/textfile.h"
#include "support/boxes.h"
#include "support/suite.h"

#include <QtTest>

class TestTextFile : public QObject
{
    Q_OBJECT

private:
    static QByteArray Content(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
    }

    /// A folder for logs, and a drive beside it.
    struct Home
    {
        Home()
        {
            QDir().mkpath(logs);
            drive::SetRoot(folder.filePath(QStringLiteral("c")));
        }
        ~Home()
        {
            AnswerBoxes();
            drive::SetRoot({});
            QDir::setCurrent(QStringLiteral("/"));
        }
        QString Said(const QString &place) const
        {
            return QStringLiteral("Le fichier %1 a été supprimé en cours de travail.\n"
                                  "Ce qu'il contenait et la suite sont dans %2.")
                .arg(log, place);
        }

        const QTemporaryDir folder;
        const QString logs = folder.filePath(QStringLiteral("logs"));
        const QString log = logs + QStringLiteral("/run.txt");
        const QString spare = folder.filePath(QStringLiteral("c/temp/run.txt"));
    };

    QTemporaryDir folder_;

private Q_SLOTS:
    void initTestCase() { QVERIFY(folder_.isValid()); }

    void EachLineIsOnDiskAtOnce()
    {
        const QString path = folder_.filePath(QStringLiteral("run.txt"));
        TextFile file(path);
        QCOMPARE(file.Path(), path);
        QCOMPARE(Content(path), QByteArray());
        file.WriteLine(QStringLiteral(" 1 : 2 "));
        QCOMPARE(Content(path), QByteArray(" 1 : 2 \r\n"));
        file.WriteLine(QString());
        QCOMPARE(Content(path), QByteArray(" 1 : 2 \r\n\r\n"));
        file.WriteLine(QStringLiteral("é"));
        QCOMPARE(Content(path), QByteArray(" 1 : 2 \r\n\r\n\xC3\xA9\r\n"));
    }

    void WhatTheFileHeldIsGone()
    {
        const QString path = folder_.filePath(QStringLiteral("old.txt"));
        TextFile(path).WriteLine(QStringLiteral("a long old line"));
        TextFile(path).WriteLine(QStringLiteral("new"));
        QCOMPARE(Content(path), QByteArray("new\r\n"));
    }

    void AFullDiskIsAnError()
    {
        TextFile file(QStringLiteral("/dev/full"));
        try {
            file.WriteLine(QStringLiteral("x"));
            QFAIL("nothing thrown");
        } catch (const FileError &error) {
            QVERIFY2(error.Text().startsWith(QStringLiteral("Erreur de fichier : /dev/full (")), error.what());
            QVERIFY2(!error.Text().endsWith(QStringLiteral("()")), "the system's reason is missing");
        }
    }

    void APlaceThatCannotBeWrittenIsAnError()
    {
        const QString path = folder_.filePath(QStringLiteral("missing/run.txt"));
        try {
            const TextFile file(path);
            QFAIL("nothing thrown");
        } catch (const FileError &error) {
            QVERIFY2(error.Text().contains(path), error.what());
        }
        QVERIFY_THROWS_EXCEPTION(FileError, TextFile(folder_.path()));
    }

    // ---- one that is removed while it is written

    void ARemovedFileIsWrittenAnew()
    {
        const Home home;
        TextFile file(home.log);
        file.WriteLine(QStringLiteral("one"));
        QVERIFY(QFile::remove(home.log));
        file.WriteLine(QStringLiteral("two"));
        file.WriteLine(QStringLiteral("three"));
        QCOMPARE(file.Path(), home.log);
        QCOMPARE(Content(home.log), QByteArray("one\r\ntwo\r\nthree\r\n"));
        QCOMPARE(BoxTexts(), QStringList{home.Said(home.log)});
        AnswerBoxes();

        QVERIFY(QFile::remove(home.log)); // again
        file.WriteLine(QStringLiteral("four"));
        QCOMPARE(Content(home.log), QByteArray("one\r\ntwo\r\nthree\r\nfour\r\n"));
    }

    void ARemovedFolderIsMadeAnew()
    {
        const Home home;
        QVERIFY(QDir::setCurrent(home.logs));
        TextFile file(QStringLiteral("run.txt"));
        QCOMPARE(file.Path(), home.log);
        file.WriteLine(QStringLiteral("one"));
        QVERIFY(QDir(home.logs).removeRecursively());
        file.WriteLine(QStringLiteral("two"));
        QCOMPARE(file.Path(), home.log);
        QCOMPARE(Content(home.log), QByteArray("one\r\ntwo\r\n"));
        QCOMPARE(BoxTexts(), QStringList{home.Said(home.log)});
        QCOMPARE(QDir::currentPath(), home.logs); // the next run has a place, too
    }

    void WithoutItsFolderItGoesOnInTheDrive()
    {
        const Home home;
        TextFile file(home.log);
        file.WriteLine(QStringLiteral("one"));
        QVERIFY(QDir(home.logs).removeRecursively());
        QVERIFY(QFile(home.logs).open(QIODevice::WriteOnly)); // a file in its place
        file.WriteLine(QStringLiteral("two"));
        QCOMPARE(file.Path(), home.spare);
        QCOMPARE(Content(home.spare), QByteArray("one\r\ntwo\r\n"));
        QCOMPARE(BoxTexts(), QStringList{home.Said(home.spare)});
    }

    void WhatIsThereInsteadIsLeftAlone()
    {
        const Home home;
        TextFile file(home.log);
        file.WriteLine(QStringLiteral("one"));
        QVERIFY(QFile::remove(home.log));
        TextFile(home.log).WriteLine(QStringLiteral("mine"));
        file.WriteLine(QStringLiteral("two"));
        QCOMPARE(Content(home.log), QByteArray("mine\r\n"));
        QCOMPARE(Content(home.spare), QByteArray("one\r\ntwo\r\n"));
    }

    void WithNoPlaceAtAllItIsAnError()
    {
        const Home home;
        TextFile file(home.log);
        QVERIFY(QDir(home.logs).removeRecursively());
        for (const QString &place : {home.logs, home.folder.filePath(QStringLiteral("c"))})
            QVERIFY(QFile(place).open(QIODevice::WriteOnly));
        QVERIFY_THROWS_EXCEPTION(FileError, file.WriteLine(QStringLiteral("one")));
        QVERIFY(BoxTexts().isEmpty());
    }

    void AFileThatIsMovedIsFollowed()
    {
        const Home home;
        TextFile file(home.log);
        file.WriteLine(QStringLiteral("one"));
        const QString moved = home.folder.filePath(QStringLiteral("moved.txt"));
        QVERIFY(QFile::rename(home.log, moved));
        file.WriteLine(QStringLiteral("two"));
        QCOMPARE(Content(moved), QByteArray("one\r\ntwo\r\n"));
        QVERIFY(BoxTexts().isEmpty());
    }
};

REGISTER_TEST(TestTextFile)
#include "tst_textfile.moc"
