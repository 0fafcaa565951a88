// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/suite.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <cmath>
#include <csignal>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <termios.h>
#include <unistd.h>

namespace {

using Bytes = QByteArray;

constexpr int patience = 10000; // ms; only a failure waits that long

Bytes Of(std::initializer_list<int> values)
{
    Bytes bytes;
    for (const int value : values)
        bytes.append(static_cast<char>(value));
    return bytes;
}

/// The executable, started.
class Program
{
public:
    explicit Program(const QStringList &arguments = {})
    {
        process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process_.start(VIRTUAL_BOARD, arguments);
        while (!process_.canReadLine() && process_.waitForReadyRead(patience)) {
        }
        const QByteArray line = process_.readLine();
        if (line.startsWith("port "))
            path_ = QString::fromUtf8(line.mid(5).trimmed());
    }
    ~Program() { Stop(); }

    /// Asks it to end; the exit status, or -1 when it did not end by itself.
    int Stop(int signal = SIGTERM)
    {
        if (process_.state() == QProcess::NotRunning)
            return -1;
        ::kill(static_cast<pid_t>(process_.processId()), signal);
        return WaitForEnd();
    }

    int WaitForEnd()
    {
        if (!process_.waitForFinished(patience))
            process_.kill();
        return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
    }

    const QString &Path() const { return path_; }
    QProcess &Process() { return process_; }

private:
    QProcess process_;
    QString path_;
};

/// A plain client of the port, without any setting of its own.
class Client
{
public:
    explicit Client(const QString &path) : port_(::open(qPrintable(path), O_RDWR | O_NOCTTY | O_NONBLOCK)) {}
    ~Client()
    {
        if (port_ >= 0)
            ::close(port_);
    }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;

    bool IsOpen() const { return port_ >= 0; }
    int Number() const { return port_; }

    bool Send(Bytes bytes)
    {
        pollfd watched{port_, POLLOUT, 0};
        while (!bytes.isEmpty() && ::poll(&watched, 1, patience) > 0) {
            const ssize_t sent = ::write(port_, bytes.constData(), static_cast<std::size_t>(bytes.size()));
            if (sent < 0 && errno != EAGAIN)
                return false;
            bytes.remove(0, std::max<ssize_t>(sent, 0));
        }
        return bytes.isEmpty();
    }

    int Waiting() const
    {
        int count = 0;
        ioctl(port_, FIONREAD, &count);
        return count;
    }

    /// The next bytes, as many as asked for; fewer when they do not come.
    Bytes Receive(qsizetype count, int milliseconds = patience)
    {
        Bytes bytes;
        pollfd watched{port_, POLLIN, 0};
        while (bytes.size() < count && ::poll(&watched, 1, milliseconds) > 0) {
            char buffer[256];
            const auto wanted = static_cast<std::size_t>(std::min<qsizetype>(count - bytes.size(), sizeof buffer));
            const ssize_t got = ::read(port_, buffer, wanted);
            if (got <= 0)
                break;
            bytes.append(buffer, got);
        }
        return bytes;
    }

    Bytes Exchange(std::initializer_list<int> bytes, qsizetype count)
    {
        return Send(Of(bytes)) ? Receive(count) : Bytes();
    }

    void SetSpeed(speed_t speed)
    {
        termios settings{};
        tcgetattr(port_, &settings);
        cfsetspeed(&settings, speed);
        tcsetattr(port_, TCSANOW, &settings);
    }

private:
    int port_;
};

QHash<QByteArray, double> Status(const QString &name)
{
    QFile file(name);
    QHash<QByteArray, double> values;
    if (!file.open(QIODevice::ReadOnly))
        return values;
    for (const QByteArray &line : file.readAll().split('\n')) {
        const auto blank = line.indexOf(' ');
        if (blank > 0)
            values.insert(line.left(blank), line.mid(blank + 1).toDouble());
    }
    return values;
}

/// Whether a process sleeps in its wait for events, and for no certain time.
bool WaitsForEver(qint64 process)
{
    QFile file(QStringLiteral("/proc/%1/syscall").arg(process));
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArrayList call = file.readAll().split(' ');
    return call.size() > 3 && call[0].toInt() == SYS_ppoll && call[3] == "0x0";
}

} // namespace

