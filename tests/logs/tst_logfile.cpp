// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "logs/logfile.h"
#include "ownlogs.h"
#include "support/suite.h"

#include <sys/stat.h>

namespace {
void Write(const QString &path, const QByteArray &bytes, QIODevice::OpenMode mode = QIODevice::WriteOnly)
{
    QFile file(path);
    QVERIFY(file.open(mode) && file.write(bytes) == bytes.size());
}

QString WhyNot(const QString &path)
{
    try {
        const LogFile file(path);
    } catch (const FileError &error) {
        return error.Text();
    }
    return {};
}
} // namespace

class TestLogFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void WhatTheProgramWritesIsRead_data() { BothLocales(); }
    void WhatTheProgramWritesIsRead()
    {
        QFETCH(QLocale, locale);
        const OwnLogs logs(locale);
        const auto check = [](const QString &path, Log::Kind kind, size_t records, const char *column, double value) {
            const LogFile file(path);
            QCOMPARE(file.Contents().kind, kind);
            QCOMPARE(file.Contents().Records(), records);
            QCOMPARE(file.Contents().Find(QString::fromUtf8(column))->values.back(), value);
            QCOMPARE(file.Unreadable(), size_t(0));
        };
        check(OwnLogs::Charge(), Log::Kind::Charge, 3, "VBAT", 5.25);
        check(OwnLogs::Discharge(), Log::Kind::Discharge, 2, "VDBL", 20.5);
        check(OwnLogs::Monitor(), Log::Kind::Monitor, 1, "Capacité", 109);
        check(OwnLogs::Capacity(), Log::Kind::Capacity, 2, "TOTALCHARGE", 500);
    }

    void ALogThatGrowsIsReadOn()
    {
        const OwnLogs logs;
        RunLog log(RunLog::chargePrefix, RunLog::chargeHeader);
        LogFile file(log.Path());
        QCOMPARE(file.Contents().Records(), size_t(0));
        QCOMPARE(file.Continue(), LogFile::News::Nothing);
        for (int second = 1; second < 50; ++second) {
            OwnLogs::Charged(log, second);
            QCOMPARE(file.Continue(), LogFile::News::More);
            QCOMPARE(file.Contents().Records(), size_t(second));
        }
        const QString path = log.Path();
        Write(path, " 50 : 8", QIODevice::Append); // a record in two pieces
        QCOMPARE(file.Continue(), LogFile::News::Nothing);
        Write(path, "00 : 900 : 0 : 13 : 0 : 0 : 25 : 300 : 600 : 700 : 1 : 5 : 710 : 2 : 0 \r\n", QIODevice::Append);
        QCOMPARE(file.Continue(), LogFile::News::More);
        QCOMPARE(file.Contents().seconds.back(), 50.0);
    }

    void AnotherFileInItsPlaceIsReadAnew()
    {
        const OwnLogs logs;
        const QString path = OwnLogs::Charge(20);
        LogFile file(path);
        QFile::remove(path);
        QCOMPARE(file.Continue(), LogFile::News::Nothing);
        QCOMPARE(file.Contents().Records(), size_t(20)); // what was read stays
        Write(path, "not yet");
        QCOMPARE(file.Continue(), LogFile::News::Nothing);
        Write(path, RunLog::dischargeHeader.toLatin1() + "\r\n\r\n");
        QCOMPARE(file.Continue(), LogFile::News::Anew);
        QCOMPARE(file.Contents().kind, Log::Kind::Discharge);
        QCOMPARE(file.Contents().Records(), size_t(0));
    }

    void WhatIsNoLogIsRefused()
    {
        const OwnLogs logs;
        const QString there = logs.folder.filePath(QStringLiteral("there"));
        QVERIFY(WhyNot(there).startsWith(QStringLiteral("Erreur de fichier : ") + there));
        Write(there, "");
        QVERIFY(WhyNot(there).contains(QStringLiteral("il est vide")));
        Write(there, "a:b:c\n");
        QVERIFY(WhyNot(there).contains(QStringLiteral("ce n'est pas un journal")));
        Write(there, QByteArray(3000000, '\xff'));
        QVERIFY(WhyNot(there).contains(QStringLiteral("ce n'est pas un journal")));
        QVERIFY(WhyNot(logs.folder.path()).contains(QStringLiteral("pas un fichier ordinaire")));
        const QString pipe = logs.folder.filePath(QStringLiteral("pipe"));
        QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QVERIFY(WhyNot(pipe).contains(QStringLiteral("pas un fichier ordinaire")));
    }
};

REGISTER_TEST(TestLogFile)
#include "tst_logfile.moc"
