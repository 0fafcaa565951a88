// SPDX-License-Identifier: GPL-3.0-or-later
#include "interrupt.h"

#include <QSocketNotifier>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {
int wakeUp[2] = {-1, -1};

constexpr int askToEnd[] = {SIGINT, SIGTERM, SIGHUP};

void Signalled(int number)
{
    const auto byte = static_cast<char>(number);
    [[maybe_unused]] const auto written = write(wakeUp[1], &byte, 1);
}
} // namespace

QString Interrupt::Name(int signal)
{
    return signal == SIGINT ? QStringLiteral("INT") : signal == SIGHUP ? QStringLiteral("HUP") : QStringLiteral("TERM");
}

Interrupt::Interrupt()
{
    if (pipe2(wakeUp, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto *notifier = new QSocketNotifier(wakeUp[0], QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        while (read(wakeUp[0], &byte, 1) == 1)
            Q_EMIT Received(byte);
    });
    for (const int number : askToEnd)
        std::signal(number, Signalled);
    std::signal(SIGPIPE, SIG_IGN);
}

Interrupt::~Interrupt()
{
    for (const int number : askToEnd)
        std::signal(number, SIG_DFL);
    std::signal(SIGPIPE, SIG_DFL);
    close(wakeUp[0]);
    close(wakeUp[1]);
}
