// SPDX-License-Identifier: GPL-3.0-or-later
#include "unwatched.h"

#include "measurement.h"

#include <algorithm>

using namespace measurement;

namespace {
// A step cuts the lines for a moment to measure, and one that is left finishes that.
constexpr auto moment = 200ms;
} // namespace

Unwatched::Unwatched(Codebas &link) : link_(link)
{
    const auto later = [this] {
        chargeAmperes_.reset();
        dischargeAmperes_.reset();
        look_.Start(moment);
    };
    connect(&link_.outputs, &Outputs::LinesChanged, this, later);
    connect(&link_.outputs, &Outputs::WatchedChanged, this, later);
    connect(&link_, &Codebas::BoardStreamsChanged, this, later);
}

/// Somebody is there to end it, and the board hears him.
bool Unwatched::IsWatched(quint8 line) const
{
    return !link_.BoardStreams && std::ranges::count(link_.outputs.WhatIsWatched().off, Outputs::Write{line, 0}) > 0;
}

bool Unwatched::Charges() const
{
    const Outputs &outputs = link_.outputs;
    return outputs.IsOn(command::CutCharge) && outputs.IsOn(command::CutPower) && !IsWatched(command::CutCharge);
}

bool Unwatched::Discharges() const
{
    return link_.outputs.IsOn(command::CutDischarge) && !IsWatched(command::CutDischarge);
}

QString Unwatched::Text() const
{
    const auto with = [](const QString &what, const std::optional<double> &amperes) {
        return amperes ? what + QStringLiteral(" (%1 A)").arg(QString::number(*amperes, 'f', 2)) : what;
    };
    QStringList flows;
    if (Charges())
        flows.append(with(QStringLiteral("charge"), chargeAmperes_));
    if (Discharges())
        flows.append(with(QStringLiteral("décharge"), dischargeAmperes_));
    if (flows.isEmpty())
        return {};
    return Warning(flows.join(QStringLiteral(" et ")));
}

QString Unwatched::Warning(const QString &what)
{
    return QStringLiteral("Attention : la carte %1 sans surveillance").arg(what);
}

void Unwatched::Look()
{
    const QString text = Text();
    if (std::exchange(text_, text) != text)
        Q_EMIT Changed();
}

Task<void> Unwatched::FindOut()
{
    if (!suspected_ && !Charges() && !Discharges())
        co_return;
    const QByteArray lines = co_await link_.Exchange(Request(command::SwitchPort), Reply::Framed(1));
    const std::optional<double> charge =
        co_await Amperes(command::ChargeCurrent, ChargeCurrentCalibrated, CadChargeAmps);
    const std::optional<double> discharge =
        co_await Amperes(command::DischargeCurrent, DischargeCurrentCalibrated, CadDischargeAmps);
    suspected_ = false;
    link_.outputs.WereRead(static_cast<quint8>(lines.at(0)));
    chargeAmperes_ = charge;
    dischargeAmperes_ = discharge;
    Look();
}

Task<std::optional<double>> Unwatched::Amperes(quint8 channel, bool (*calibrated)(const Codebas &),
                                               double (*convert)(const Codebas &, int))
{
    const int count = co_await ReadChannel(link_, channel);
    if (!calibrated(link_))
        co_return std::nullopt;
    co_return convert(link_, count);
}

Task<void> Unwatched::Cut()
{
    Outputs::Writes off;
    if (Charges())
        off.push_back({command::CutCharge, 0});
    if (Discharges())
        off.push_back({command::CutDischarge, 0});
    off.insert(off.end(), {{command::CutPower, 0}, {command::GroundBattery, 1}});
    link_.outputs.EndLeft();
    const Outputs::RunPtr all = link_.outputs.Begin(off);
    all->on = true; // and so it is watched until it is off
    Task<void> ending = link_.outputs.End(all, off);
    co_await ending;
    link_.outputs.StepOver(all); // nobody knows what was really on: it is looked
}
