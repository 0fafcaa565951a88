#include "memoryport.h"

void MemoryPort::Open(const QString &name, const LineSettings &settings)
{
    if (!plugged_ || taken_)
        throw PortError(
            QStringLiteral("Le port série %1 ne peut pas être ouvert : %2")
                .arg(name, taken_ ? QStringLiteral("un autre programme s'en sert") : QStringLiteral("débranché")));
    settings_ = settings;
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
    if (open_ && plugged_)
        Q_EMIT SentByProgram(bytes);
}

void MemoryPort::Deliver(const QByteArray &bytes)
{
    if (!open_ || !plugged_ || bytes.isEmpty())
        return;
    arrived_ += bytes;
    QMetaObject::invokeMethod(this, &MemoryPort::Arrived, Qt::QueuedConnection);
}

void MemoryPort::Unplug()
{
    plugged_ = false;
    arrived_.clear();
    const auto tell = [this] {
        if (plugged_ || !open_)
            return;
        open_ = false;
        lost_ = true;
        Q_EMIT Lost(QStringLiteral("débranché"));
    };
    QMetaObject::invokeMethod(this, tell, Qt::QueuedConnection);
}

void MemoryPort::Plug()
{
    plugged_ = true;
    const auto back = [this] {
        if (!plugged_ || !lost_)
            return;
        lost_ = false;
        open_ = true;
        Q_EMIT Back();
    };
    QMetaObject::invokeMethod(this, back, Qt::QueuedConnection);
}
