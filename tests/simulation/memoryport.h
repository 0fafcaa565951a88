#pragma once

#include "link/port.h"

/// A serial device of memory: what the program sends comes out as a signal, what the board says is delivered by calls.
/// Its plug can be pulled and put back.
class MemoryPort : public Port
{
    Q_OBJECT

public:
    using Port::Port;

    void Open(const QString &name, const LineSettings &settings) override;
    void Close() override;
    bool IsOpen() const override { return open_; }
    bool IsLost() const override { return lost_; }
    void Apply(const LineSettings &settings) override { settings_ = settings; }
    void Send(const QByteArray &bytes) override;
    qsizetype Unsent() const override { return 0; }
    QByteArray Take() override { return std::exchange(arrived_, {}); }

    const LineSettings &Settings() const { return settings_; }

    /// Bytes from the board: there at once, told of when events run. Lost while the port is not open.
    void Deliver(const QByteArray &bytes);

    /// Whether another program has the device: it cannot be opened then.
    void SetTaken(bool taken) { taken_ = taken; }

    /// The device goes away; it is told of when events run. While it is out the port cannot be opened.
    void Unplug();
    /// It comes back; a port that was lost is open again when events run.
    void Plug();

Q_SIGNALS:
    void SentByProgram(const QByteArray &bytes);

private:
    bool open_ = false;
    bool lost_ = false;
    bool plugged_ = true;
    bool taken_ = false;
    LineSettings settings_;
    QByteArray arrived_;
};
