// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "link/com.h"
#include "simulation/answers.h"
#include "simulation/memoryport.h"
#include "simulation/simulatedclock.h"
#include "support/boxes.h"
#include "support/suite.h"
#include "trace/tracedport.h"

#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

namespace {
/// Files cannot grow beyond so many bytes while it lives, as on a disk that is full.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes)
    {
        getrlimit(RLIMIT_FSIZE, &former_);
        handler_ = std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, former_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &former_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    rlimit former_{};
    sighandler_t handler_;
};

QByteArray Content(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("not there");
}

/// A traced line with nobody's rules: what the test says goes over it.
struct Line
{
    explicit Line(qint64 largest = TraceFile::usualSize)
    {
        clock.SetLocalTime(QDateTime(QDate(2026, 11, 15), QTime(9, 7), Qt::OffsetFromUTC, 3600));
        auto traced =
            std::make_unique<TracedPort>(std::unique_ptr<Port>(device), std::make_unique<TraceFile>(path, largest));
        com = std::make_unique<Com>(std::move(traced));
        com->SetPortName(QStringLiteral("ttyTest"));
        com->SetPortOpen(true);
    }
    /// The lines behind the head.
    QByteArray Traced(const QString &suffix = {}) const
    {
        const QByteArray content = Content(path + suffix);
        return content.mid(content.indexOf('\n', content.indexOf('\n') + 1) + 1);
    }
    void Ask()
    {
        com->Output(Bytes({27, 13}));
        clock.Run(5ms);
        device->Deliver(Bytes({27, 2, 45, 170}));
        clock.Run(1ms);
    }

    SimulatedClock clock;
    QTemporaryDir folder;
    QString path = folder.filePath(QStringLiteral("trace"));
    MemoryPort *device = new MemoryPort;
    std::unique_ptr<Com> com;
};
} // namespace

