// SPDX-License-Identifier: GPL-3.0-or-later
// How long the board goes on charging after the program was killed, has crashed or stands still in mid-charge: the
// whole program, its guard and the virtual board on a line paced at 9600 baud, a hundred deaths of each kind at a
// moment of chance; and what the guard costs.

#include "guard/protocol.h"
#include "process.h"
#include "program/program.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QThread>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>

namespace {
constexpr int deaths = 100;
constexpr int atOnce = 10;
constexpr int steps = 2000;     // ms, between which the moment of a death lies
constexpr double hopeless = 40; // s after which nobody will switch off any more
constexpr double costSeconds = 60;

constexpr qsizetype lineOff = 2; // the byte of the guard's writes with which the charge's line is off

/// What has reached a board, and when by its own clock.
struct Heard
{
    QByteArray bytes;
    std::vector<double> times;
};

Heard Read(const BoardProcess &board)
{
    Heard heard;
    QFile trace(board.Path("trace"));
    if (!trace.open(QIODevice::ReadOnly))
        return heard;
    const QByteArrayList lines = trace.readAll().split('\n');
    for (const QByteArray &line : lines) {
        const QByteArrayList words = line.split(' ');
        if (words.value(1) != "in")
            continue;
        for (qsizetype i = 2; i < words.size(); ++i) {
            heard.bytes.append(static_cast<char>(words[i].toInt()));
            heard.times.push_back(words[0].toDouble());
        }
    }
    return heard;
}

/// When the board's clock was zero, by ours: some bytes that mean nothing are written, and the quickest of them tells.
std::optional<double> ZeroOf(const BoardProcess &board)
{
    constexpr int bytes = 20;
    std::array<double, bytes> written{};
    const int line = open(qPrintable(board.Port()), O_RDWR | O_NOCTTY | O_CLOEXEC);
    for (double &moment : written) {
        moment = Now();
        if (write(line, "", 1) != 1)
            break;
        QThread::msleep(5);
    }
    close(line);
    Heard heard = Read(board);
    for (int wait = 0; wait < 100 && heard.times.size() < bytes; ++wait) {
        QThread::msleep(10);
        heard = Read(board);
    }
    if (heard.times.size() != bytes)
        return std::nullopt;
    double zero = written[0] - heard.times[0];
    for (size_t i = 1; i < bytes; ++i)
        zero = std::max(zero, written[i] - heard.times[i]);
    return zero;
}

/// The whole program in a charge on a board of its own.
class Charge
{
public:
    ~Charge()
    {
        program_.Signal(SIGKILL);
        program_.WaitForEnd();
        WaitForPort(board_.Port()); // the guard has done
    }

    /// True once the charge has made a step.
    bool Start()
    {
        if (!board_.Start({QStringLiteral("--pace"), QStringLiteral("--trace"), board_.Path("trace")}))
            return false;
        zero_ = ZeroOf(board_);
        if (!zero_)
            return false;
        program_.Start({QStringLiteral("--run"), QStringLiteral("charge"), QStringLiteral("--port"), board_.Port()});
        return program_.WaitForProgress(1);
    }

    /// Seconds from the signal to the write that takes the charge's line off; nothing when that never comes.
    std::optional<double> SecondsToOff(int signal)
    {
        const double begun = Now();
        program_.Signal(signal);
        while (Now() - begun < hopeless) {
            QThread::msleep(50);
            const Heard heard = Read(board_);
            const qsizetype place = heard.bytes.indexOf(guardWrites);
            if (place >= 0)
                return *zero_ + heard.times[static_cast<size_t>(place + lineOff)] - begun;
        }
        return std::nullopt;
    }

