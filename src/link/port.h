// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/errors.h"

#include <QByteArray>
#include <QObject>

/// The port cannot be opened; the text names it and the system's reason.
class PortError : public Error
{
public:
    explicit PortError(QString text, QString wayOut = {}) : Error(std::move(text)), wayOut_(std::move(wayOut)) {}

    /// What the user can do about it; empty when that is not known.
    const QString &WayOut() const { return wayOut_; }

private:
    QString wayOut_;
};

/// How the line is driven.
struct LineSettings
{
    int baud = 9600;
    char parity = 'n'; ///< n none, e even, o odd, s space, m mark
    int dataBits = 8;
    int stopBits = 1;
    int handshaking = 0; ///< 0 none, 1 XON/XOFF, 2 RTS/CTS
    bool rts = true;
    bool dtr = true;
};

/// A serial device: the system's, or one of memory in tests. Nothing here ever waits.
class Port : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /// `name` is a device name or a path. Throws PortError.
    virtual void Open(const QString &name, const LineSettings &settings) = 0;
    /// Drops the input that waits and output that is stuck; ends the search for a device that was lost.
    virtual void Close() = 0;
    /// True also while the loss of the device is still to be told.
    virtual bool IsOpen() const = 0;
    /// From its loss until the device is back, or until Close or Open.
    virtual bool IsLost() const = 0;

    /// Applies at once; whoever changes the speed lets out what was sent before.
    virtual void Apply(const LineSettings &settings) = 0;

    /// Takes all of it; it leaves as fast as the line goes.
    virtual void Send(const QByteArray &bytes) = 0;
    /// Bytes that have not left yet.
    virtual qsizetype Unsent() const = 0;

    /// All that has arrived up to this moment and was not taken, events or not.
    virtual QByteArray Take() = 0;

Q_SIGNALS:
    /// Something may be taken.
    void Arrived();
    /// The device has gone. It is looked for, and open again by itself when the same one is back.
    void Lost(const QString &reason);
    void Back();
};
