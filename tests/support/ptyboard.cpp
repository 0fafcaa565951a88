// SPDX-License-Identifier: GPL-3.0-or-later
#include "ptyboard.h"

#include <QFile>
#include <QTimerEvent>

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>

PtyBoard::PtyBoard()
{
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0)
        qFatal("no pseudo-terminal");
    if (!QFile::link(QString::fromLocal8Bit(ptsname(master_)), Port()))
        qFatal("no link to the pseudo-terminal");
    termios settings{};
    tcgetattr(master_, &settings);
    cfmakeraw(&settings);
    tcsetattr(master_, TCSANOW, &settings);
    notifier_ = std::make_unique<QSocketNotifier>(master_, QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, &PtyBoard::Read);
}

PtyBoard::~PtyBoard()
{
    Unplug();
}

void PtyBoard::Unplug()
{
    notifier_.reset();
    if (master_ >= 0)
        close(master_);
    master_ = -1;
}

const QByteArray &PtyBoard::Await(int count)
{
    char buffer[4096];
    pollfd waiting{master_, POLLIN, 0};
    while (Received().size() < count && poll(&waiting, 1, 60000) > 0)
        if (const auto length = read(master_, buffer, sizeof buffer); length > 0)
            Keep(QByteArray(buffer, length));
    return Received();
}

void PtyBoard::Send(const QByteArray &bytes)
{
    if (write(master_, bytes.constData(), static_cast<size_t>(bytes.size())) != bytes.size())
        qFatal("the pseudo-terminal takes no more bytes");
}

qsizetype PtyBoard::SendSome(const QByteArray &bytes)
{
    return std::max<qsizetype>(0, write(master_, bytes.constData(), static_cast<size_t>(bytes.size())));
}

int PtyBoard::Speed() const
{
    termios settings{};
    tcgetattr(master_, &settings);
    switch (cfgetospeed(&settings)) {
    case B9600:
        return 9600;
    case B19200:
        return 19200;
    default:
        return 0;
    }
}

int PtyBoard::StopBits() const
{
    termios settings{};
    tcgetattr(master_, &settings);
    return (settings.c_cflag & CSTOPB) != 0 ? 2 : 1;
}

void PtyBoard::Read()
{
    char buffer[4096];
    const auto length = read(master_, buffer, sizeof buffer);
    if (length <= 0) {
        // Nobody has the program's end open: look again when it is, without being woken all the time.
        notifier_->setEnabled(false);
        startTimer(1);
        return;
    }
    Take(QByteArray(buffer, length));
}

void PtyBoard::timerEvent(QTimerEvent *event)
{
    killTimer(event->timerId());
    if (notifier_)
        notifier_->setEnabled(true);
}
