#pragma once

#include "base/errors.h"

#include <QFileSystemWatcher>
#include <QObject>
#include <QSerialPort>
#include <QTimer>

/// The port cannot be opened; the text names it and the system's reason.
class PortError : public Error
{
public:
    using Error::Error;
};

/// Something was to be sent while the port is closed.
class PortClosed : public Error
{
public:
    PortClosed()
        : Error(QStringLiteral("Le port série est fermé : rien n'a été envoyé à la carte.\n"
                               "Utilisez « Reconnection » dans la fenêtre principale."))
    {
    }
};

/// The serial port. A device that goes away (an unplugged adapter) leaves the port lost: it is reopened by itself, with
/// the same settings, when the device is back.
class Com : public QObject
{
    Q_OBJECT

public:
    explicit Com(QObject *parent = nullptr);

    /// Speed, parity (n, e, o, s, m), data bits and stop bits, as "9600,n,8,1"; other texts throw Error.
    QString Settings() const { return settings_; }
    void SetSettings(const QString &settings);

    /// Number of the port: 1 is COM1, or ttyS0 on Linux.
    int CommPort() const { return commPort_; }
    void SetCommPort(int number) { commPort_ = number; }

    /// A port name (COM3, ttyUSB0) or device path that is used instead of the numbered port; empty for none.
    void SetPortName(const QString &name) { portName_ = name; }
    QString PortName() const;

    /// 0 none, 1 XON/XOFF, 2 RTS/CTS.
    int Handshaking() const { return handshaking_; }
    void SetHandshaking(int handshaking);

    /// 0 text, 1 binary. Bytes are handed on as they are in both.
    int InputMode() const { return inputMode_; }
    void SetInputMode(int mode) { inputMode_ = mode; }

    /// How many bytes one Input takes at most; 0 means all that wait.
    int InputLen() const { return inputLen_; }
    void SetInputLen(int length) { inputLen_ = length; }

    /// The level of RTS and DTR while the port is open. A port without these lines ignores them.
    bool RTSEnable() const { return rtsEnable_; }
    void SetRTSEnable(bool on);
    bool DTREnable() const { return dtrEnable_; }
    void SetDTREnable(bool on);

    /// Opening throws PortError. Closing first lets out what was sent before; the input that waits is dropped.
    bool PortOpen() const { return serial_.isOpen(); }
    void SetPortOpen(bool open);

    /// True from the loss of the device to its return, or to the next SetPortOpen.
    bool Lost() const { return lost_; }

    /// Bytes that have arrived and were not read, up to this moment.
    int InBufferCount() const;

    /// InBufferCount() > 0, for less.
    bool InputWaits() const { return !arrived_.isEmpty() || serial_.bytesAvailable() > 0 || InSystem() > 0; }

    /// Takes waiting bytes, InputLen at most.
    QByteArray Input();

    /// Throws away the oldest of the bytes that wait, so that no more than so many are left.
    void KeepNewest(int count);

    /// Sends bytes; returns at once. Throws PortClosed.
    void Output(const QByteArray &bytes);

    /// Hands what was sent to the system now rather than when events run next.
    void Flush() { serial_.flush(); }

Q_SIGNALS:
    void Received();
    void PortLost(const QString &reason);
    void PortBack();

private:
    int InSystem() const;
    void Fetch();
    bool TryOpen();
    void ApplySettings();
    void LetOut();
    void CheckLoss(QSerialPort::SerialPortError error);
    void Lose(const QString &reason);
    void Reopen();
    void StopWatching();
    QString DevicePath() const;

    QSerialPort serial_;
    QByteArray arrived_; ///< the oldest of the bytes that wait, before those that serial_ holds
    QFileSystemWatcher watcher_;
    QTimer look_;
    QString portName_;
    QString settings_ = QStringLiteral("9600,n,8,1");
    int commPort_ = 1;
    int handshaking_ = 0;
    int inputMode_ = 0;
    int inputLen_ = 0;
    bool rtsEnable_ = true;
    bool dtrEnable_ = true;
    bool lost_ = false;
};