class TestTracedPort : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { AnswerBoxes(); }

    void EveryByteIsWrittenWithItsMomentAndMeaning()
    {
        Line line;
        line.Ask();
        line.com->SetSettings(QStringLiteral("19200,n,8,1"));
        line.com->SetPortOpen(false);
        QCOMPARE(Content(line.path),
                 QByteArray("# Voltaire : trace de la liaison, format 1\n"
                            "# début 2026-11-15T09:07:00.000+01:00, partie 1 ; temps en microsecondes, > à la carte, "
                            "< de la carte, = le port\n"
                            "           0 = ouvert ttyTest 9600,n,8,1 RTS 1 DTR 1\n"
                            "           0 > 27 13               → voie 13 (batterie)\n"
                            "        5000 < 27 2 45 170         ← 557\n"
                            "        6000 = réglé 19200,n,8,1 RTS 1 DTR 1\n"
                            "        6000 = fermé\n"));
    }

    void TheProgramGetsWhatHasCome()
    {
        Line line;
        QSignalSpy received(line.com.get(), &Com::Received);
        line.device->Deliver(Bytes({1, 2}));
        QCOMPARE(line.com->InBufferCount(), 2); // also before events run
        line.device->Deliver(Bytes({3}));
        line.clock.Run(1ms);
        QVERIFY(!received.isEmpty());
        QCOMPARE(line.com->Input(), Bytes({1, 2, 3}));
        QCOMPARE(line.com->InBufferCount(), 0);
    }

    void WhatIsClosedUnreadIsWrittenAndGone()
    {
        Line line;
        line.device->Deliver(Bytes({6}));
        line.com->SetPortOpen(false);
        QVERIFY(line.Traced().contains(" < 6                   ← inattendu\n"));
        line.com->SetPortOpen(true);
        QCOMPARE(line.com->InBufferCount(), 0);
    }

    void ALossAndARefusalAreWritten()
    {
        Line line;
        QSignalSpy lost(line.com.get(), &Com::PortLost);
        line.device->Unplug();
        line.clock.Run(1ms);
        QCOMPARE(lost.size(), 1);
        line.device->Plug();
        line.clock.Run(1ms);
        QVERIFY(line.com->PortOpen());
        line.com->SetPortOpen(false);
        line.device->SetTaken(true);
        QVERIFY_EXCEPTION_THROWN(line.com->SetPortOpen(true), PortError);
        QByteArrayList events;
        for (const QByteArray &each : line.Traced().split('\n'))
            events.append(each.mid(each.indexOf('=')));
        QCOMPARE(events, QByteArrayList({"= ouvert ttyTest 9600,n,8,1 RTS 1 DTR 1", "= perdu : débranché",
                                         "= de retour", "= fermé",
                                         "= refusé : Le port série ttyTest ne peut pas être ouvert : un autre "
                                         "programme s'en sert",
                                         ""}));
    }

    void AFileThatHasGrownMovesOn()
    {
        Line line(1000);
        for (int i = 0; i < 100; ++i)
            line.Ask();
        const QStringList parts = QDir(line.folder.path()).entryList(QDir::Files, QDir::Name);
        QCOMPARE(parts, QStringList({QStringLiteral("trace"), QStringLiteral("trace.1"), QStringLiteral("trace.2"),
                                     QStringLiteral("trace.3"), QStringLiteral("trace.4")}));
        QByteArray all;
        for (const char *suffix : {".4", ".3", ".2", ".1", ""}) {
            const QByteArray part = Content(line.path + QLatin1String(suffix));
            QVERIFY(part.size() <= 1000);
            QVERIFY(part.startsWith("# Voltaire : trace de la liaison, format 1\n# début 2026-11-15T09:07:00.000"));
            QVERIFY(part.endsWith('\n'));
            all += line.Traced(QLatin1String(suffix));
        }
        // The newest lines, none left out between two parts.
        QVERIFY(all.endsWith("      599000 < 27 2 45 170         ← 557\n"));
        qint64 before = -1;
        for (const QByteArray &each : all.trimmed().split('\n')) {
            const qint64 time = ReadTraceLine(each).microseconds;
            if (before >= 0)
                QVERIFY2(time - before == 1000 || time - before == 5000, each.constData());
            before = time;
        }
    }

    void AnotherTraceIsMovedOnAndNoOtherFile()
    {
        const SimulatedClock clock;
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("trace"));
        TraceFile(path).Write("1 > 85\n");
        TraceFile second(path);
        QVERIFY(Content(path + QStringLiteral(".1")).endsWith("1 > 85\n"));
        QCOMPARE(Content(path).count('\n'), 2);

        const QString letter = folder.filePath(QStringLiteral("letter"));
        QFile file(letter);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("Cher ami,\n");
        file.close();
        QVERIFY_EXCEPTION_THROWN(TraceFile{letter}, FileError);
        QCOMPARE(Content(letter), QByteArray("Cher ami,\n"));
        QVERIFY_EXCEPTION_THROWN(TraceFile{folder.path()}, FileError);
        QVERIFY_EXCEPTION_THROWN(TraceFile{QStringLiteral("/nowhere/trace")}, FileError);
        const QString pipe = folder.filePath(QStringLiteral("pipe"));
        QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        QVERIFY_EXCEPTION_THROWN(TraceFile{pipe}, FileError);
    }

    void AFullDiskIsSaidOnceAndTheLineGoesOn()
    {
        Line line;
        line.Ask();
        const QByteArray before = Content(line.path);
        {
            const FullDisk full(static_cast<rlim_t>(before.size()) + 20); // a part of a line has room
            for (int i = 0; i < 3; ++i)
                line.Ask();
        }
        QCOMPARE(BoxTexts().size(), 1);
        QVERIFY(BoxTexts().constFirst().contains(line.path));
        QVERIFY(BoxTexts().constFirst().endsWith(QStringLiteral("La trace s'arrête là ; le travail continue.")));
        QCOMPARE(line.com->InBufferCount(), 4 * 4);
        line.Ask(); // there is room again, but a trace with a hole is none
        QCOMPARE(line.com->InBufferCount(), 5 * 4);
        QCOMPARE(Content(line.path), before);
        QCOMPARE(BoxTexts().size(), 1);
    }
};

REGISTER_TEST(TestTracedPort)
#include "tst_tracedport.moc"
