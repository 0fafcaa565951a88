#include "com.h"

#include <QFileInfo>
#include <QStringList>

#include <algorithm>

#ifdef Q_OS_UNIX
#    include <cerrno>
#    include <sys/ioctl.h>
#    include <termios.h>
#    include <unistd.h>
#endif

namespace {
/// Milliseconds between two looks for a lost device. A change in its folder is looked into at once, but the device may
/// have come back before that was watched, or be held for a moment by something that probes it.
constexpr int lookAgain = 1000;
} // namespace

Com::Com(QObject *parent) : QObject(parent)
{
    setObjectName(QStringLiteral("Com"));
    connect(&serial_, &QSerialPort::readyRead, this, &Com::Received);
    // Queued: the port cannot be closed from within its own read.
    connect(
        &serial_, &QSerialPort::errorOccurred, this,
        [this](QSerialPort::SerialPortError error) {
            if (PortOpen())
                CheckLoss(error);
        },
        Qt::QueuedConnection);
    connect(&watcher_, &QFileSystemWatcher::directoryChanged, this, &Com::Reopen);
    connect(&look_, &QTimer::timeout, this, &Com::Reopen);
}

void Com::SetSettings(const QString &settings)
{
    const QStringList parts = settings.split(u',');
    static const QString parities = QStringLiteral("neosm");
    const bool wellFormed = parts.size() == 4 && parts[0].toInt() > 0 && parts[1].size() == 1 &&
                            parities.contains(parts[1]) && parts[2].toInt() >= 5 && parts[2].toInt() <= 8 &&
                            (parts[3] == QLatin1String("1") || parts[3] == QLatin1String("2"));
    if (!wellFormed)
        throw Error(QStringLiteral("Réglage de port série incorrect : %1").arg(settings));
    settings_ = settings;
    if (!PortOpen())
        return;
    LetOut();
    ApplySettings();
}

void Com::ApplySettings()
{
    const QStringList parts = settings_.split(u',');
    serial_.setBaudRate(parts[0].toInt());
    switch (parts[1][0].unicode()) {
    case u'e':
        serial_.setParity(QSerialPort::EvenParity);
        break;
    case u'o':
        serial_.setParity(QSerialPort::OddParity);
        break;
    case u's':
        serial_.setParity(QSerialPort::SpaceParity);
        break;
    case u'm':
        serial_.setParity(QSerialPort::MarkParity);
        break;
    default:
        serial_.setParity(QSerialPort::NoParity);
        break;
    }
    serial_.setDataBits(static_cast<QSerialPort::DataBits>(parts[2].toInt()));
    serial_.setStopBits(static_cast<QSerialPort::StopBits>(parts[3].toInt()));
    serial_.setFlowControl(static_cast<QSerialPort::FlowControl>(
        handshaking_ == 1 ? QSerialPort::SoftwareControl
                          : (handshaking_ == 2 ? QSerialPort::HardwareControl : QSerialPort::NoFlowControl)));
    if (handshaking_ != 2)
        serial_.setRequestToSend(rtsEnable_);
    serial_.setDataTerminalReady(dtrEnable_);
}

QString Com::PortName() const
{
    if (!portName_.isEmpty())
        return portName_;
#ifdef Q_OS_WIN
    return QStringLiteral("COM%1").arg(commPort_);
#else
    return QStringLiteral("ttyS%1").arg(commPort_ - 1);
#endif
}

void Com::SetHandshaking(int handshaking)
{
    handshaking_ = handshaking;
    if (PortOpen())
        ApplySettings();
}

void Com::SetRTSEnable(bool on)
{
    rtsEnable_ = on;
    if (PortOpen() && handshaking_ != 2)
        serial_.setRequestToSend(on);
}

void Com::SetDTREnable(bool on)
{
    dtrEnable_ = on;
    if (PortOpen())
        serial_.setDataTerminalReady(on);
}

bool Com::TryOpen()
{
    serial_.setPortName(PortName());
    if (!serial_.open(QIODevice::ReadWrite))
        return false;
    ApplySettings();
    return true;
}

