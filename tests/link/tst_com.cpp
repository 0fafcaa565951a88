// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/errors.h"
#include "link/codebas.h"
#include "link/systemport.h"
#include "simulation/simulatedclock.h"
#include "support/coroutines.h"
#include "support/plug.h"
#include "support/rununtil.h"
#include "support/suite.h"

#include <QFileInfo>
#include <QSignalSpy>
#include <QtTest>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
/// Runs as nobody in particular while it lives, where the test runs as root, who may do everything.
class Unprivileged
{
public:
    Unprivileged()
    {
        if (geteuid() == 0)
            changed_ = setresuid(65534, 65534, 0) == 0;
    }
    Unprivileged(const Unprivileged &) = delete;
    Unprivileged &operator=(const Unprivileged &) = delete;
    ~Unprivileged()
    {
        if (changed_ && setresuid(0, 0, 0) != 0)
            qFatal("root again, please");
    }

private:
    bool changed_ = false;
};

/// The serial control on a port of the system. The clock is simulated: only the system is waited for.
struct Real
{
    Real() = default;
    explicit Real(const PtyBoard &board) { Open(board.Port()); }
    void Open(const QString &name)
    {
        com.SetPortName(name);
        com.SetPortOpen(true);
    }
    QString ErrorOfOpening(const QString &name)
    {
        try {
            Open(name);
        } catch (const PortError &error) {
            return error.Text();
        }
        return {};
    }

    /// Waits until something has arrived at the port, or its device is gone; no event runs meanwhile.
    bool AwaitInput() const
    {
        pollfd waiting{port->Descriptor(), POLLIN, 0};
        return poll(&waiting, 1, 60000) > 0;
    }
    /// Waits until so many bytes wait to be read; no event runs meanwhile.
    bool Awaits(int count)
    {
        while (com.InBufferCount() < count && AwaitInput()) {
        }
        return com.InBufferCount() == count;
    }

    SimulatedClock clock;
    SystemPort *port = new SystemPort;
    Com com{std::unique_ptr<Port>(port)};
    QSignalSpy received{&com, &Com::Received};
    QSignalSpy lost{&com, &Com::PortLost};
    QSignalSpy back{&com, &Com::PortBack};
};

QString RealPath(const PtyBoard &board)
{
    return QFileInfo(board.Port()).canonicalFilePath();
}

/// How many descriptors this process has of a device.
int DescriptorsOf(const QString &path)
{
    int count = 0;
    const QDir descriptors(QStringLiteral("/proc/self/fd"));
    for (const QString &name : descriptors.entryList(QDir::System | QDir::Files))
        if (QFile::symLinkTarget(descriptors.filePath(name)) == path)
            ++count;
    return count;
}

Task<void> AwaitSent(Com *com, Clock::Duration *took)
{
    const Stopwatch watch;
    Task<void> sent = com->Sent();
    co_await sent;
    *took = watch.Elapsed();
}

/// Counts the events of this thread.
class Events : public QObject
{
public:
    Events() { qApp->installEventFilter(this); }
    int Count() const { return count_; }

private:
    bool eventFilter(QObject *, QEvent *) override
    {
        ++count_;
        return false;
    }
    int count_ = 0;
};
} // namespace

