// SPDX-License-Identifier: GPL-3.0-or-later
#include "quantity.h"

#include "base/number.h"
#include "measurement.h"

#include <QLabel>

using namespace measurement;

const Quantity Quantity::supply{command::SupplyVoltage, SupplyCalibrated, CadSupplyVolts, QStringLiteral("V")};
const Quantity Quantity::doubler{command::DoublerVoltage, DoublerCalibrated, CadDoublerVolts, QStringLiteral("V")};
const Quantity Quantity::temperature{command::SystemTemperature, TemperatureCalibrated, CadTemperature, QString()};
const Quantity Quantity::chargeCurrent{command::ChargeCurrent, ChargeCurrentCalibrated, CadChargeAmps,
                                       QStringLiteral("A")};
const Quantity Quantity::dischargeCurrent{command::DischargeCurrent, DischargeCurrentCalibrated, CadDischargeAmps,
                                          QStringLiteral("A")};

std::optional<double> Quantity::Show(const Codebas &link, int count, QLabel *countLabel, QLabel *valueLabel) const
{
    countLabel->setText(number::Str(count));
    if (!calibrated(link))
        return std::nullopt;
    const double value = convert(link, count);
    valueLabel->setText(number::Str(value) + unit);
    return value;
}
