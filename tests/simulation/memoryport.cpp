// SPDX-License-Identifier: GPL-3.0-or-later
#include "memoryport.h"

void MemoryPort::Open(const QString &name, const LineSettings &settings)
{
    const bool found = device_ && (device_->name.isEmpty() || device_->name == name || (IsSame() && name == asked_));
    if (!found || taken_)
        throw PortError(
            QStringLiteral("Le port série %1 ne peut pas être ouvert : %2")
                .arg(name, taken_ ? QStringLiteral("un autre programme s'en sert") : QStringLiteral("débranché")));
    settings_ = settings;
    asked_ = name;
    opened_ = device_->adapter;
    open_ = true;
    lost_ = false;
}

void MemoryPort::Close()
{
    open_ = lost_ = false;
    arrived_.clear();
}

void MemoryPort::Send(const QByteArray &bytes)
{
    if (open_ && IsBoard())
        Q_EMIT SentByProgram(bytes);
}

void MemoryPort::Deliver(const QByteArray &bytes)
{
    if (!open_ || !IsBoard() || bytes.isEmpty())
        return;
    arrived_ += bytes;
    QMetaObject::invokeMethod(this, &MemoryPort::Arrived, Qt::QueuedConnection);
}

void MemoryPort::Unplug()
{
    device_.reset();
    arrived_.clear();
    const auto tell = [this] {
        if (!open_ || IsSame())
            return;
        open_ = false;
        lost_ = true;
        Q_EMIT Lost(QStringLiteral("débranché"));
    };
    QMetaObject::invokeMethod(this, tell, Qt::QueuedConnection);
}

void MemoryPort::PlugIn(const Device &device)
{
    device_ = device;
    const auto back = [this] {
        if (!lost_ || !IsSame())
            return;
        lost_ = false;
        open_ = true;
        Q_EMIT Back();
    };
    QMetaObject::invokeMethod(this, back, Qt::QueuedConnection);
}