class TestCom : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void IsConfiguredByTheLink()
    {
        Real r;
        Com &com = r.com;
        Timer timer1(QStringLiteral("Timer1"), 200, nullptr);
        Timer timer2(QStringLiteral("Timer2"), 20, nullptr);
        com.SetSettings(QStringLiteral("19200,e,7,2"));
        com.SetCommPort(4);
        com.SetHandshaking(2);
        com.SetInputMode(0);
        com.SetInputLen(0);
        com.SetRTSEnable(false);
        com.SetDTREnable(false);
        Codebas link(com, timer1, timer2);
        link.LinkState = 1;
        link.InitSerialPort();
        QCOMPARE(com.objectName(), QStringLiteral("Com"));
        QCOMPARE(com.Settings(), QStringLiteral("9600,n,8,1"));
        QCOMPARE(com.CommPort(), 1);
        QCOMPARE(com.Handshaking(), 0);
        QCOMPARE(com.InputMode(), 1);
        QCOMPARE(com.InputLen(), 1);
        QCOMPARE(com.RTSEnable(), true);
        QCOMPARE(com.DTREnable(), true);
        QCOMPARE(com.PortOpen(), false);
        QCOMPARE(link.LinkState, 0);
    }

    void PortsHaveNumbersOrNames()
    {
        Real r;
        QCOMPARE(r.com.PortName(), QStringLiteral("ttyS0"));
        r.com.SetCommPort(3);
        QCOMPARE(r.com.PortName(), QStringLiteral("ttyS2"));
        r.com.SetPortName(QStringLiteral("ttyUSB7"));
        QCOMPARE(r.com.PortName(), QStringLiteral("ttyUSB7"));
        r.com.SetPortName({});
        QCOMPARE(r.com.PortName(), QStringLiteral("ttyS2"));
    }

    void SettingsMustBeWellFormed_data()
    {
        QTest::addColumn<QString>("settings");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("ordinary") << "9600,n,8,1" << true;
        QTest::newRow("monitor") << "19200,n,8,1" << true;
        QTest::newRow("even, 7, 2") << "300,e,7,2" << true;
        QTest::newRow("odd") << "300,o,5,1" << true;
        QTest::newRow("space") << "300,s,6,1" << true;
        QTest::newRow("mark") << "300,m,6,1" << true;
        QTest::newRow("empty") << "" << false;
        QTest::newRow("speed alone") << "9600" << false;
        QTest::newRow("no stop bits") << "9600,n,8" << false;
        QTest::newRow("too much") << "9600,n,8,1,x" << false;
        QTest::newRow("speed zero") << "0,n,8,1" << false;
        QTest::newRow("negative speed") << "-9600,n,8,1" << false;
        QTest::newRow("speed no number") << "fast,n,8,1" << false;
        QTest::newRow("parity unknown") << "9600,x,8,1" << false;
        QTest::newRow("parity empty") << "9600,,8,1" << false;
        QTest::newRow("parity too long") << "9600,ne,8,1" << false;
        QTest::newRow("four data bits") << "9600,n,4,1" << false;
        QTest::newRow("nine data bits") << "9600,n,9,1" << false;
        QTest::newRow("no stop bit") << "9600,n,8,0" << false;
        QTest::newRow("three stop bits") << "9600,n,8,3" << false;
    }
    void SettingsMustBeWellFormed()
    {
        QFETCH(QString, settings);
        QFETCH(bool, accepted);
        Real r;
        Com &com = r.com;
        if (accepted) {
            com.SetSettings(settings);
            QCOMPARE(com.Settings(), settings);
            return;
        }
        try {
            com.SetSettings(settings);
            QFAIL("nothing thrown");
        } catch (const Error &error) {
            QCOMPARE(error.Text(), QStringLiteral("Réglage de port série incorrect : ") + settings);
        }
        QCOMPARE(com.Settings(), QStringLiteral("9600,n,8,1")); // as it was
    }

    // ---- opening

    void APortWithoutModemLinesIsNoError()
    {
        PtyBoard board;
        Real r(board);
        QVERIFY(r.com.PortOpen());
        QCOMPARE(board.Speed(), 9600);
        QCOMPARE(board.StopBits(), 1);
        r.com.SetRTSEnable(false);
        r.com.SetDTREnable(false);
        r.com.SetRTSEnable(true);
        r.com.SetDTREnable(true);
        r.com.Output(Bytes({85}));
        QCOMPARE(board.Await(1), Bytes({85}));
        QVERIFY(r.com.PortOpen());
        r.com.SetPortOpen(true); // it is
        QCOMPARE(DescriptorsOf(RealPath(board)), 1);
        r.com.SetPortOpen(false);
        QVERIFY(!r.com.PortOpen());
        QVERIFY(!r.com.Lost());
        QCoreApplication::processEvents();
        QCOMPARE(r.lost.count(), 0);
    }

    void OneDescriptorReadsAndNoOther()
    {
        PtyBoard board;
        const QString device = RealPath(board);
        Real r(board);
        QCOMPARE(DescriptorsOf(device), 1);
        r.com.SetPortOpen(false);
        QCOMPARE(DescriptorsOf(device), 0);
        QCOMPARE(r.port->Descriptor(), -1);
    }

    void APortThatIsMissingIsNamed()
    {
        Real r;
        const QString text = r.ErrorOfOpening(QStringLiteral("/dev/ttyNotThere"));
        QVERIFY2(text.startsWith(QStringLiteral("Le port série /dev/ttyNotThere ne peut pas être ouvert : ")),
                 qPrintable(text));
        QVERIFY2(text.endsWith(QString::fromLocal8Bit(std::strerror(ENOENT))), qPrintable(text));
        QVERIFY(!r.com.PortOpen());
        QVERIFY(r.ErrorOfOpening(QStringLiteral("ttyNotThere")).contains(QStringLiteral(" ttyNotThere ")));
    }

    void APortThatIsForbiddenNamesItsGroup()
    {
        const QTemporaryDir folder;
        QFile device(folder.filePath(QStringLiteral("ttyClosed")));
        QVERIFY(device.open(QIODevice::WriteOnly));
        const QString group = QFileInfo(device.fileName()).group();
        QVERIFY(chmod(qPrintable(folder.path()), 0755) == 0);
        QVERIFY(chmod(qPrintable(device.fileName()), 0) == 0);
        Real r;
        const Unprivileged user;
        const QString text = r.ErrorOfOpening(device.fileName());
        QVERIFY2(text.startsWith(QStringLiteral("Le port série %1 ne peut pas être ouvert : ").arg(device.fileName())),
                 qPrintable(text));
        QVERIFY2(text.endsWith(
                     QStringLiteral("\nVous devez appartenir au groupe « %1 », propriétaire de ce port.").arg(group)),
                 qPrintable(text));
    }

    void WhatIsNoSerialPortIsRefusedWithoutWaiting_data()
    {
        QTest::addColumn<int>("kind");
        QTest::newRow("fifo") << S_IFIFO;
        QTest::newRow("plain file") << S_IFREG;
        QTest::newRow("folder") << S_IFDIR;
        QTest::newRow("another device") << S_IFCHR;
    }
    void WhatIsNoSerialPortIsRefusedWithoutWaiting()
    {
        QFETCH(int, kind);
        const QTemporaryDir folder;
        QString path = folder.filePath(QStringLiteral("port"));
        if (kind == S_IFDIR)
            path = folder.path();
        else if (kind == S_IFCHR)
            path = QStringLiteral("/dev/null");
        else
            QCOMPARE(mknod(qPrintable(path), static_cast<mode_t>(kind | 0600), 0), 0);
        const int before = DescriptorsOf(path);
        Real r;
        const QString text = r.ErrorOfOpening(path);
        QVERIFY2(text.startsWith(QStringLiteral("Le port série %1 ne peut pas être ouvert : ").arg(path)),
                 qPrintable(text));
        QVERIFY(!r.com.PortOpen());
        QCOMPARE(DescriptorsOf(path), before);
    }

    void AnUnknownSpeedIsRefused()
    {
        PtyBoard board;
        Real r;
        r.com.SetSettings(QStringLiteral("12345,n,8,1"));
        QCOMPARE(r.ErrorOfOpening(board.Port()), QStringLiteral("Vitesse de port série inconnue : 12345"));
        QVERIFY(!r.com.PortOpen());
        QCOMPARE(DescriptorsOf(RealPath(board)), 0);
    }

    // ---- who else may have it

    void OneThatIsOpenIsRefusedToOthersUnderAnyName()
    {
        PtyBoard board;
        Real r(board); // by a link
        SystemPort other;
        for (const QString &name : {board.Port(), RealPath(board)}) {
            try {
                other.Open(name, {});
                QFAIL("nothing thrown");
            } catch (const PortError &error) {
                QCOMPARE(error.Text(),
                         QStringLiteral("Le port série %1 ne peut pas être ouvert : un autre programme s'en sert")
                             .arg(name));
            }
            QVERIFY(!other.IsOpen());
        }
        r.com.Output(Bytes({85})); // it has not suffered
        QCOMPARE(board.Await(1), Bytes({85}));
        r.com.SetPortOpen(false);
        other.Open(RealPath(board), {});
        QVERIFY(other.IsOpen());
        other.Close();
        r.com.SetPortOpen(true);
        QVERIFY(r.com.PortOpen());
    }

    void TheLockOfAProgramThatIsKilledGoesWithIt()
    {
        PtyBoard board;
        const QByteArray device = RealPath(board).toLocal8Bit();
        QVERIFY(chmod(device.constData(), 0666) == 0);
        QVERIFY(chmod(qPrintable(QFileInfo(board.Port()).path()), 0755) == 0);
        int ready[2];
        QVERIFY(pipe2(ready, O_CLOEXEC) == 0);
        const Unprivileged user; // root may open what others hold

        // Another of our programs, that has opened the port and is killed.
        const LineSettings settings;
        const pid_t child = fork();
        QVERIFY(child >= 0);
        if (child == 0) {
            SystemPort port;
            try {
                port.Open(board.Port(), settings);
            } catch (const PortError &) {
                _exit(1);
            }
            if (write(ready[1], "x", 1) == 1)
                pause();
            _exit(1);
        }
        char byte = 0;
        close(ready[1]);
        const bool held = read(ready[0], &byte, 1) == 1;
        close(ready[0]);
        Real r;
        const QString refused = r.ErrorOfOpening(board.Port());
        kill(child, SIGKILL);
        int status = 0;
        QCOMPARE(waitpid(child, &status, 0), child);
        QVERIFY(held);
        QVERIFY2(refused.endsWith(QStringLiteral("un autre programme s'en sert")), qPrintable(refused));
        QVERIFY(WIFSIGNALED(status));

        QCOMPARE(r.ErrorOfOpening(board.Port()), QString());
        QVERIFY(r.com.PortOpen());
        // No file is left behind, nor made now: not where locks are usually kept, nor beside the port.
        const QString folder = QFileInfo(board.Port()).dir().dirName();
        QCOMPARE(QDir(QStringLiteral("/var/lock")).entryList({u'*' + folder + u'*'}), QStringList());
        QCOMPARE(QDir(QFileInfo(board.Port()).path()).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot),
                 QStringList{QFileInfo(board.Port()).fileName()});
    }

    // ---- input

    void CountsWhatWaitsWithoutEvents()
    {
        PtyBoard board;
        Real r;
        QCOMPARE(r.com.InBufferCount(), 0);
        QVERIFY(!r.com.InputWaits());
        r.Open(board.Port());
        QCOMPARE(r.com.InBufferCount(), 0);
        board.Send(Bytes({1, 2, 3}));
        QVERIFY(r.Awaits(3));
        QVERIFY(r.com.InputWaits());
        r.com.SetInputLen(1);
        QCOMPARE(r.com.Input(), Bytes({1}));
        QCOMPARE(r.com.InBufferCount(), 2);
        board.Send(Bytes({4})); // some are fetched already, some are not
        QVERIFY(r.Awaits(3));
        QCoreApplication::processEvents();
        QCOMPARE(r.com.InBufferCount(), 3);
        r.com.SetPortOpen(false);
        QCOMPARE(r.com.InBufferCount(), 0);
    }

    void InputTakesInputLenBytes()
    {
        PtyBoard board;
        Real r(board);
        QCOMPARE(r.com.Input(), QByteArray());
        board.Send(Bytes({1, 2, 3, 4, 5, 0, 255}));
        QVERIFY(r.Awaits(7));
        r.com.SetInputLen(1);
        QCOMPARE(r.com.Input(), Bytes({1}));
        r.com.SetInputLen(2);
        QCOMPARE(r.com.Input(), Bytes({2, 3}));
        r.com.SetInputLen(0);
        QCOMPARE(r.com.Input(), Bytes({4, 5, 0, 255}));
        QCOMPARE(r.com.Input(), QByteArray());
    }

    void InputMissesNoneOfTheBytesThatWereCounted()
    {
        PtyBoard board;
        Real r(board);
        r.com.SetInputLen(1);
        board.Send(Bytes({1, 2}));
        QVERIFY(r.Awaits(2));
        QCOMPARE(r.com.Input(), Bytes({1}));
        board.Send(Bytes({3, 4}));
        QVERIFY(r.Awaits(3));
        r.com.SetInputLen(2);
        QCOMPARE(r.com.Input(), Bytes({2, 3}));
        board.Send(Bytes({5}));
        QVERIFY(r.Awaits(2));
        r.com.SetInputLen(0);
        QCOMPARE(r.com.Input(), Bytes({4, 5}));
    }

    void TheOldestBytesMayBeThrownAway()
    {
        PtyBoard board;
        Real r;
        r.com.KeepNewest(0); // closed: nothing happens
        r.Open(board.Port());
        r.com.SetInputLen(1);
        board.Send(Bytes({1, 2, 3, 4, 5}));
        QVERIFY(r.Awaits(5));
        r.com.KeepNewest(5);
        QCOMPARE(r.com.InBufferCount(), 5);
        QCOMPARE(r.com.Input(), Bytes({1})); // the others are fetched by this
        board.Send(Bytes({6, 7}));
        QVERIFY(r.AwaitInput());
        r.com.KeepNewest(3);
        QCOMPARE(r.com.InBufferCount(), 3);
        r.com.SetInputLen(0);
        QCOMPARE(r.com.Input(), Bytes({5, 6, 7}));
        board.Send(Bytes({8}));
        QVERIFY(r.AwaitInput());
        r.com.KeepNewest(0);
        QCOMPARE(r.com.InBufferCount(), 0);
    }

    void EveryByteValueArrivesAsItIs()
    {
        PtyBoard board;
        Real r(board);
        QByteArray all;
        for (int byte = 0; byte < 256; ++byte)
            all.append(static_cast<char>(byte));
        board.Send(all);
        QVERIFY(r.Awaits(256));
        QCOMPARE(r.com.Input(), all);
        r.com.Output(all);
        QCOMPARE(board.Await(256), all);
    }

    void TellsOfWhatArrives()
    {
        PtyBoard board;
        Real r(board);
        board.Send(Bytes({6}));
        QVERIFY(RunUntil([&] { return r.received.count() > 0; }));
        QCOMPARE(r.com.InBufferCount(), 1);
        QCoreApplication::processEvents();
        QCOMPARE(r.received.count(), 1); // once, although it was not read
    }

    void BytesTakenJustBeforeTheirEventAreNoLoss()
    {
        PtyBoard board;
        Real r(board);
        r.com.SetInputLen(0);
        for (int round = 0; round < 20; ++round) {
            board.Send(Bytes({round}));
            QVERIFY(r.AwaitInput());
            // Taken in the same turn of the loop in which the port's own reading is due: that one finds nothing, and
            // what the last failed call of the process left in errno.
            QByteArray taken;
            const auto take = [&] {
                taken = r.com.Input();
                errno = EIO;
            };
            if (round % 2 == 0)
                QMetaObject::invokeMethod(&r.com, take, Qt::QueuedConnection);
            else
                QTimer::singleShot(0, &r.com, take);
            QVERIFY(RunUntil([&] { return !taken.isEmpty(); }));
            QCOMPARE(taken, Bytes({round}));
            QCoreApplication::processEvents();
            QCOMPARE(r.lost.count(), 0);
            QVERIFY(r.com.PortOpen());
            r.received.clear();
            board.Send(Bytes({99}));
            QVERIFY(RunUntil([&] { return r.received.count() > 0; })); // it still tells of what comes
            QCOMPARE(r.com.Input(), Bytes({99}));
        }
    }

    void ClosingDropsWhatWaited()
    {
        PtyBoard board;
        Real r(board);
        board.Send(Bytes({1, 2, 3}));
        QVERIFY(r.AwaitInput());
        r.com.SetPortOpen(false);
        r.com.SetPortOpen(true);
        QCOMPARE(r.com.InBufferCount(), 0);
        board.Send(Bytes({4}));
        QVERIFY(r.Awaits(1));
        QCOMPARE(r.com.Input(), Bytes({4}));
    }

    // ---- output

    void NothingIsSentWhileItIsClosed()
    {
        PtyBoard board;
        Real r;
        r.com.SetPortName(board.Port());
        QVERIFY_EXCEPTION_THROWN(r.com.Output(Bytes({27})), PortClosed);
        r.com.SetPortOpen(true);
        r.com.SetPortOpen(false);
        QVERIFY_EXCEPTION_THROWN(r.com.Output(Bytes({27})), PortClosed);
    }

    void MoreThanTheSystemTakesAtOnceLeavesInOrder()
    {
        PtyBoard board;
        Real r(board);
        QByteArray much;
        for (int i = 0; i < 100000; ++i)
            much.append(static_cast<char>(i * 7));
        r.com.Output(much.left(99000));
        QVERIFY(r.port->Unsent() > 0);
        r.com.Output(much.mid(99000)); // behind it
        QVERIFY(RunUntil([&] { return board.Received().size() >= much.size(); }));
        QVERIFY(board.Received() == much);
        QVERIFY(RunUntil([&] { return r.port->Unsent() == 0; }));
    }

    void WhatWasSentHasLeftBeforeThePortIsClosed()
    {
        PtyBoard board;
        Real r(board);
        Runner runner;
        Clock::Duration took{};
        r.com.Output(Bytes({27}));
        r.com.Output(Bytes({3}));
        runner.Start(AwaitSent(&r.com, &took));
        QVERIFY(!runner.Idle());
        QVERIFY(r.clock.RunUntil([&] { return runner.Idle(); }));
        QVERIFY(took >= 2082us); // two bytes at 9600 baud
        QVERIFY(took <= 10ms);
        r.com.SetPortOpen(false);
        QCOMPARE(board.Await(2), Bytes({27, 3}));
    }

    void NothingSentIsNotWaitedFor()
    {
        PtyBoard board;
        Real r;
        Runner runner;
        Clock::Duration took{};
        runner.Start(AwaitSent(&r.com, &took)); // closed
        QVERIFY(runner.Idle());
        r.Open(board.Port());
        runner.Start(AwaitSent(&r.com, &took));
        QVERIFY(runner.Idle());
    }

    void WhatIsStuckIsNotWaitedForForLong()
    {
        // A board that reads nothing: it runs in this thread, and no event is let in.
        const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        QVERIFY(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
        const auto closing = qScopeGuard([master] { close(master); });
        Real r;
        r.Open(QString::fromLocal8Bit(ptsname(master)));
        Runner runner;
        Clock::Duration took{};
        r.com.Output(QByteArray(100000, 'x'));
        QVERIFY(r.port->Unsent() > 0);
        runner.Start(AwaitSent(&r.com, &took));
        QVERIFY(r.clock.RunUntil([&] { return runner.Idle(); }));
        QVERIFY(took >= 500ms);
        QVERIFY(took <= 510ms);
        r.com.SetPortOpen(false); // nor does the closing wait
        QVERIFY(!r.com.PortOpen());
    }

    void APortThatIsLostMeanwhileIsNotWaitedFor()
    {
        PtyBoard board;
        Real r(board);
        Runner runner;
        Clock::Duration took{};
        r.com.Output(QByteArray(400, 'x'));
        runner.Start(AwaitSent(&r.com, &took));
        board.Unplug();
        QVERIFY(RunUntil([&] { return r.com.Lost(); }));
        QVERIFY(r.clock.RunUntil([&] { return runner.Idle(); }));
        QVERIFY(took <= 500ms);
    }

    void TheSpeedChangesWhileItIsOpen()
    {
        PtyBoard board;
        Real r(board);
        QCOMPARE(board.Speed(), 9600);
        r.com.Output(Bytes({27, 3}));
        r.com.SetSettings(QStringLiteral("19200,n,8,2"));
        QCOMPARE(board.Speed(), 19200);
        QCOMPARE(board.StopBits(), 2);
        QCOMPARE(board.Await(2), Bytes({27, 3})); // nothing of what was sent before is lost
        r.com.SetSettings(QStringLiteral("9600,n,8,1"));
        QCOMPARE(board.Speed(), 9600);
        QCOMPARE(board.StopBits(), 1);
        QVERIFY(r.com.PortOpen());
    }

    void TheSpeedIsSetAtTheOpening()
    {
        PtyBoard board;
        Real r;
        r.com.SetSettings(QStringLiteral("19200,n,8,1"));
        r.Open(board.Port());
        QCOMPARE(board.Speed(), 19200);
    }

    // ---- devices that go away

    void AnUnpluggedDeviceIsLostAndComesBack()
    {
        Plug plug;
        Real r;
        r.com.SetSettings(QStringLiteral("19200,n,8,1"));
        r.Open(plug.Path());
        QVERIFY(!r.com.Lost());
        plug.Out();
        QVERIFY(RunUntil([&] { return r.com.Lost(); }));
        QVERIFY(!r.com.PortOpen());
        QVERIFY2(!r.lost.at(0).at(0).toString().isEmpty(), "no reason given");
        QCOMPARE(r.com.InBufferCount(), 0);
        QVERIFY_EXCEPTION_THROWN(r.com.Output(Bytes({27})), PortClosed);
        QCOMPARE(r.port->Descriptor(), -1);

        // Its return is looked for now and then, and its loss is told of once.
        r.clock.Run(0ms);
        const Events events;
        const int rung = r.clock.Rung();
        r.clock.Run(10s);
        QCOMPARE(r.clock.Rung() - rung, 10);
        QVERIFY2(events.Count() < 10, qPrintable(QString::number(events.Count())));
        QCOMPARE(r.lost.count(), 1);
        QCOMPARE(r.back.count(), 0);

        plug.In();
        QVERIFY(RunUntil([&] { return r.back.count() > 0; })); // its folder has changed
        QVERIFY(r.com.PortOpen());
        QVERIFY(!r.com.Lost());
        QCOMPARE(plug.Board().Speed(), 19200);
        QCOMPARE(DescriptorsOf(RealPath(plug.Board())), 1);
        r.com.Output(Bytes({85}));
        QCOMPARE(plug.Board().Await(1), Bytes({85}));
        plug.Board().Send(Bytes({27}));
        QVERIFY(RunUntil([&] { return r.received.count() > 0; }));
        QCOMPARE(r.com.InBufferCount(), 1);
        QCOMPARE(r.lost.count(), 1);
        QCOMPARE(r.back.count(), 1);

        plug.Out();
        QVERIFY(RunUntil([&] { return r.lost.count() == 2; }));
    }

    void ALossWhileSomethingIsSentIsALossToo()
    {
        Plug plug;
        Real r;
        r.Open(plug.Path());
        plug.Out();
        r.com.Output(Bytes({27, 1}));
        r.com.Output(Bytes({27, 2})); // before it is told
        QVERIFY(RunUntil([&] { return r.lost.count() > 0; }));
        QVERIFY(r.com.Lost());
        QCoreApplication::processEvents();
        QCOMPARE(r.lost.count(), 1);
    }

    void BytesThatArrivedBeforeTheLossMayBeReadUntilItIsToldOf()
    {
        PtyBoard board;
        Real r(board);
        board.Send(Bytes({1, 2, 3}));
        QVERIFY(r.Awaits(3));
        board.Unplug();
        r.com.SetInputLen(1);
        QCOMPARE(r.com.InBufferCount(), 3);
        QCOMPARE(r.com.Input(), Bytes({1}));
        QVERIFY(r.com.PortOpen());
        QVERIFY(!r.com.Lost());
        QVERIFY(RunUntil([&] { return r.lost.count() > 0; }));
        QCOMPARE(r.com.InBufferCount(), 0); // it begins afresh
        QCOMPARE(r.com.Input(), QByteArray());
    }

    void ADeviceThatVanishesBetweenCountAndReadIsOnlyALoss_data()
    {
        QTest::addColumn<QString>("call");
        for (const char *call : {"Input", "InBufferCount", "KeepNewest", "InputWaits", "Output", "settings", "close"})
            QTest::newRow(call) << QString::fromLatin1(call);
    }
    void ADeviceThatVanishesBetweenCountAndReadIsOnlyALoss()
    {
        QFETCH(QString, call);
        PtyBoard board;
        const QString device = RealPath(board);
        Real r(board);
        board.Send(Bytes({1, 2, 3}));
        QVERIFY(r.AwaitInput()); // and is still with the system when that hangs up
        board.Unplug();
        if (call == QLatin1String("Input"))
            r.com.Input();
        else if (call == QLatin1String("InBufferCount"))
            r.com.InBufferCount();
        else if (call == QLatin1String("KeepNewest"))
            r.com.KeepNewest(1);
        else if (call == QLatin1String("InputWaits"))
            r.com.InputWaits();
        else if (call == QLatin1String("Output"))
            r.com.Output(Bytes({27}));
        else if (call == QLatin1String("settings"))
            r.com.SetSettings(QStringLiteral("19200,n,8,1"));
        else
            r.com.SetPortOpen(false);
        QCOMPARE(r.lost.count(), 0); // never in the middle of a call
        QCOMPARE(r.com.PortOpen(), call != QLatin1String("close"));
        if (call == QLatin1String("close")) {
            QCoreApplication::processEvents();
            QCOMPARE(r.lost.count(), 0);
            return;
        }
        QVERIFY(RunUntil([&] { return r.lost.count() > 0; }));
        QVERIFY(r.com.Lost());
        QCoreApplication::processEvents();
        QCOMPARE(r.lost.count(), 1);
        QCOMPARE(r.com.InBufferCount(), 0);
        QCOMPARE(DescriptorsOf(device), 0);
    }

    void ALossThatIsStillToBeToldIsForgottenByClosing()
    {
        PtyBoard board;
        Real r(board);
        board.Unplug();
        QVERIFY(r.AwaitInput());
        r.com.InBufferCount(); // it is found out
        r.com.SetPortOpen(false);
        QCoreApplication::processEvents();
        QCOMPARE(r.lost.count(), 0);
        QVERIFY(!r.com.Lost());
    }

    void ADeviceThatIsBackButHeldBySomebodyIsTriedAgain()
    {
        Plug plug;
        Real r;
        r.Open(plug.Path());
        plug.Out();
        QVERIFY(RunUntil([&] { return r.com.Lost(); }));
        PtyBoard again;
        SystemPort other; // which probes it
        other.Open(again.Port(), {});
        QVERIFY(QFile::link(again.Port(), plug.Path()));
        r.clock.Run(3s);
        QCOMPARE(r.back.count(), 0);
        other.Close(); // no change of a folder says so
        r.clock.Run(1s);
        QCOMPARE(r.back.count(), 1);
        r.com.Output(Bytes({85}));
        QCOMPARE(again.Await(1), Bytes({85}));
    }

    void WhatIsNoSerialPortDoesNotTakeThePlaceOfALostOne()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("ttyBoard"));
        const QString plain = folder.filePath(QStringLiteral("plain"));
        PtyBoard board;
        QVERIFY(QFile::link(board.Port(), path));
        Real r;
        r.Open(path);
        QFile::remove(path);
        board.Unplug();
        QVERIFY(RunUntil([&] { return r.com.Lost(); }));
        QFile file(plain);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(QFile::link(plain, path));
        r.clock.Run(3s);
        QFile::remove(path);
        QVERIFY(QFile::copy(plain, path)); // not even a link
        r.clock.Run(3s);
        QCOMPARE(r.back.count(), 0);
        QVERIFY(r.com.Lost());
    }

    void ALostPseudoTerminalNamedByItsNumberIsNotTakenAgain()
    {
        auto board = std::make_unique<PtyBoard>();
        const QString number = RealPath(*board);
        Real r;
        r.Open(number);
        board.reset();
        QVERIFY(RunUntil([&] { return r.com.Lost(); }));
        // The system gives the number to the next one who asks for a pseudo-terminal.
        const PtyBoard another;
        const PtyBoard andAnother;
        r.clock.Run(3s);
        QCOMPARE(r.back.count(), 0);
        QVERIFY(r.com.Lost());
        QCOMPARE(DescriptorsOf(number), 0);
    }

    void ALostPortThatIsClosedStaysClosed()
    {
        Plug plug;
        Real r;
        r.Open(plug.Path());
        plug.Out();
        QVERIFY(RunUntil([&] { return r.lost.count() > 0; }));
        r.com.SetPortOpen(false);
        QVERIFY(!r.com.Lost());
        plug.In();
        r.clock.Run(10s);
        QVERIFY(!r.com.PortOpen());
        QCOMPARE(r.back.count(), 0);
        r.com.SetPortOpen(true);
        QVERIFY(r.com.PortOpen());
    }

    void ALostPortMayBeOpenedByHand()
    {
        Plug plug;
        Real r;
        r.Open(plug.Path());
        plug.Out();
        QVERIFY(RunUntil([&] { return r.com.Lost(); }));
        QVERIFY(!r.ErrorOfOpening(plug.Path()).isEmpty()); // it is not there
        QVERIFY(r.com.Lost());                             // and is looked for all the same
        plug.In();
        r.com.SetPortOpen(true);
        QVERIFY(r.com.PortOpen());
        QVERIFY(!r.com.Lost());
        r.clock.Run(10s);
        QCOMPARE(r.back.count(), 0); // it was not lost any more
    }
};

REGISTER_TEST(TestCom)
#include "tst_com.moc"