/// The executable on its pseudo-terminal.
class TestBoardProgram : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void Greets();
    void PassesEveryByte();
    void EndsOnSignals_data();
    void EndsOnSignals();
    void EndsWithItsStandardInput();
    void ExplainsAndRefuses();
    void MakesALink();
    void KeepsWhatIsInTheWayOfALink();
    void LetsClientsComeAndGo();
    void CleansUpAfterAKilledClient();
    void WaitsWithoutWork();
    void DropsWhatNobodyReads();
    void StreamsAtAnySpeed();
    void KeepsMemories();
    void KeepsMemoriesWhenKilled();
    void RefusesADamagedMemoryFile();
    void TellsTheTruth();
    void TakesControlLines();
    void PressesAButtonOnASignal();
    void TracesTheLine();
    void KeepsThePace_data();
    void KeepsThePace();
    void RunsFasterThanTime();
    void RepeatsItselfWithItsSeed();
    void LosesAndDelaysBytes();
    void FallsSilent();
    void Restarts();
};

void TestBoardProgram::Greets()
{
    Program program;
    Client client(program.Path());
    QVERIFY(client.IsOpen());
    QCOMPARE(client.Exchange({85}, 1), Of({27}));
    QCOMPARE(client.Exchange({170}, 1), Of({85}));
    QCOMPARE(client.Exchange({27, 1}, 5), Of({27, 0, 0, 6, 0}));
    QCOMPARE(client.Exchange({27, 37, 0}, 3), Of({27, 11, 0}));
}

void TestBoardProgram::PassesEveryByte()
{
    Program program;
    Client client(program.Path());
    // Nothing is echoed, translated, or taken for a control character, though the client set nothing.
    for (int value = 0; value < 256; ++value) {
        QCOMPARE(client.Exchange({27, 39, 100, value}, 1), Of({6}));
        QCOMPARE(client.Exchange({27, 37, 100}, 3), Of({27, value, 0}));
    }
}

void TestBoardProgram::EndsOnSignals_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("SIGTERM") << SIGTERM;
    QTest::newRow("SIGINT") << SIGINT;
}

void TestBoardProgram::EndsOnSignals()
{
    QFETCH(int, signal);
    Program program;
    QVERIFY(!program.Path().isEmpty());
    QCOMPARE(program.Stop(signal), 0);
}

void TestBoardProgram::EndsWithItsStandardInput()
{
    Program program({"--until-stdin-closes"});
    Client client(program.Path());
    QCOMPARE(client.Exchange({85}, 1), Of({27}));
    program.Process().closeWriteChannel();
    QCOMPARE(program.WaitForEnd(), 0);

    // Without the option it does not care.
    Program other;
    other.Process().closeWriteChannel();
    Client otherClient(other.Path());
    QCOMPARE(otherClient.Exchange({85}, 1), Of({27}));
    QCOMPARE(other.Process().state(), QProcess::Running);
}

void TestBoardProgram::ExplainsAndRefuses()
{
    QProcess help;
    help.start(VIRTUAL_BOARD, {"--help"});
    QVERIFY(help.waitForFinished(patience));
    QCOMPARE(help.exitCode(), 0);
    QVERIFY(help.readAllStandardOutput().contains("--chemistry"));

    QProcess wrong;
    wrong.start(VIRTUAL_BOARD, {"--no-such-thing"});
    QVERIFY(wrong.waitForFinished(patience));
    QCOMPARE(wrong.exitCode(), 2);
    QVERIFY(wrong.readAllStandardOutput().isEmpty());
    QVERIFY(wrong.readAllStandardError().contains("option inconnue : --no-such-thing"));

    QProcess nowhere;
    nowhere.start(VIRTUAL_BOARD, {"--status", "/nonexistent/status"});
    QVERIFY(nowhere.waitForFinished(patience));
    QCOMPARE(nowhere.exitCode(), 1);
    QVERIFY(nowhere.readAllStandardError().contains("/nonexistent/status"));
}

