// SPDX-License-Identifier: GPL-3.0-or-later
#include "device.h"

#include "memories.h"

#include <algorithm>
#include <cmath>

namespace Board {

namespace {

constexpr int firstSetting = 19;
constexpr int dayInSeconds = 86400;
constexpr double rounding = 1e-6; // s; a sum of exchanges that is a whole second shows it

constexpr double supplyOpenVolts = 13.8;
constexpr double supplyOhms = 0.05;
constexpr double idleSupplyAmps = 0.15;
constexpr double converterEfficiency = 0.85;
constexpr double doublerOpenVolts = 26.6; // twice the supply less two diodes
constexpr double doublerOhms = 0.25;
constexpr double diodeVolts = 0.6;
constexpr double boosterMostVolts = 35.0;
constexpr double boosterMostDuty = 0.8;
constexpr double sourceHeadroom = 0.5;      // the current source needs that much above the pack
constexpr double sinkHeadroomPerCell = 0.3; // and the sink that much below
constexpr double endOfTaper = 0.1;          // C: where a constant-voltage charge ends
constexpr double rechargeDrop = 0.10;       // V per cell below the limit at which it may begin again
constexpr double loadedStep = 1.0;          // s
constexpr double idleStep = 60.0;           // s; without a current every state follows an exact exponential
constexpr double longestChange = 48 * 3600; // s; after two days in one state only self-discharge goes on
constexpr std::uint64_t converterSeedOffset = 0xADC;
constexpr int firstSlaveChannel = 10;

// Port of command 31: the three cut lines, then the push buttons 1 to 5.
constexpr unsigned cutDischargeBit = 1;
constexpr unsigned cutChargeBit = 2;
constexpr unsigned cutPowerBit = 4;
constexpr int linePortButtons = 5;
constexpr unsigned firstButtonBit = 8;
constexpr unsigned activeLowButtons = 16 | 32 | 128;
// Port of command 28.
constexpr unsigned doublerBit = 1;
constexpr unsigned ledBit = 2;
constexpr unsigned fanBit = 32;

/// The pack whose cells are told from each other by the same seed as the noise.
PackOptions Seeded(const DeviceOptions &options)
{
    PackOptions pack = options.pack;
    pack.seed = options.seed;
    return pack;
}

} // namespace

Device::Device(const DeviceOptions &options)
    : options_(options)
    , battery_(Seeded(options))
    , frontEnd_(options.pack.chemistry, options.pack.cells, options.seed + converterSeedOffset)
    , buttons_(options.pressedButtons)
{
    Restart();
}

void Device::Restart()
{
    // The trims place a full pack at 750 (NiMH, NiCd) or at 890 (LiPo) of the delta amplifier's 1023 counts.
    const bool lithium = battery_.Preset().chargeLimitVolts > 0;
    const double capacity = options_.pack.capacityAmpHours;
    settings_ = {BirthChargeSetting(capacity), BirthDischargeSetting(capacity),
                 lithium ? std::uint8_t{10} : std::uint8_t{5}, lithium ? std::uint8_t{170} : std::uint8_t{210}};
    lines_ = Lines{};
    SetFan(false);
    led_ = false;
    doublerCut_ = false;
    taperEnded_ = false;
    boosterFrequency_ = 40;
    boosterWidth_ = 0;
    clockZero_ = now_;
}

void Device::AdvanceTo(double seconds)
{
    double left = std::min(seconds - now_, longestChange);
    const double rest = seconds - now_ - left;
    while (left > 0) {
        NoteTaper();
        const double amps = Amps();
        const double step = std::min(left, amps == 0 ? idleStep : loadedStep);
        battery_.Pass(step, benchVolts_ > 0 ? 0.0 : amps);
        left -= step;
    }
    if (rest > 0 && Amps() == 0)
        battery_.Pass(rest, 0);
    NoteTaper();
    now_ = std::max(now_, seconds);
}

double Device::PackVolts(double amps) const
{
    return benchVolts_ > 0 ? benchVolts_ : battery_.Volts(amps);
}

double Device::SourceVolts() const
{
    if (doublerCut_)
        return supplyOpenVolts - diodeVolts;
    if (!options_.booster)
        return doublerOpenVolts;
    const double duty = std::clamp(boosterWidth_ / (4.0 * boosterFrequency_), 0.0, boosterMostDuty);
    return std::min(boosterMostVolts, supplyOpenVolts / (1.0 - duty) - diodeVolts);
}

double Device::TaperAmps() const
{
    const double limit = battery_.Preset().chargeLimitVolts * battery_.Cells();
    return std::max(0.0, (limit - battery_.Volts(0)) / battery_.ResistanceOhms());
}

void Device::NoteTaper()
{
    const CellPreset &preset = battery_.Preset();
    if (preset.chargeLimitVolts <= 0)
        return;
    if (battery_.Volts(0) < (preset.chargeLimitVolts - rechargeDrop) * battery_.Cells())
        taperEnded_ = false;
    else if (ChargeAmps() > 0 && ChargeAmps() <= endOfTaper * options_.pack.capacityAmpHours &&
             TaperAmps() <= ChargeAmps())
        taperEnded_ = true;
}

double Device::ChargeAmps() const
{
    if (!options_.slave || !lines_.charge || !lines_.power || lines_.discharge || benchVolts_ > 0 || taperEnded_)
        return 0;
    const double headroom = (SourceVolts() - sourceHeadroom - battery_.Volts(0)) / battery_.ResistanceOhms();
    double amps = std::min(Setting(19) / frontEnd_.True().chargeScale, std::max(0.0, headroom));
    if (battery_.Preset().chargeLimitVolts > 0)
        amps = std::min(amps, TaperAmps());
    return amps;
}

double Device::DischargeAmps() const
{
    if (!options_.slave || !lines_.discharge || lines_.charge)
        return 0;
    const double wanted = Setting(20) / frontEnd_.True().dischargeScale;
    const double least = sinkHeadroomPerCell * battery_.Cells();
    if (benchVolts_ > 0)
        return benchVolts_ > least ? wanted : 0;
    if (!battery_.CanDischarge())
        return 0;
    return std::min(wanted, std::max(0.0, (battery_.Volts(0) - least) / battery_.ResistanceOhms()));
}

double Device::Amps() const
{
    return ChargeAmps() - DischargeAmps();
}

TrueValues Device::TruthAt(double amps) const
{
    TrueValues values;
    values.packVolts = PackVolts(amps);
    values.chargeAmps = std::max(0.0, amps);
    values.dischargeAmps = std::max(0.0, -amps);
    const double drawn =
        idleSupplyAmps + values.chargeAmps * values.packVolts / (converterEfficiency * supplyOpenVolts);
    values.supplyVolts = supplyOpenVolts - supplyOhms * drawn;
    values.doublerVolts = SourceVolts() - (doublerCut_ ? supplyOhms : doublerOhms) * values.chargeAmps;
    values.celsius = battery_.Celsius();
    values.inverterRuns = !doublerCut_;
    values.trimUp = Setting(21);
    values.trimDown = Setting(22);
    return values;
}

int Device::Read(int channel, double amps)
{
    return options_.slave || channel < firstSlaveChannel ? frontEnd_.Read(channel, TruthAt(amps)) : 0;
}

int Device::ReadChannel(int channel)
{
    return Read(channel, Amps());
}

int Device::ReadChannelAtRest(int channel)
{
    return Read(channel, 0);
}

std::uint8_t Device::Setting(int command) const
{
    return settings_[static_cast<std::size_t>(command - firstSetting)];
}

void Device::Set(int command, std::uint8_t value)
{
    settings_[static_cast<std::size_t>(command - firstSetting)] = value;
}

void Device::SetFan(bool on)
{
    fan_ = on;
    battery_.SetFan(on);
}

void Device::SetBooster(std::uint8_t frequency, int width)
{
    boosterFrequency_ = std::max<std::uint8_t>(frequency, 1);
    boosterWidth_ = width;
}

std::uint8_t Device::LinePort() const
{
    unsigned bits = activeLowButtons;
    for (int number = 1; number <= linePortButtons; ++number) {
        if (Pressed(number))
            bits ^= firstButtonBit << (number - 1);
    }
    bits |= (lines_.discharge ? 0 : cutDischargeBit) | (lines_.charge ? 0 : cutChargeBit) |
            (lines_.power ? 0 : cutPowerBit);
    return static_cast<std::uint8_t>(bits);
}

std::uint8_t Device::OutputPort() const
{
    return static_cast<std::uint8_t>((doublerCut_ ? doublerBit : 0) | (led_ ? ledBit : 0) | (fan_ ? fanBit : 0));
}

std::uint8_t Device::ButtonPort() const
{
    return Pressed(buttonCount) ? 0 : 1;
}

int Device::ClockSeconds() const
{
    return static_cast<int>(std::fmod(now_ - clockZero_ + rounding, dayInSeconds));
}

void Device::SetClock(int hours, int minutes, int seconds)
{
    clockZero_ = now_ - (hours * 3600 + minutes * 60 + seconds) % dayInSeconds;
}

void Device::PressButton(int number, bool down)
{
    const unsigned bit = 1u << (number - 1);
    buttons_ = down ? buttons_ | bit : buttons_ & ~bit;
}

bool Device::Pressed(int number) const
{
    return (buttons_ >> (number - 1) & 1u) != 0;
}

} // namespace Board
