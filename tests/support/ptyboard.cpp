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

QByteArray PtyBoard::TakeReceived()
{
    return std::exchange(received_, {});
}

const QByteArray &PtyBoard::Await(int count)
{
    char buffer[4096];
    pollfd waiting{master_, POLLIN, 0};
    while (received_.size() < count && poll(&waiting, 1, 60000) > 0)
        if (const auto length = read(master_, buffer, sizeof buffer); length > 0)
            received_.append(buffer, length);
    return received_;
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

void PtyBoard::On(quint8 command, int parameters, Answer answer)
{
    rules_[command] = {parameters, std::move(answer)};
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
    received_.append(buffer, length);
    if (silent_)
        return;
    pending_.append(buffer, length);
    Parse();
}

void PtyBoard::timerEvent(QTimerEvent *event)
{
    killTimer(event->timerId());
    if (notifier_)
        notifier_->setEnabled(true);
}

void PtyBoard::Parse()
{
    while (!pending_.isEmpty()) {
        const auto first = static_cast<quint8>(pending_[0]);
        if (first != 27) {
            pending_.remove(0, 1);
            const QByteArray answer = greet && (first == 85 || first == 170) ? greet(first) : QByteArray();
            if (!answer.isEmpty())
                Send(answer);
            continue;
        }
        if (pending_.size() < 2)
            return;
        const auto rule = rules_.find(static_cast<quint8>(pending_[1]));
        if (rule == rules_.end()) {
            pending_.remove(0, 2);
            continue;
        }
        const int length = 2 + rule->second.parameters;
        if (pending_.size() < length)
            return;
        const QByteArray parameters = pending_.mid(2, rule->second.parameters);
        pending_.remove(0, length);
        const QByteArray answer = rule->second.answer(parameters);
        if (!answer.isEmpty())
            Send(answer);
    }
}

void PtyBoard::Healthy()
{
    greet = [](quint8 greeting) { return greeting == 85 ? Bytes({27}) : Bytes({85}); };
    On(1, 0, [this](const QByteArray &) { return Bytes({27, i2c[0], i2c[1], i2c[2], 0}); });
    On(37, 1, [this](const QByteArray &p) { return Bytes({27, master[static_cast<quint8>(p[0])], 0}); });
    On(38, 1, [this](const QByteArray &p) { return Bytes({27, slave[static_cast<quint8>(p[0])], 0}); });
    On(41, 0, [this](const QByteArray &) { return Bytes({27, hours, minutes, seconds, 0}); });
    for (int number = 5; number <= 13; ++number)
        On(static_cast<quint8>(number), 0,
           [this, number](const QByteArray &) { return Bytes({27, channel[number] / 256, channel[number] % 256, 0}); });
    for (const int reg : {15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 51})
        On(static_cast<quint8>(reg), 1, [](const QByteArray &) { return Bytes({6}); });
    On(42, 3, [](const QByteArray &) { return Bytes({6}); });
}