void TestBoardProgram::MakesALink()
{
    QTemporaryDir folder;
    const QString link = folder.filePath("port");
    // A link that was left over is replaced.
    QVERIFY(QFile::link("/dev/null", link));
    Program program({"--link", link});
    QCOMPARE(program.Path(), link);
    QVERIFY(QFileInfo(link).symLinkTarget().startsWith("/dev/pts/"));
    {
        Client client(link);
        QCOMPARE(client.Exchange({85}, 1), Of({27}));
    }
    QCOMPARE(program.Stop(), 0);
    QVERIFY(QDir(folder.path()).isEmpty(QDir::AllEntries | QDir::NoDotAndDotDot | QDir::System | QDir::Hidden));

    // A link that somebody else has taken over in the meantime stays.
    Program second({"--link", link});
    QVERIFY(QFile::remove(link));
    QVERIFY(QFile::link("/dev/null", link));
    QCOMPARE(second.Stop(), 0);
    QCOMPARE(QFileInfo(link).symLinkTarget(), QString("/dev/null"));
}

void TestBoardProgram::KeepsWhatIsInTheWayOfALink()
{
    QTemporaryDir folder;
    const QString name = folder.filePath("port");
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("precious");
    file.close();
    QProcess process;
    process.start(VIRTUAL_BOARD, {"--link", name});
    QVERIFY(process.waitForFinished(patience));
    QCOMPARE(process.exitCode(), 1);
    QVERIFY(!QFileInfo(name).isSymLink());
    QCOMPARE(QFileInfo(name).size(), 8);
}

void TestBoardProgram::LetsClientsComeAndGo()
{
    Program program;
    for (int i = 0; i < 20; ++i) {
        Client client(program.Path());
        QVERIFY(client.IsOpen());
        // What the one before left unread is soon gone.
        QTRY_COMPARE_WITH_TIMEOUT(client.Waiting(), 0, patience);
        // Commands are answered without a greeting too: the board does not know that the port was closed.
        QCOMPARE(client.Exchange({27, 19, i}, 1), Of({6}));
        QVERIFY(client.Send(Of({27, 37, 0})));
        QCOMPARE(client.Receive(1), Of({27}));
        QTRY_COMPARE_WITH_TIMEOUT(client.Waiting(), 2, patience);
    }
    // The second program keeps the line alive when the first one goes.
    Client first(program.Path());
    QTRY_COMPARE_WITH_TIMEOUT(first.Waiting(), 0, patience);
    auto second = std::make_unique<Client>(program.Path());
    QCOMPARE(second->Exchange({85}, 1), Of({27}));
    second.reset();
    QCOMPARE(first.Exchange({27, 37, 0}, 3), Of({27, 11, 0}));
}

void TestBoardProgram::CleansUpAfterAKilledClient()
{
    Program program;
    {
        Client rude(program.Path());
        QCOMPARE(rude.Exchange({85}, 1), Of({27}));
        termios settings{};
        tcgetattr(rude.Number(), &settings);
        settings.c_lflag |= ECHO | ICANON | ISIG;
        settings.c_oflag |= OPOST | ONLCR;
        cfsetspeed(&settings, B19200);
        tcsetattr(rude.Number(), TCSANOW, &settings);
        QCOMPARE(ioctl(rude.Number(), TIOCEXCL), 0);
    }
    Client next(program.Path());
    QTRY_VERIFY_WITH_TIMEOUT(([&next] {
                                 termios settings{};
                                 tcgetattr(next.Number(), &settings);
                                 return (settings.c_lflag & (ECHO | ICANON | ISIG)) == 0 &&
                                        (settings.c_oflag & OPOST) == 0 && cfgetospeed(&settings) == B19200;
                             }()),
                             patience);
    int exclusive = 1;
    QCOMPARE(ioctl(next.Number(), TIOCGEXCL, &exclusive), 0);
    QCOMPARE(exclusive, 0);
    QCOMPARE(next.Exchange({85}, 1), Of({27}));
    QCOMPARE(next.Exchange({27, 39, 10, 13}, 1), Of({6}));
    QCOMPARE(next.Exchange({27, 37, 10}, 3), Of({27, 13, 0}));
}

