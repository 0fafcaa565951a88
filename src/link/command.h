// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>

/// The command bytes of the board; each follows the escape byte 27.
namespace command {
enum : quint8
{
    Opening = 0, ///< the dashboard's greeting
    I2cStatus = 1,
    EndSession = 3, ///< the board goes on by itself and streams

    // measurement channels: two bytes, high first
    SystemTemperature = 5,
    SupplyVoltage = 6,
    DoublerVoltage = 7,
    InverterState = 8,
    BatteryTemperature = 9,
    ChargeCurrent = 10,
    DischargeCurrent = 11,
    DeltaVoltage = 12,
    BatteryVoltage = 13,

    // registers: one byte
    CutCharge = 15,
    CutDischarge = 16,
    CutPower = 17,
    GroundBattery = 18,
    ChargeSetting = 19,
    DischargeSetting = 20,
    DeltaOffset = 21,
    DeltaGain = 22,
    Led = 23,
    Beep = 24,
    Fan = 25,

    // ports: one byte, a bit a line
    SixthButtonPort = 26,
    OutputPort = 28,
    SwitchPort = 31,

    // on-chip EEPROMs, by the byte
    ReadMasterEeprom = 37,
    ReadSlaveEeprom = 38,
    WriteMasterEeprom = 39,
    WriteSlaveEeprom = 40,

    Clock = 41,
    BeginPhase = 42, ///< of the capacity measurement

    // program memories
    ReadMasterFlash = 45,
    ReadSlaveFlash = 46,
    WriteMasterFlash = 47,
    WriteSlaveFlash = 48,

    // external EEPROMs, by the byte
    ReadExternalEeprom = 49,
    WriteExternalEeprom = 50,

    Booster = 51 ///< cuts the doubler; drives the booster on boards that have one
};
} // namespace command