void Com::SetPortOpen(bool open)
{
    StopWatching();
    if (open == PortOpen())
        return;
    if (!open) {
        LetOut(); // closing puts the speed back that the port had before
        serial_.clear(QSerialPort::Input);
        serial_.close();
        arrived_.clear();
        return;
    }
    if (TryOpen())
        return;
    QString text =
        QStringLiteral("Le port série %1 ne peut pas être ouvert : %2").arg(PortName(), serial_.errorString());
    const QFileInfo device(DevicePath());
    if (device.exists() && !(device.isReadable() && device.isWritable()))
        text +=
            QStringLiteral("\nVous devez appartenir au groupe « %1 », propriétaire de ce port.").arg(device.group());
    throw PortError(text);
}

/// Waits until what was sent has left, so that no change of the speed comes under it.
void Com::LetOut()
{
    serial_.flush();
#ifdef Q_OS_UNIX
    tcdrain(serial_.handle());
#endif
}

int Com::InBufferCount() const
{
    return static_cast<int>(arrived_.size() + serial_.bytesAvailable()) + InSystem();
}

/// Bytes that the system holds and that events would bring in.
int Com::InSystem() const
{
    int count = 0;
#ifdef Q_OS_UNIX
    if (!PortOpen() || ioctl(serial_.handle(), FIONREAD, &count) != 0)
        return 0;
#endif
    return count;
}

QByteArray Com::Input()
{
    if (inputLen_ == 0 || arrived_.size() < inputLen_)
        Fetch();
    const qsizetype length = inputLen_ == 0 ? arrived_.size() : std::min<qsizetype>(inputLen_, arrived_.size());
    const QByteArray bytes = arrived_.first(length);
    arrived_.remove(0, length);
    return bytes;
}

/// Gathers all that waits: what events have brought in, and behind it what the system holds at this moment.
void Com::Fetch()
{
    if (!PortOpen())
        return;
    arrived_ += serial_.readAll();
#ifdef Q_OS_UNIX
    const int more = InSystem();
    const qsizetype before = arrived_.size();
    arrived_.resize(before + more);
    const ssize_t count = more > 0 ? read(serial_.handle(), arrived_.data() + before, static_cast<size_t>(more)) : 0;
    arrived_.resize(before + std::max<ssize_t>(0, count));
#endif
}

void Com::KeepNewest(int count)
{
    if (InBufferCount() <= count)
        return;
    Fetch();
    arrived_.remove(0, std::max<qsizetype>(0, arrived_.size() - count));
}

void Com::Output(const QByteArray &bytes)
{
    if (!PortOpen())
        throw PortClosed();
    serial_.write(bytes);
}

QString Com::DevicePath() const
{
    return PortName().startsWith(u'/') ? PortName() : QStringLiteral("/dev/") + PortName();
}

void Com::CheckLoss(QSerialPort::SerialPortError error)
{
    if (error == QSerialPort::NoError)
        return;
#ifdef Q_OS_UNIX
    // The error says little: a read that finds nothing, because its bytes were fetched a moment before or because the
    // device is gone, passes for whatever the process last failed in. But a device that is gone answers nothing.
    int waiting = 0;
    if (ioctl(serial_.handle(), FIONREAD, &waiting) != 0)
        Lose(qt_error_string(errno));
    else
        arrived_ += serial_.readAll(); // an error stops the events of reading until something is read
#else
    if (error == QSerialPort::ResourceError)
        Lose(serial_.errorString());
#endif
}

void Com::Lose(const QString &reason)
{
    serial_.close();
    arrived_.clear();
    lost_ = true;
    watcher_.addPath(QFileInfo(DevicePath()).absolutePath());
    look_.start(lookAgain);
    Q_EMIT PortLost(reason);
}

void Com::Reopen()
{
    if (!lost_ || !TryOpen())
        return;
    StopWatching();
    Q_EMIT PortBack();
}

void Com::StopWatching()
{
    lost_ = false;
    look_.stop();
    if (!watcher_.directories().isEmpty())
        watcher_.removePaths(watcher_.directories());
}