void TestBoardProgram::WaitsWithoutWork()
{
    QTemporaryDir folder;
    Program program({"--status", folder.filePath("status"), "--memory", folder.filePath("memory")});
    {
        Client client(program.Path());
        QCOMPARE(client.Exchange({85}, 1), Of({27}));
        QCOMPARE(client.Exchange({27, 39, 10, 13}, 1), Of({6}));
    }
    // Once the files are written nothing is left to do: it waits without an end of its own, with the port closed and
    // open.
    QTRY_COMPARE_WITH_TIMEOUT(Status(folder.filePath("status")).value("commands"), 1.0, patience);
    QTRY_VERIFY_WITH_TIMEOUT(WaitsForEver(program.Process().processId()), patience);
    Client client(program.Path());
    QTRY_VERIFY_WITH_TIMEOUT(WaitsForEver(program.Process().processId()), patience);
    QCOMPARE(client.Exchange({27, 0}, 1), Of({6}));
    QTRY_VERIFY_WITH_TIMEOUT(WaitsForEver(program.Process().processId()), patience);
}

void TestBoardProgram::DropsWhatNobodyReads()
{
    Program program;
    Client client(program.Path());
    // Far more answers than any buffer holds; the board goes on listening all the same.
    Bytes burst;
    for (int i = 0; i < 500; ++i)
        burst += Of({27, 37, 0});
    for (int i = 0; i < 200; ++i)
        QVERIFY(client.Send(burst));
    QVERIFY(client.Send(Of({27, 19, 77})));
    Bytes all;
    for (Bytes some = client.Receive(4096, 1000); !some.isEmpty(); some = client.Receive(4096, 300))
        all += some;
    QCOMPARE_GT(all.size(), 4000);
    QCOMPARE_LT(all.size(), 300000);
    // Every answer that came through is whole.
    for (qsizetype at = 0; at + 3 <= all.size() - 1; at += 3)
        QCOMPARE(all.mid(at, 3), Of({27, 11, 0}));
    QCOMPARE(client.Exchange({85}, 1), Of({27}));
}

void TestBoardProgram::StreamsAtAnySpeed()
{
    Program program({"--time-scale", "100", "--stream-type", "3"});
    {
        Client client(program.Path());
        QCOMPARE(client.Exchange({85}, 1), Of({27}));
        QVERIFY(client.Send(Of({27, 3})));
    }
    Client client(program.Path());
    client.SetSpeed(B19200);
    Bytes bytes = client.Receive(120);
    const auto start = bytes.indexOf('\n');
    QVERIFY(start >= 0);
    bytes = bytes.mid(start) + client.Receive(start);
    QCOMPARE(bytes.size(), 120);
    for (int record = 0; record < 4; ++record) {
        QCOMPARE(bytes[30 * record], '\n');
        QCOMPARE(bytes[30 * record + 1], '>');
        QCOMPARE(static_cast<int>(bytes[30 * record + 20]), 3);
    }
    // A greeting ends it, at the speed that the line has now; what was on the way comes first.
    QVERIFY(client.Send(Of({85})));
    Bytes rest;
    for (Bytes some = client.Receive(4096, 200); !some.isEmpty(); some = client.Receive(4096, 200))
        rest += some;
    QVERIFY(rest.endsWith(Of({27})));
    QCOMPARE(client.Exchange({170}, 1), Of({85}));
    QCOMPARE(client.Exchange({27, 0}, 1), Of({6}));
}

void TestBoardProgram::KeepsMemories()
{
    QTemporaryDir folder;
    const QStringList arguments{"--memory", folder.filePath("memory")};
    {
        Program program(arguments);
        Client client(program.Path());
        QCOMPARE(client.Exchange({27, 39, 200, 1}, 1), Of({6}));
        QCOMPARE(client.Exchange({27, 40, 201, 2}, 1), Of({6}));
        QCOMPARE(client.Exchange({27, 50, 1, 15, 255, 3}, 1), Of({6}));
        QCOMPARE(client.Exchange({27, 48, 31, 255, 4, 5}, 1), Of({6}));
        QCOMPARE(program.Stop(), 0);
    }
    Program program(arguments);
    Client client(program.Path());
    QCOMPARE(client.Exchange({27, 37, 200}, 3), Of({27, 1, 0}));
    QCOMPARE(client.Exchange({27, 38, 201}, 3), Of({27, 2, 0}));
    QCOMPARE(client.Exchange({27, 49, 1, 15, 255}, 3), Of({27, 3, 0}));
    QCOMPARE(client.Exchange({27, 46, 31, 255}, 4), Of({27, 4, 5, 0}));
}

