// SPDX-License-Identifier: GPL-3.0-or-later
// A million exchanges over a pseudo-terminal, by several handlers at once, with a thread that is held up and a board
// that is late every now and then. Counts what must never happen: an answer that went to another question, and a link
// that stands still although the board has answered. Ends with status 0 when neither was seen.
//
//   stress_link [exchanges]

#include "base/handlers.h"
#include "link/measurement.h"
#include "link/systemport.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <random>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace {
constexpr int firstChannel = 5;
constexpr int lastChannel = 13;
constexpr int readers = 3;
constexpr auto stalled = 5s; // without an exchange: longer than anything here may take

/// The board: answers channel n with a count whose high byte is n. Sometimes it takes its time.
class Board
{
public:
    Board()
    {
        master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0)
            std::exit(2);
        name_ = QString::fromLocal8Bit(ptsname(master_));
        thread_ = std::thread([this] { Run(); });
    }
    ~Board()
    {
        ended_ = true;
        thread_.join();
        close(master_);
    }
    QString Name() const { return name_; }
    int Late() const { return late_; }

private:
    void Run()
    {
        std::mt19937 random(1);
        std::vector<quint8> pending;
        pollfd line{master_, POLLIN, 0};
        while (!ended_) {
            if (poll(&line, 1, 100) <= 0 || (line.revents & POLLIN) == 0)
                continue;
            quint8 buffer[256];
            const ssize_t count = read(master_, buffer, sizeof buffer);
            if (count <= 0)
                continue;
            pending.insert(pending.end(), buffer, buffer + count);
            while (pending.size() >= 2) {
                const quint8 command = pending[1];
                const size_t length = command <= lastChannel ? 2 : 3;
                if (pending.size() < length)
                    break;
                pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(length));
                if (random() % 20000 == 0) {
                    ++late_;
                    std::this_thread::sleep_for(std::chrono::milliseconds(100 + random() % 400));
                }
                const quint8 answer[] = {27, command, static_cast<quint8>(random()), 0};
                const quint8 acknowledgement = 6;
                const bool reads = length == 2;
                if (write(master_, reads ? answer : &acknowledgement, reads ? sizeof answer : 1) < 0)
                    return;
            }
        }
    }

    int master_ = -1;
    QString name_;
    std::thread thread_;
    std::atomic<bool> ended_ = false;
    std::atomic<int> late_ = 0;
};

struct Counts
{
    long wanted = 1'000'000;
    long done = 0;
    long foreign = 0;
};

void Count(Counts *counts)
{
    if (++counts->done == counts->wanted)
        QCoreApplication::quit();
}

Task<void> Read(Codebas *link, Counts *counts, int offset)
{
    for (int i = offset;; ++i) {
        const int channel = firstChannel + i % (lastChannel - firstChannel + 1);
        const int count = co_await measurement::ReadChannel(*link, static_cast<quint8>(channel));
        if (count / 256 != channel)
            ++counts->foreign;
        Count(counts);
    }
}

Task<void> Click(Codebas *link, Counts *counts)
{
    co_await measurement::WriteRegister(*link, command::CutCharge, 0);
    Count(counts);
}
} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    Counts counts;
    if (argc > 1)
        counts.wanted = std::atol(argv[1]);
    Board board;
    Com com(std::make_unique<SystemPort>());
    com.SetPortName(board.Name());
    Timer timer1(QStringLiteral("Timer1"), 200, nullptr);
    Timer timer2(QStringLiteral("Timer2"), 20, nullptr);
    Codebas link(com, timer1, timer2);
    link.InitSerialPort();
    link.OpenPort();
    Handlers handlers([](std::exception_ptr) { std::abort(); });
    for (int i = 0; i < readers; ++i)
        handlers.Start(Read(&link, &counts, 3 * i));

    std::mt19937 random(2);
    int stalls = 0;
    int heldUp = 0;
    long before = -1;
    QTimer click;
    QObject::connect(&click, &QTimer::timeout, &app, [&] { handlers.Start(Click(&link, &counts)); });
    click.start(20);
    QTimer holdUp; // the thread does nothing else for a while, as in the opening of a large window
    QObject::connect(&holdUp, &QTimer::timeout, &app, [&] {
        ++heldUp;
        QThread::msleep(50 + random() % 450);
    });
    holdUp.start(700);
    QTimer progress;
    QObject::connect(&progress, &QTimer::timeout, &app, [&] {
        stalls += before == counts.done;
        before = counts.done;
        std::printf("%ld exchanges, %d foreign, %d stalls\n", counts.done, static_cast<int>(counts.foreign), stalls);
        std::fflush(stdout);
        if (stalls > 3)
            QCoreApplication::exit(1);
    });
    progress.start(std::chrono::duration_cast<std::chrono::milliseconds>(stalled));

    const int status = QCoreApplication::exec();
    std::printf("%ld exchanges: %ld foreign answers, %d stalls; the thread was held up %d times, the board late %d "
                "times, the line doubtful %d times\n",
                counts.done, counts.foreign, stalls, heldUp, board.Late(), link.line.Disturbances());
    return status != 0 || counts.foreign != 0 || stalls != 0;
}
