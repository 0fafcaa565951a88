// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "link/port.h"

#include <optional>

/// A serial device of memory: what the program sends comes out as a signal, what the board says is delivered by calls.
/// Its plug can be pulled and put back, or another's put in.
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
    /// It comes back, with the name that it is asked for by or another; a port that was lost is open again when events
    /// run, and the device is found by its former name.
    void Plug(const QString &name = {}) { PlugIn({board, name}); }
    /// Another adapter gets the name, with nothing at its far end. A lost port does not take it.
    void PlugStranger() { PlugIn({QStringLiteral("stranger"), {}}); }
    /// Whether the stranger was opened, and is what is looked for now.
    bool LooksForStranger() const { return asked_.size() > 0 && opened_ != board; }

Q_SIGNALS:
    void SentByProgram(const QByteArray &bytes);

private:
    struct Device
    {
        QString adapter; ///< tells one from another
        QString name;    ///< empty: any
    };
    static inline const QString board = QStringLiteral("board");

    void PlugIn(const Device &device);
    bool IsBoard() const { return device_ && device_->adapter == board; }
    /// Whether that is plugged in which was open last.
    bool IsSame() const { return device_ && device_->adapter == opened_; }

    bool open_ = false;
    bool lost_ = false;
    bool taken_ = false;
    std::optional<Device> device_ = Device{board, {}};
    QString asked_;  ///< the name that it was opened by last
    QString opened_; ///< the adapter that it found by that
    LineSettings settings_;
    QByteArray arrived_;
};