void TestBoardProgram::KeepsMemoriesWhenKilled()
{
    QTemporaryDir folder;
    const QStringList arguments{"--memory", folder.filePath("memory"), "--status", folder.filePath("status")};
    for (int round = 1; round <= 5; ++round) {
        Program program(arguments);
        QVERIFY(!program.Path().isEmpty());
        Client client(program.Path());
        if (round > 1)
            QCOMPARE(client.Exchange({27, 37, 200}, 3), Of({27, round - 1, 0}));
        QCOMPARE(client.Exchange({27, 39, 200, round}, 1), Of({6}));
        // Written soon after, without another command...
        QTRY_VERIFY_WITH_TIMEOUT(([&folder, round] {
                                     QFile file(folder.filePath("memory"));
                                     return file.open(QIODevice::ReadOnly) &&
                                            file.readAll().mid(23 + 200, 1) == Of({round});
                                 }()),
                                 patience);
        // ...and whole even when the end comes in the middle of many writes.
        for (int i = 0; i < 100 * round; ++i)
            QCOMPARE(client.Exchange({27, 39, 100, i & 255}, 1), Of({6}));
        program.Process().kill();
        QVERIFY(program.Process().waitForFinished(patience));
    }
}

void TestBoardProgram::RefusesADamagedMemoryFile()
{
    QTemporaryDir folder;
    const QString name = folder.filePath("memory");
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("something else");
    file.close();
    QProcess process;
    process.start(VIRTUAL_BOARD, {"--memory", name});
    QVERIFY(process.waitForFinished(patience));
    QCOMPARE(process.exitCode(), 1);
    QVERIFY(process.readAllStandardError().contains("fichier de mémoires"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("something else"));
}

void TestBoardProgram::TellsTheTruth()
{
    QTemporaryDir folder;
    const QString name = folder.filePath("status");
    Program program({"--status", name, "--soc", "50"});
    QCOMPARE(Status(name).value("soc-percent"), 50.0);
    QCOMPARE(Status(name).value("line-18"), 1.0);
    Client client(program.Path());
    QCOMPARE(client.Exchange({27, 18, 0, 27, 17, 1, 27, 15, 1, 27, 19, 51}, 4), Of({6, 6, 6, 6}));
    QTRY_COMPARE_WITH_TIMEOUT(Status(name).value("charge-amps"), 1.0, patience);
    const auto status = Status(name);
    QCOMPARE(status.value("line-15"), 1.0);
    QCOMPARE(status.value("line-16"), 0.0);
    QCOMPARE(status.value("line-17"), 1.0);
    QCOMPARE(status.value("line-18"), 0.0);
    QCOMPARE(status.value("register-19"), 51.0);
    QCOMPARE(status.value("cells"), 4.0);
    QCOMPARE_LT(std::abs(status.value("resistance-milliohms") - 100), 0.1);
    QCOMPARE_GT(status.value("pack-volts"), 5.2);
    QCOMPARE_LT(status.value("pack-volts"), 5.8);
    QCOMPARE_GT(status.value("supply-volts"), 13.0);
    QCOMPARE_GT(status.value("doubler-volts"), 25.0);
    QCOMPARE_GE(status.value("temperature-celsius"), 25.0);
    QVERIFY(status.contains("charged-mah") && status.contains("discharged-mah"));
}

void TestBoardProgram::TakesControlLines()
{
    QTemporaryDir folder;
    const QString name = folder.filePath("status");
    Program program({"--until-stdin-closes", "--status", name});
    Client client(program.Path());
    program.Process().write("volts 8.4\nbutton 6\nnonsense\n");
    QTRY_COMPARE_WITH_TIMEOUT(Status(name).value("pack-volts"), 8.4, patience);
    QTRY_COMPARE_WITH_TIMEOUT(Status(name).value("button-6"), 1.0, patience);
    QCOMPARE(client.Exchange({27, 26}, 3), Of({27, 0, 0}));
    program.Process().write("button 6\nvol");
    QTRY_COMPARE_WITH_TIMEOUT(Status(name).value("button-6"), 0.0, patience);
    program.Process().write("ts pack\nambient 40\n");
    QTRY_VERIFY_WITH_TIMEOUT(Status(name).value("pack-volts") < 6, patience);
}

void TestBoardProgram::PressesAButtonOnASignal()
{
    QTemporaryDir folder;
    const QString name = folder.filePath("status");
    Program program({"--status", name, "--button", "2"});
    QCOMPARE(Status(name).value("button-1"), 0.0);
    QCOMPARE(Status(name).value("button-2"), 1.0);
    ::kill(static_cast<pid_t>(program.Process().processId()), SIGUSR1);
    QTRY_COMPARE_WITH_TIMEOUT(Status(name).value("button-1"), 1.0, patience);
    Client client(program.Path());
    const Bytes pressed = client.Exchange({27, 31}, 3);
    QCOMPARE(pressed[1] & 8, 8);
    ::kill(static_cast<pid_t>(program.Process().processId()), SIGUSR1);
    QTRY_COMPARE_WITH_TIMEOUT(Status(name).value("button-1"), 0.0, patience);
}

void TestBoardProgram::TracesTheLine()
{
    QTemporaryDir folder;
    const QString name = folder.filePath("trace");
    Program program({"--trace", name});
    Client client(program.Path());
    QCOMPARE(client.Exchange({85}, 1), Of({27}));
    QCOMPARE(client.Exchange({27, 37, 0}, 3), Of({27, 11, 0}));
    const auto traced = [&name] {
        QFile file(name);
        QString text;
        if (!file.open(QIODevice::ReadOnly))
            return text;
        for (const QByteArray &line : file.readAll().trimmed().split('\n')) {
            bool isTime = false;
            line.left(line.indexOf(' ')).toDouble(&isTime);
            text += isTime ? QString::fromLatin1(line.mid(line.indexOf(' ') + 1)) + "|" : QString("no time|");
        }
        return text;
    };
    // The last line is written once the bytes have left.
    QTRY_COMPARE_WITH_TIMEOUT(traced(), QString("in 85|out 27|in 27 37 0|out 27 11 0|"), patience);
}

void TestBoardProgram::KeepsThePace_data()
{
    QTest::addColumn<int>("speed");
    QTest::addColumn<double>("bits");
    QTest::newRow("9600") << static_cast<int>(B9600) << 9600.0;
    QTest::newRow("19200") << static_cast<int>(B19200) << 19200.0;
}

// The time can only be too long on a busy machine, never too short: the wire's own time is the floor.
void TestBoardProgram::KeepsThePace()
{
    QFETCH(int, speed);
    QFETCH(double, bits);
    Program program({"--pace"});
    Client client(program.Path());
    client.SetSpeed(static_cast<speed_t>(speed));
    const double byteSeconds = 10 / bits;
    constexpr int exchanges = 50;
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < exchanges; ++i)
        QCOMPARE(client.Exchange({27, 37, 0}, 3), Of({27, 11, 0}));
    const double seconds = static_cast<double>(timer.nsecsElapsed()) * 1e-9;
    QCOMPARE_GE(seconds, exchanges * 6 * byteSeconds);
    QCOMPARE_LT(seconds, exchanges * 6 * byteSeconds * 3 + 1);
    // A burst overlaps: the board answers while it still listens.
    timer.start();
    Bytes burst;
    for (int i = 0; i < exchanges; ++i)
        burst += Of({27, 37, 0});
    QVERIFY(client.Send(burst));
    QCOMPARE(client.Receive(3 * exchanges).size(), 3 * exchanges);
    const double burstSeconds = static_cast<double>(timer.nsecsElapsed()) * 1e-9;
    QCOMPARE_GE(burstSeconds, (exchanges * 3 + 3) * byteSeconds * 0.999);
    QCOMPARE_LT(burstSeconds, exchanges * 6 * byteSeconds + 1);
}

