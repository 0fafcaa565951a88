// SPDX-License-Identifier: GPL-3.0-or-later
#include "systemport.h"

#include "ports.h"

#include <QFile>
#include <QFileInfo>
#include <QSerialPortInfo>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
/// Between two looks for a lost device. A change in its folder is looked into at once, but the device may have come
/// back before that was watched, or be held for a moment by something that probes it.
constexpr auto lookAgain = 1s;

speed_t SpeedOf(int baud)
{
    static constexpr std::pair<int, speed_t> speeds[] = {
        {300, B300},   {600, B600},     {1200, B1200},   {2400, B2400},   {4800, B4800},
        {9600, B9600}, {19200, B19200}, {38400, B38400}, {57600, B57600}, {115200, B115200},
    };
    const auto *found = std::ranges::find(speeds, baud, &std::pair<int, speed_t>::first);
    if (found == std::end(speeds))
        throw PortError(QStringLiteral("Vitesse de port série inconnue : %1").arg(baud));
    return found->second;
}

/// Bytes as they are, one after the other; a read finds something, or nothing for now, or that the device is gone.
termios Raw(termios mode, const LineSettings &settings, speed_t speed)
{
    cfmakeraw(&mode);
    mode.c_cc[VMIN] = 1; // so that nothing for now is an error, and an empty read the end
    mode.c_cc[VTIME] = 0;
    mode.c_cflag |= CREAD | CLOCAL;
    mode.c_cflag &= ~static_cast<tcflag_t>(CSIZE | CSTOPB | PARENB | PARODD | CMSPAR | CRTSCTS);
    static constexpr tcflag_t sizes[] = {CS5, CS6, CS7, CS8};
    mode.c_cflag |= sizes[settings.dataBits - 5];
    if (settings.stopBits == 2)
        mode.c_cflag |= CSTOPB;
    if (settings.parity != 'n')
        mode.c_cflag |= PARENB;
    if (settings.parity == 'o' || settings.parity == 'm')
        mode.c_cflag |= PARODD;
    if (settings.parity == 's' || settings.parity == 'm')
        mode.c_cflag |= CMSPAR;
    if (settings.handshaking == 1)
        mode.c_iflag |= IXON | IXOFF;
    if (settings.handshaking == 2)
        mode.c_cflag |= CRTSCTS;
    cfsetspeed(&mode, speed);
    return mode;
}

void SetModemLine(int descriptor, int line, bool on)
{
    ioctl(descriptor, on ? TIOCMBIS : TIOCMBIC, &line); // a port without these lines refuses, which is no error
}
} // namespace

SystemPort::SystemPort()
{
    connect(&watch_, &FolderWatch::Changed, this, &SystemPort::LookAgain);
}

SystemPort::~SystemPort()
{
    Release();
}

void SystemPort::Open(const QString &name, const LineSettings &settings)
{
    const QString asked = ports::PathOf(name);
    Use(settings);
    // The adapter that had this name is wanted, also when it was unplugged since and has another now.
    QString path = asked;
    int descriptor = -1;
    if (asked == asked_)
        for (const QString &same : PathsOfSame())
            if (descriptor < 0)
                descriptor = OpenDevice(path = same);
    if (descriptor < 0)
        descriptor = OpenDevice(path = asked);
    if (descriptor < 0)
        Refuse(name, path, errno); // a device that was lost is looked for all the same
    Close();
    asked_ = asked;
    path_ = path;
    identity_ = IdentityOf(path);
    Adopt(descriptor);
}

