// SPDX-License-Identifier: GPL-3.0-or-later
#include "unattended_capacity.h"

#include <QFileInfo>

UnattendedCapacity::UnattendedCapacity(const Codebas &link, MesCapa &window, CapacityOrder order, int every)
    : Unattended(window), link_(link), window_(window), order_(order), every_(every)
{
    connect(&window_, &MesCapa::SettingSent, this, [this] {
        if (settingsMade_ > 0 && !IsStarted())
            Next();
    });
    connect(&window_, &MesCapa::StateShown, this, &UnattendedCapacity::PrintState);
    connect(&window_, &MesCapa::Measured, this, &UnattendedCapacity::PrintTick);
    connect(&window_, &MesCapa::Stopping, this, &UnattendedCapacity::EndFor);
    connect(&window_, &MesCapa::ConnectionWanted, this, &UnattendedCapacity::Alarmed);
    connect(&window_, &MesCapa::Aborted, this, [this] { Q_EMIT Over(failed); });
    connect(&window_, &MesCapa::Ended, this, [this](const CapacityRecord &last) {
        End(QStringLiteral("Capacité déchargée : %1 mAh, résistance %2 mR, résultats %3")
                .arg(capacity::MilliampereHours(last.TotalDischarge), 0, 'f', 0)
                .arg(last.Resistance)
                .arg(QFileInfo(window_.ResultPath()).absoluteFilePath()));
    });
}

void UnattendedCapacity::SetControls()
{
    if (!IsPossible(QStringLiteral("charge"), QStringLiteral("charge"), order_.chargeAmperes, link_.SlaveEeprom[4]) ||
        !IsPossible(QStringLiteral("discharge"), QStringLiteral("décharge"), order_.dischargeAmperes,
                    link_.SlaveEeprom[5]))
        return;
    SetText(QStringLiteral("TxNbElem"), QString::number(order_.cells));
    SetText(QStringLiteral("TxNbrCycles"), QString::number(order_.cycles));
    Next();
}

/// One slider after the other, then the start: each when the one before has reached the board.
void UnattendedCapacity::Next()
{
    switch (settingsMade_++) {
    case 0:
        if (!SetCurrent(QStringLiteral("SlIChrg"), QStringLiteral("charge"), order_.chargeAmperes,
                        link_.SlaveEeprom[4]))
            Next();
        break;
    case 1:
        if (!SetCurrent(QStringLiteral("SlIDech"), QStringLiteral("décharge"), order_.dischargeAmperes,
                        link_.SlaveEeprom[5]))
            Next();
        break;
    default:
        PressStart();
        break;
    }
}

void UnattendedCapacity::PrintState(const QString &text)
{
    const bool countdown = text.endsWith(QLatin1String("Pause ... "));
    if (countdown && std::exchange(counting_, true))
        return; // its first second says it all
    counting_ = countdown;
    Print(text.trimmed());
}

void UnattendedCapacity::PrintTick(const CapacityRecord &record)
{
    if (ticks_++ % every_ != 0)
        return;
    const bool charging = record.Phase == 1;
    Print(TimeText(record.ElapsedS) +
          QString::asprintf("  %6.2f V  %5.2f A  %c %6.0f mAh  delta %4d  %3.0f °C", record.VBattery,
                            charging ? record.ICharge : record.IDischarge, charging ? 'C' : 'D',
                            capacity::MilliampereHours(charging ? record.TotalCharge : record.TotalDischarge),
                            record.VDeltaCount, record.Temperature));
}
