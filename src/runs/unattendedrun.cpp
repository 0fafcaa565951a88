// SPDX-License-Identifier: GPL-3.0-or-later
#include "unattendedrun.h"

UnattendedRun::UnattendedRun(RunWindow &window, const QString &endText, int every)
    : Unattended(window), window_(window), every_(every)
{
    connect(&window_, &RunWindow::Recorded, this, &UnattendedRun::PrintRecord);
    connect(&window_, &RunWindow::Stopping, this, &UnattendedRun::EndFor);
    connect(&window_, &RunWindow::ConnectionWanted, this, &UnattendedRun::Alarmed);
    connect(&window_, &RunWindow::Ended, this, [this, endText] {
        End(QStringLiteral("%1 : %2 mAh, journal %3")
                .arg(endText)
                .arg(milliampereHours_, 0, 'f', 0)
                .arg(window_.LogPath()));
    });
}

void UnattendedRun::PrintRecord(const RunRecord &record)
{
    milliampereHours_ = record.milliampereHours;
    if (records_++ % every_ == 0)
        Print(TimeText(record.seconds) +
              QString::asprintf("  %6.2f V  %5.2f A  %6.0f mAh  ", record.volts, record.amperes,
                                record.milliampereHours) +
              Indicator(record));
}

bool UnattendedRun::SetRunCurrent(const QString &what, double amperes, int scale)
{
    if (!IsPossible(QStringLiteral("current"), what, amperes, scale))
        return false;
    SetCurrent(QStringLiteral("Slider1"), what, amperes, scale);
    return true;
}

UnattendedCharge::UnattendedCharge(const Codebas &link, Chargeur &window, ChargeOrder order, int every)
    : UnattendedRun(window, QStringLiteral("Charge Terminée"), every), link_(link), order_(order)
{
}

void UnattendedCharge::SetControls()
{
    SetText(QStringLiteral("Text1"), QString::number(order_.mode));
    if (!order_.amperes || SetRunCurrent(QStringLiteral("charge"), *order_.amperes, link_.SlaveEeprom[4]))
        PressStart();
}

QString UnattendedCharge::Indicator(const RunRecord &record) const
{
    return QString::asprintf("delta %4.0f", record.indicator);
}

UnattendedDischarge::UnattendedDischarge(const Codebas &link, Dechargeur &window, DischargeOrder order, int every)
    : UnattendedRun(window, QStringLiteral("Limite Dech."), every), link_(link), order_(order)
{
}

void UnattendedDischarge::SetControls()
{
    SetText(QStringLiteral("Text1"), QString::number(order_.cells));
    if (SetRunCurrent(QStringLiteral("décharge"), order_.amperes, link_.SlaveEeprom[5]))
        PressStart();
}

QString UnattendedDischarge::Indicator(const RunRecord &record) const
{
    return QString::asprintf("%6.3f V/élément", record.indicator);
}