/// Says why, and what the user can do about it.
void SystemPort::Refuse(const QString &name, const QString &path, int reason)
{
    const bool busy = reason == EWOULDBLOCK || reason == EBUSY;
    QString text = QStringLiteral("Le port série %1 ne peut pas être ouvert : %2")
                       .arg(name, busy ? QStringLiteral("un autre programme s'en sert") : qt_error_string(reason));
    QString wayOut;
    if (!busy)
        wayOut =
            QStringLiteral("Branchez la carte ou choisissez un autre port, par le menu « Port » ou par « --port ».");
    const QFileInfo device(path);
    if (device.exists() && !(device.isReadable() && device.isWritable())) {
        text +=
            QStringLiteral("\nVous devez appartenir au groupe « %1 », propriétaire de ce port.").arg(device.group());
        wayOut = QStringLiteral("Dans un terminal : sudo adduser %1 %2 ; puis fermez votre session et rouvrez-la.")
                     .arg(qEnvironmentVariable("USER", QStringLiteral("$USER")), device.group());
    }
    if (const QString holders = busy ? ports::HoldersOf(path) : QString(); !holders.isEmpty())
        wayOut = QStringLiteral("Il est tenu par %1. Fermez ce programme, puis « Reconnection ».").arg(holders);
    throw PortError(text, wayOut);
}

/// Throws before there is anything to be closed or a lost device is opened with it.
void SystemPort::Use(const LineSettings &settings)
{
    speed_ = SpeedOf(settings.baud);
    settings_ = settings;
}

/// The descriptor of a device that nobody else uses; -1 with errno set. The lock is on the device itself, whatever name
/// it was opened by, and ends with the descriptor, however the program ends.
int SystemPort::OpenDevice(const QString &path)
{
    const int descriptor = open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return -1;
    termios mode{};
    const bool usable = tcgetattr(descriptor, &mode) == 0 && flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    if (usable) {
        mode = Raw(mode, settings_, speed_);
        if (tcsetattr(descriptor, TCSANOW, &mode) == 0)
            return descriptor;
    }
    const int reason = errno;
    close(descriptor);
    errno = reason;
    return -1;
}

void SystemPort::Adopt(int descriptor)
{
    descriptor_ = descriptor;
    if (identity_.number != 0) // for those who do not ask for the lock; a pseudo-terminal would keep it after a kill
        ioctl(descriptor_, TIOCEXCL);
    open_ = true;
    lost_ = false;
    readable_ = std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Read);
    writable_ = std::make_unique<QSocketNotifier>(descriptor_, QSocketNotifier::Write);
    writable_->setEnabled(false);
    connect(readable_.get(), &QSocketNotifier::activated, this, [this] {
        ReadMore();
        if (!lossReason_.isEmpty())
            TellLoss();
        else
            Q_EMIT Arrived();
    });
    connect(writable_.get(), &QSocketNotifier::activated, this, &SystemPort::WriteMore);
    if (settings_.handshaking != 2)
        SetModemLine(descriptor_, TIOCM_RTS, settings_.rts);
    SetModemLine(descriptor_, TIOCM_DTR, settings_.dtr);
}

void SystemPort::Release()
{
    if (descriptor_ < 0)
        return;
    // Later: this may be the doing of one of them.
    readable_->setEnabled(false);
    writable_->setEnabled(false);
    readable_.release()->deleteLater();
    writable_.release()->deleteLater();
    ioctl(descriptor_, TIOCNXCL);
    flock(descriptor_, LOCK_UN); // whoever has a copy of the descriptor keeps nobody out
    close(descriptor_);
    descriptor_ = -1;
}

void SystemPort::Close()
{
    if (descriptor_ >= 0)
        tcflush(descriptor_, Unsent() > 0 ? TCIOFLUSH : TCIFLUSH); // the closing would wait for output that is stuck
    Release();
    open_ = lost_ = false;
    lossReason_.clear();
    arrived_.clear();
    unsent_.clear();
    look_.Stop();
    watch_.Stop();
}

void SystemPort::Apply(const LineSettings &settings)
{
    Use(settings);
    termios mode{};
    if (descriptor_ < 0 || tcgetattr(descriptor_, &mode) != 0)
        return;
    mode = Raw(mode, settings_, speed_);
    tcsetattr(descriptor_, TCSANOW, &mode);
    if (settings_.handshaking != 2)
        SetModemLine(descriptor_, TIOCM_RTS, settings_.rts);
    SetModemLine(descriptor_, TIOCM_DTR, settings_.dtr);
}

