// SPDX-License-Identifier: GPL-3.0-or-later
#include "status_text.h"

#include <cstdio>
#include <string_view>

namespace Board {

namespace {

void Put(std::string &text, std::string_view name, double value)
{
    char number[64];
    std::snprintf(number, sizeof number, " %.5f\n", value);
    text.append(name).append(number);
}

void PutWhole(std::string &text, std::string_view name, long value)
{
    text.append(name).append(" ").append(std::to_string(value)).append("\n");
}

} // namespace

std::string StatusText(const Controller &board)
{
    const Device &device = board.Hardware();
    const TrueValues values = device.Truth();
    const Battery &pack = device.Pack();
    std::string text;
    Put(text, "pack-volts", values.packVolts);
    Put(text, "charge-amps", values.chargeAmps);
    Put(text, "discharge-amps", values.dischargeAmps);
    Put(text, "supply-volts", values.supplyVolts);
    Put(text, "doubler-volts", values.doublerVolts);
    Put(text, "temperature-celsius", values.celsius);
    Put(text, "soc-percent", pack.StateOfCharge() * 100);
    Put(text, "charged-mah", pack.ChargedAmpHours() * 1000);
    Put(text, "discharged-mah", pack.DischargedAmpHours() * 1000);
    Put(text, "resistance-milliohms", pack.ResistanceOhms() * 1000);
    PutWhole(text, "cells", pack.Cells());
    const Lines &lines = device.Switches();
    PutWhole(text, "line-15", lines.charge);
    PutWhole(text, "line-16", lines.discharge);
    PutWhole(text, "line-17", lines.power);
    PutWhole(text, "line-18", lines.ground);
    for (int command = 19; command <= 22; ++command)
        PutWhole(text, "register-" + std::to_string(command), device.Setting(command));
    PutWhole(text, "led", device.Led());
    PutWhole(text, "fan", device.Fan());
    PutWhole(text, "doubler-cut", device.DoublerCut());
    PutWhole(text, "beeps", device.Beeps());
    for (int number = 1; number <= Device::buttonCount; ++number)
        PutWhole(text, "button-" + std::to_string(number), device.Pressed(number));
    PutWhole(text, "clock-seconds", device.ClockSeconds());
    PutWhole(text, "streaming", board.Streaming());
    PutWhole(text, "commands", static_cast<long>(board.Commands()));
    return text;
}

} // namespace Board