void TestBoardProgram::RunsFasterThanTime()
{
    Program program({"--time-scale", "1000"});
    Client client(program.Path());
    const auto clock = [&client] {
        const Bytes reply = client.Exchange({27, 41}, 5);
        return reply.size() == 5 ? reply[1] * 3600 + reply[2] * 60 + reply[3] : -1;
    };
    QElapsedTimer timer;
    timer.start();
    const int before = clock();
    QTRY_VERIFY_WITH_TIMEOUT(clock() >= before + 300, patience);
    QCOMPARE_GE(timer.elapsed(), 290);
    QCOMPARE_LT(timer.elapsed(), 5000);
}

void TestBoardProgram::RepeatsItselfWithItsSeed()
{
    const auto run = [](const QString &seed) {
        Program program({"--seed", seed, "--fault", "lost:p=0.02", "--fault", "added:p=0.02"});
        Client client(program.Path());
        Bytes burst;
        for (int i = 0; i < 100; ++i)
            burst += Of({27, 13, 27, 12, 27, 6});
        client.Send(burst);
        Bytes all;
        for (Bytes some = client.Receive(1000, 1000); !some.isEmpty(); some = client.Receive(1000, 200))
            all += some;
        return all;
    };
    const Bytes first = run("5");
    QCOMPARE_GT(first.size(), 1000);
    QCOMPARE(run("5"), first);
    QVERIFY(run("6") != first);
}

