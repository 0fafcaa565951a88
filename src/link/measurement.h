// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "codebas.h"
#include "command.h"

/// The exchanges with which the windows measure and switch, and the conversions from converter counts ("CAD") to units
/// with the calibration words of the EEPROM images.
namespace measurement {
using Wanted = std::function<bool()>;

/// The count of a channel, 0 to 32767; throws Overflow for a high byte of 128 or more.
Task<int> ReadChannel(Codebas &link, quint8 channel);

/// The board's clock in seconds of day.
Task<int> ReadClock(Codebas &link);

/// Writes a register and takes the board's acknowledgement; `wanted` may still call it off when the line is ours.
Task<void> WriteRegister(Codebas &link, quint8 reg, quint8 value, Wanted wanted = {});

/// The signed 16-bit number that two received bytes make; throws Overflow for a high byte of 128 or more.
int Count(quint8 high, quint8 low, quint8 channel);

/// Byte i of an image × 256 + byte i + 1. A word of 0 means that the quantity is not calibrated.
int Word(const std::array<quint8, 257> &image, size_t i);

bool SupplyCalibrated(const Codebas &link);
bool DoublerCalibrated(const Codebas &link);
bool TemperatureCalibrated(const Codebas &link);
bool ChargeCurrentCalibrated(const Codebas &link);
bool DischargeCurrentCalibrated(const Codebas &link);

/// Volts and amperes to two decimals, cut towards minus infinity; degrees Celsius, whole. A calibration word of 0
/// throws DivisionByZero.
double CadSupplyVolts(const Codebas &link, int count);
double CadDoublerVolts(const Codebas &link, int count);
double CadTemperature(const Codebas &link, int count);
double CadChargeAmps(const Codebas &link, int count);
double CadDischargeAmps(const Codebas &link, int count);
double CadBatteryVolts(const Codebas &link, int count);

/// Amperes that a current setting of 0 to 255 stands for. `scale` is byte 4 (charge) or 5 (discharge) of SlaveEeprom;
/// 0 throws DivisionByZero.
double CurrentSettingAmps(int value, int scale);

/// A field of an elapsed time as the windows show it: two digits below 10 ("05"), else the number text (" 12").
QString ClockText(double field);
} // namespace measurement
