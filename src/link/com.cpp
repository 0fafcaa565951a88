// SPDX-License-Identifier: GPL-3.0-or-later
#include "com.h"

#include <QStringList>

#include <algorithm>

namespace {
constexpr auto stuck = 500ms;   // what has not left after that does not leave
constexpr int bitsPerByte = 10; // start bit, 8 data bits, stop bit
} // namespace

Com::Com(std::unique_ptr<Port> port, QObject *parent) : QObject(parent), port_(std::move(port))
{
    setObjectName(QStringLiteral("Com"));
    connect(port_.get(), &Port::Arrived, this, &Com::Received);
    connect(port_.get(), &Port::Lost, this, [this](const QString &reason) {
        arrived_.clear();
        Q_EMIT PortLost(reason);
    });
    connect(port_.get(), &Port::Back, this, &Com::PortBack);
    connect(this, &Com::PortLost, this, &Com::Changed);
    connect(this, &Com::PortBack, this, &Com::Changed);
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
    line_.baud = parts[0].toInt();
    line_.parity = parts[1][0].toLatin1();
    line_.dataBits = parts[2].toInt();
    line_.stopBits = parts[3].toInt();
    ApplyLine();
    Q_EMIT Changed();
}

void Com::ApplyLine()
{
    if (PortOpen())
        port_->Apply(line_);
}

void Com::SetPortName(const QString &name)
{
    portName_ = name;
    Q_EMIT Changed();
}

QString Com::PortName() const
{
    return portName_.isEmpty() ? QStringLiteral("ttyS%1").arg(commPort_ - 1) : portName_;
}

void Com::SetHandshaking(int handshaking)
{
    line_.handshaking = handshaking;
    ApplyLine();
}

void Com::SetRTSEnable(bool on)
{
    line_.rts = on;
    ApplyLine();
}

void Com::SetDTREnable(bool on)
{
    line_.dtr = on;
    ApplyLine();
}

void Com::SetPortOpen(bool open)
{
    if (open && PortOpen())
        return;
    if (open) {
        port_->Open(PortName(), line_);
    } else {
        port_->Close();
        arrived_.clear();
    }
    Q_EMIT Changed();
}

int Com::InBufferCount()
{
    arrived_ += port_->Take();
    return static_cast<int>(arrived_.size());
}

QByteArray Com::Input()
{
    if (inputLen_ == 0 || arrived_.size() < inputLen_)
        arrived_ += port_->Take();
    const qsizetype length = inputLen_ == 0 ? arrived_.size() : std::min<qsizetype>(inputLen_, arrived_.size());
    const QByteArray bytes = arrived_.first(length);
    arrived_.remove(0, length);
    return bytes;
}

void Com::KeepNewest(int count)
{
    arrived_.remove(0, std::max(0, InBufferCount() - count));
}

void Com::Output(const QByteArray &bytes)
{
    if (!PortOpen())
        throw PortClosed();
    const auto length = std::chrono::microseconds(1'000'000LL * bitsPerByte * bytes.size() / line_.baud);
    leaves_ = std::max(leaves_, Clock::Current().Now()) + length;
    port_->Send(bytes);
    Q_EMIT Sending();
}

Task<void> Com::Sent()
{
    const Clock::Duration end = Clock::Current().Now() + stuck;
    for (auto now = Clock::Current().Now(); PortOpen() && now < end && (now < leaves_ || port_->Unsent() > 0);
         now = Clock::Current().Now()) {
        const auto left = std::max<Clock::Duration>(leaves_ - now, std::chrono::milliseconds(port_->Unsent()));
        Delay pause(std::clamp<Clock::Duration>(left, 1ms, end - now));
        co_await pause;
    }
}
