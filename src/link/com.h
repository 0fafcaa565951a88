// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "base/task.h"
#include "port.h"

#include <memory>

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

/// The serial control of the main window: the settings of the port, what goes out and the input that waits. A device
/// that goes away (an unplugged adapter) leaves the port lost: it is open again by itself when the device is back.
class Com : public QObject
{
    Q_OBJECT

public:
    explicit Com(std::unique_ptr<Port> port, QObject *parent = nullptr);

    /// Speed, parity (n, e, o, s, m), data bits and stop bits, as "9600,n,8,1"; other texts throw Error.
    QString Settings() const { return settings_; }
    void SetSettings(const QString &settings);

    /// Number of the port: 1 is COM1, or ttyS0 on Linux.
    int CommPort() const { return commPort_; }
    void SetCommPort(int number) { commPort_ = number; }

    /// A port name (COM3, ttyUSB0) or device path that is used instead of the numbered port; empty for none.
    void SetPortName(const QString &name);
    QString PortName() const;

    /// 0 none, 1 XON/XOFF, 2 RTS/CTS.
    int Handshaking() const { return line_.handshaking; }
    void SetHandshaking(int handshaking);

    /// 0 text, 1 binary. Bytes are handed on as they are in both.
    int InputMode() const { return inputMode_; }
    void SetInputMode(int mode) { inputMode_ = mode; }

    /// How many bytes one Input takes at most; 0 means all that wait.
    int InputLen() const { return inputLen_; }
    void SetInputLen(int length) { inputLen_ = length; }

    /// The level of RTS and DTR while the port is open. A port without these lines ignores them.
    bool RTSEnable() const { return line_.rts; }
    void SetRTSEnable(bool on);
    bool DTREnable() const { return line_.dtr; }
    void SetDTREnable(bool on);

    /// Opening throws PortError. Closing drops the input that waits; await Sent() before it.
    bool PortOpen() const { return port_->IsOpen(); }
    void SetPortOpen(bool open);

    /// True from the loss of the device to its return, or to the next SetPortOpen.
    bool Lost() const { return port_->IsLost(); }

    /// Bytes that have arrived and were not read, up to this moment.
    int InBufferCount();

    /// InBufferCount() > 0, for less.
    bool InputWaits() { return !arrived_.isEmpty() || InBufferCount() > 0; }

    /// Takes waiting bytes, InputLen at most.
    QByteArray Input();

    /// Throws away the oldest of the bytes that wait, so that no more than so many are left.
    void KeepNewest(int count);

    /// Sends bytes; returns at once. Throws PortClosed.
    void Output(const QByteArray &bytes);

    /// Waits until what was sent has left the wire, so that neither a closing nor a change of the speed comes under it;
    /// no longer than half a second, in case it is stuck.
    Task<void> Sent();

Q_SIGNALS:
    void Received();
    /// Bytes go out.
    void Sending();
    void PortLost(const QString &reason);
    void PortBack();
    /// Another port, other settings, open or closed.
    void Changed();

private:
    void ApplyLine();

    std::unique_ptr<Port> port_;
    QByteArray arrived_;
    QString portName_;
    QString settings_ = QStringLiteral("9600,n,8,1");
    LineSettings line_;
    int commPort_ = 1;
    int inputMode_ = 0;
    int inputLen_ = 0;
    Clock::Duration leaves_{}; ///< when the last byte that was sent has left, by the speed of the line
};