void SystemPort::Send(const QByteArray &bytes)
{
    unsent_ += bytes;
    WriteMore();
}

void SystemPort::WriteMore()
{
    while (descriptor_ >= 0 && !unsent_.isEmpty()) {
        const ssize_t count = write(descriptor_, unsent_.constData(), static_cast<size_t>(unsent_.size()));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno != EAGAIN)
            NoteLoss(errno);
        if (count < 0)
            break;
        unsent_.remove(0, count);
    }
    if (descriptor_ < 0)
        unsent_.clear();
    else
        writable_->setEnabled(!unsent_.isEmpty());
}

qsizetype SystemPort::Unsent() const
{
    int inSystem = 0;
    if (descriptor_ < 0 || ioctl(descriptor_, TIOCOUTQ, &inSystem) != 0)
        inSystem = 0;
    return unsent_.size() + inSystem;
}

QByteArray SystemPort::Take()
{
    ReadMore();
    return std::exchange(arrived_, {});
}

void SystemPort::ReadMore()
{
    char buffer[4096];
    while (descriptor_ >= 0) {
        const ssize_t count = read(descriptor_, buffer, sizeof buffer);
        if (count > 0)
            arrived_.append(buffer, count);
        else if (count == 0)
            NoteLoss(ENODEV);
        else if (errno == EAGAIN)
            return;
        else if (errno != EINTR)
            NoteLoss(errno);
    }
}

/// The device is gone. That is told later, because this may be found out in the middle of anything.
void SystemPort::NoteLoss(int reason)
{
    Release();
    unsent_.clear();
    lossReason_ = qt_error_string(reason);
    QMetaObject::invokeMethod(this, &SystemPort::TellLoss, Qt::QueuedConnection);
}

void SystemPort::TellLoss()
{
    if (lossReason_.isEmpty())
        return; // told, or closed in the meantime
    const QString reason = std::exchange(lossReason_, {});
    open_ = false;
    lost_ = true;
    arrived_.clear();
    watch_.Watch(QFileInfo(path_).absolutePath());
    look_.Start(lookAgain);
    Q_EMIT Lost(reason);
}

SystemPort::Identity SystemPort::IdentityOf(const QString &path)
{
    Identity identity;
    const QByteArray name = QFile::encodeName(path);
    struct stat status{};
    identity.link = lstat(name.constData(), &status) == 0 && S_ISLNK(status.st_mode);
    if (const dev_t number = ports::DeviceOf(path); !ports::IsPseudoTerminal(number))
        identity.number = number;
    identity.adapter = ports::AdapterOf(QSerialPortInfo(QFileInfo(QFileInfo(path).canonicalFilePath()).fileName()));
    return identity;
}

/// Whether the device that has this path now is the one that was open last.
bool SystemPort::IsSameDevice(const QString &path) const
{
    const Identity found = IdentityOf(path);
    if (!identity_.adapter.isEmpty())
        return found.adapter == identity_.adapter;
    return identity_.link ? found.link : identity_.number != 0 && found.number == identity_.number;
}

/// Where that device is: under its own name or, as an adapter with a serial number, under any.
QStringList SystemPort::PathsOfSame() const
{
    QStringList paths{path_};
    if (!identity_.adapter.isEmpty() && !identity_.adapter.endsWith(u':'))
        for (const QSerialPortInfo &info : QSerialPortInfo::availablePorts())
            paths.append(info.systemLocation());
    paths.removeIf([this](const QString &path) { return !IsSameDevice(path); });
    return paths;
}

/// Opens the lost device if it is back.
void SystemPort::LookAgain()
{
    if (!lost_)
        return;
    look_.Start(lookAgain);
    for (const QString &path : PathsOfSame()) {
        const int descriptor = OpenDevice(path);
        if (descriptor < 0)
            continue;
        Close();
        path_ = path;
        Adopt(descriptor);
        Q_EMIT Back();
        return;
    }
}
