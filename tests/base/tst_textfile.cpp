#include "base/errors.h"
#include "base/textfile.h"
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
        QVERIFY_EXCEPTION_THROWN(TextFile(folder_.path()), FileError);
    }
};

REGISTER_TEST(TestTextFile)
#include "tst_textfile.moc"