void TestBoardProgram::LosesAndDelaysBytes()
{
    Program program({"--fault", "lost:at=2", "--fault", "late:at=5,ms=200", "--fault", "lost:at=9,dir=in"});
    Client client(program.Path());
    QCOMPARE(client.Exchange({27, 37, 0}, 2), Of({27, 0}));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(client.Send(Of({27, 37, 0})));
    QCOMPARE(client.Receive(3), Of({27, 11, 0}));
    QCOMPARE_GE(timer.elapsed(), 199);
    // The ninth byte that the board should hear is the value of a write: it takes the next byte in its place.
    QCOMPARE(client.Exchange({27, 19, 5, 6}, 1), Of({6}));
}

void TestBoardProgram::FallsSilent()
{
    Program program({"--fault", "silence:at=2,ms=300"});
    Client client(program.Path());
    QCOMPARE(client.Exchange({27, 0}, 1), Of({6}));
    QCOMPARE(client.Exchange({27, 0}, 1), Of({6}));
    QElapsedTimer timer;
    timer.start();
    Bytes answer;
    while (answer.isEmpty() && timer.elapsed() < patience) {
        QVERIFY(client.Send(Of({85})));
        answer = client.Receive(1, 20);
    }
    QCOMPARE(answer, Of({27}));
    QCOMPARE_GE(timer.elapsed(), 250);

    Program dead({"--fault", "silence:at=1"});
    Client caller(dead.Path());
    QCOMPARE(caller.Exchange({27, 0}, 1), Of({6}));
    QVERIFY(caller.Send(Of({85})));
    QCOMPARE(caller.Receive(1, 300), Bytes());
}

void TestBoardProgram::Restarts()
{
    QTemporaryDir folder;
    const QString name = folder.filePath("status");
    Program program({"--fault", "restart:at=4", "--status", name, "--time-scale", "100"});
    Client client(program.Path());
    QCOMPARE(client.Exchange({27, 15, 1, 27, 17, 1, 27, 19, 7}, 3), Of({6, 6, 6}));
    QVERIFY(client.Send(Of({27, 23, 1})));
    QTRY_COMPARE_WITH_TIMEOUT(Status(name).value("register-19"), 100.0, patience);
    QCOMPARE(Status(name).value("line-15"), 0.0);
    QCOMPARE(Status(name).value("led"), 0.0);
    QCOMPARE(client.Exchange({85}, 1), Of({27}));
}

REGISTER_TEST(TestBoardProgram)
#include "test_board_program.moc"
