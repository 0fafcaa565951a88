#include "com.h"

#include <QFileInfo>
#include <QStringList>
#include <QTimer>

#ifdef Q_OS_UNIX
#    include <sys/ioctl.h>
#    include <termios.h>
#endif

namespace {
/// Milliseconds after a loss at which the device is looked for once more, lest it came back before it was watched for.
constexpr int secondLook = 1000;
} // namespace

Com::Com(QObject *parent) : QObject(parent)
{
    setObjectName(QStringLiteral("Com"));
    connect(&serial_, &QSerialPort::readyRead, this, [this] {
        if (!pulling_)
            Q_EMIT Received();
    });
    // Queued: the port cannot be closed from within its own read.
    connect(
        &serial_, &QSerialPort::errorOccurred, this,
        [this](QSerialPort::SerialPortError error) {
            if (error == QSerialPort::ResourceError && PortOpen())
                Lose();
        },
        Qt::QueuedConnection);
    connect(&watcher_, &QFileSystemWatcher::directoryChanged, this, &Com::Reopen);
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
    if (PortOpen())
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
        serial_.flush();
#ifdef Q_OS_UNIX
        // Closing puts the speed back that the port had before: not under the last bytes while they leave.
        tcdrain(serial_.handle());
#endif
        serial_.close();
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

int Com::InBufferCount() const
{
    return static_cast<int>(serial_.bytesAvailable()) + InSystem();
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
    if (PortOpen() && serial_.bytesAvailable() == 0) {
        // The bytes may be there although events have not run since: with no time to wait this only fetches them.
        pulling_ = true;
        serial_.waitForReadyRead(0);
        pulling_ = false;
    }
    return inputLen_ == 0 ? serial_.readAll() : serial_.read(inputLen_);
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

void Com::Lose()
{
    const QString reason = serial_.errorString();
    serial_.close();
    lost_ = true;
    watcher_.addPath(QFileInfo(DevicePath()).absolutePath());
    QTimer::singleShot(secondLook, this, &Com::Reopen);
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
    if (!watcher_.directories().isEmpty())
        watcher_.removePaths(watcher_.directories());
}