    qint64 Process() const { return program_.process.processId(); }

private:
    QTemporaryDir folder_;
    BoardProcess board_;
    Program program_{folder_};
    std::optional<double> zero_;
};

void Die(const char *name, int signal)
{
    std::mutex mutex;
    std::vector<double> seconds;
    int notBegun = 0;
    std::atomic<int> left = deaths;
    std::array<std::unique_ptr<QThread>, atOnce> threads;
    for (auto &thread : threads) {
        thread.reset(QThread::create([&] {
            while (left-- > 0) {
                Charge charge;
                const bool begun = charge.Start();
                QThread::msleep(static_cast<unsigned long>(QRandomGenerator::global()->bounded(steps)));
                const std::optional<double> result = begun ? charge.SecondsToOff(signal) : std::nullopt;
                const std::lock_guard lock(mutex);
                if (result)
                    seconds.push_back(*result);
                else if (!begun)
                    ++notBegun;
            }
        }));
        thread->start();
    }
    for (auto &thread : threads)
        thread->wait();
    std::ranges::sort(seconds);
    std::printf("%s: %zu of %d switched off", name, seconds.size(), deaths);
    if (!seconds.empty())
        std::printf(", after %.2f ms (median), %.2f ms (worst)", 1000 * seconds[seconds.size() / 2],
                    1000 * seconds.back());
    if (notBegun > 0)
        std::printf("; %d did not begin", notBegun);
    std::puts("");
    std::fflush(stdout);
}

/// The guard among a program's children, 0 while it has none.
qint64 GuardOf(qint64 program)
{
    QFile children(QStringLiteral("/proc/%1/task/%1/children").arg(program));
    return children.open(QIODevice::ReadOnly) ? children.readAll().split(' ').constFirst().toLongLong() : 0;
}

void ReportCost()
{
    Charge charge;
    const qint64 guard = charge.Start() ? GuardOf(charge.Process()) : 0;
    if (guard == 0) {
        std::puts("no guard");
        return;
    }
    const double before = ProcessorTime(guard);
    const double programBefore = ProcessorTime(charge.Process());
    QThread::msleep(static_cast<unsigned long>(1000 * costSeconds));
    std::printf("guard in %.0f s of charge: %.2f ms of processor (the program: %.0f ms)\n", costSeconds,
                1000 * (ProcessorTime(guard) - before), 1000 * (ProcessorTime(charge.Process()) - programBefore));
    QFile memory(QStringLiteral("/proc/%1/smaps_rollup").arg(guard));
    if (memory.open(QIODevice::ReadOnly))
        for (const QByteArray &line : memory.readAll().split('\n'))
            if (line.startsWith("Rss:") || line.startsWith("Pss:") || line.startsWith("Private_Dirty:"))
                std::printf("guard %s\n", line.simplified().constData());
}

/// From the guard's start to the first byte that it writes, when its program is gone by the time that it looks.
double StartMs(const QByteArray &note)
{
    int ends[2];
    int line[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0 || pipe2(line, O_CLOEXEC) != 0)
        return 0;
    iovec part{};
    char port = guard::Port;
    part.iov_base = &port;
    part.iov_len = 1;
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> extra{};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = extra.data();
    message.msg_controllen = extra.size();
    cmsghdr *const rights = CMSG_FIRSTHDR(&message);
    rights->cmsg_level = SOL_SOCKET;
    rights->cmsg_type = SCM_RIGHTS;
    rights->cmsg_len = CMSG_LEN(sizeof(int));
    std::memcpy(CMSG_DATA(rights), &line[1], sizeof line[1]);
    const QByteArray orders = QByteArray("w\x01\x0f\x00", 4) + note;
    const bool sent = sendmsg(ends[0], &message, 0) == 1 &&
                      send(ends[0], orders.constData(), static_cast<size_t>(orders.size()), 0) == orders.size();
    close(ends[0]);

    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, ends[1], guard::socket);
    char name[] = VOLTAIRE_GUARD;
    char *const arguments[] = {name, nullptr};
    pid_t process = 0;
    const double begun = Now();
    const bool started = sent && posix_spawn(&process, name, &files, nullptr, arguments, environ) == 0;
    char byte = 0;
    const bool written = started && read(line[0], &byte, 1) == 1;
    const double took = Now() - begun;
    posix_spawn_file_actions_destroy(&files);
    if (started)
        waitpid(process, nullptr, 0);
    for (const int descriptor : {ends[1], line[0], line[1]})
        close(descriptor);
    return written ? 1000 * took : 0;
}

void ReportStart()
{
    const QTemporaryDir folder;
    std::array<double, deaths> times{};
    for (double &time : times)
        time = StartMs(QFile::encodeName(folder.filePath(QStringLiteral("note"))));
    std::ranges::sort(times);
    std::printf("guard from its start to its first write: %.2f ms (median), %.2f ms (worst of %zu)\n",
                times[times.size() / 2], times.back(), times.size());
    std::fflush(stdout);
}
} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QCoreApplication app(argc, argv);
    ReportStart();
    ReportCost();
    Die("KILL", SIGKILL);
    Die("SEGV", SIGSEGV);
    Die("STOP", SIGSTOP);
}
