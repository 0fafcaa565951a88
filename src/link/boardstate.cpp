// SPDX-License-Identifier: GPL-3.0-or-later
#include "boardstate.h"

#include "measurement.h"
#include "quantity.h"

namespace {
// A step cuts the lines for less than that to measure, and the next one follows later.
constexpr auto moment = 500ms;
} // namespace

BoardState::BoardState(const Codebas &link) : link_(link)
{
    connect(&link_.outputs, &Outputs::LinesChanged, this, &BoardState::LookLater);
    connect(&link_.outputs, &Outputs::KnowledgeChanged, this, &BoardState::LookLater);
    connect(&link_, &Codebas::BoardStreamsChanged, this, &BoardState::LookNow);
    connect(&link_.com, &Com::Changed, this, [this] {
        LookLater();
        Q_EMIT Changed();
    });
    connect(&link_.silence, &Silence::Changed, this, [this] {
        LookLater();
        Q_EMIT Changed();
    });
    connect(&link_.line, &Exchanges::Answered, this, &BoardState::Answered);
}

bool BoardState::IsPast() const
{
    return !link_.com.PortOpen() || link_.silence.Lasts();
}

BoardState::Doing BoardState::Look() const
{
    if (link_.BoardStreams)
        return Doing::Stream;
    const auto known = [this](quint8 reg, bool on) { return link_.outputs.Known(reg) == on; };
    const bool charges = known(command::CutCharge, true) && known(command::CutPower, true);
    const bool discharges = known(command::CutDischarge, true);
    if (charges && discharges)
        return Doing::Both;
    if (charges || discharges)
        return charges ? Doing::Charge : Doing::Discharge;
    const bool rests =
        (known(command::CutCharge, false) || known(command::CutPower, false)) && known(command::CutDischarge, false);
    return rests ? Doing::Rest : Doing::Unknown;
}

void BoardState::LookLater()
{
    look_.Start(moment);
}

void BoardState::LookNow()
{
    if (IsPast() && !link_.BoardStreams)
        return; // it is as it was
    const Doing now = Look();
    if (std::exchange(what_, now) == now)
        return;
    charge_.reset();
    discharge_.reset();
    Q_EMIT Changed();
}

void BoardState::Answered(const Question &question, const QByteArray &data)
{
    const auto take = [this, &data](const Quantity &quantity, std::optional<double> &amperes) {
        constexpr int negative = 128; // in the high byte
        if (data.size() < 2 || static_cast<quint8>(data[0]) >= negative || !quantity.calibrated(link_))
            return;
        const int count =
            measurement::Count(static_cast<quint8>(data[0]), static_cast<quint8>(data[1]), quantity.channel);
        if (const auto before = std::exchange(amperes, quantity.convert(link_, count)); before != amperes)
            Q_EMIT Changed();
    };
    if (question.request == Request(command::ChargeCurrent))
        take(Quantity::chargeCurrent, charge_);
    else if (question.request == Request(command::DischargeCurrent))
        take(Quantity::dischargeCurrent, discharge_);
}

QString BoardState::Text() const
{
    const auto with = [](const QString &what, const std::optional<double> &amperes) {
        return amperes ? what + QStringLiteral(" %1 A").arg(QString::number(*amperes, 'f', 2).replace(u'.', u','))
                       : what;
    };
    switch (what_) {
    case Doing::Unknown:
        break;
    case Doing::Rest:
        return QStringLiteral("repos");
    case Doing::Charge:
        return with(QStringLiteral("charge"), charge_);
    case Doing::Discharge:
        return with(QStringLiteral("décharge"), discharge_);
    case Doing::Both:
        return QStringLiteral("charge et décharge");
    case Doing::Stream:
        return QStringLiteral("émission");
    }
    return QStringLiteral("inconnu");
}
