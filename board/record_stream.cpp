// SPDX-License-Identifier: GPL-3.0-or-later
#include "record_stream.h"

#include <algorithm>
#include <cmath>

namespace Board {

namespace {

constexpr std::uint8_t lineFeed = 10;
constexpr std::uint8_t prompt = '>';
constexpr std::uint8_t separator = '=';
constexpr int mostWord = 32767;
constexpr int deltaChannel = 12;
constexpr int batteryChannel = 13;
constexpr int endFall = 10;       // counts
constexpr int blockLength = 10;   // records
constexpr double rounding = 1e-6; // s; a record that is due at a whole second shows it

void PutWord(Bytes &out, double value)
{
    const int word = static_cast<int>(std::clamp(std::round(value), 0.0, static_cast<double>(mostWord)));
    out.push_back(static_cast<std::uint8_t>(word / 256));
    out.push_back(static_cast<std::uint8_t>(word % 256));
}

bool Idle(const Lines &lines)
{
    return !lines.charge && !lines.discharge;
}

double Throughput(const Battery &pack)
{
    return pack.ChargedAmpHours() + pack.DischargedAmpHours();
}

} // namespace

void RecordStream::Begin()
{
    run_ = Run{};
    run_.beginSeconds = device_.Now();
    run_.beginAmpHours = Throughput(device_.Pack());
    Lines &lines = device_.Switches();
    run_.ownCharge = Idle(lines);
    if (run_.ownCharge)
        lines = {.charge = true, .discharge = false, .power = true, .ground = false};
}

void RecordStream::End()
{
    if (run_.ownCharge)
        device_.Switches() = Lines{};
    run_.ownCharge = false;
}

void RecordStream::Watch(int deltaCount, int batteryCount)
{
    run_.deltaPeak = std::max(run_.deltaPeak, deltaCount);
    if (deltaCount <= run_.deltaPeak - endFall)
        End();

    run_.blockSum += batteryCount;
    if (++run_.blockSamples < blockLength)
        return;
    run_.rise = run_.blocks > 0 ? std::clamp(run_.blockSum - run_.previousBlockSum, 0, 255) : 0;
    run_.previousBlockSum = run_.blockSum;
    run_.blockSum = 0;
    run_.blockSamples = 0;
    ++run_.blocks;
    run_.riseSum += run_.rise;
    run_.mostRise = std::max(run_.mostRise, run_.rise);
}

void RecordStream::Append(Bytes &out)
{
    const TrueValues values = device_.Truth();
    const int delta = device_.ReadChannelAtRest(deltaChannel);
    Watch(delta, device_.ReadChannelAtRest(batteryChannel));

    const int elapsed = static_cast<int>(std::fmod(device_.Now() - run_.beginSeconds + rounding, 86400.0));
    out.push_back(lineFeed);
    out.push_back(prompt);
    run_.sample = run_.sample % mostWord + 1;
    PutWord(out, run_.sample);
    out.push_back(static_cast<std::uint8_t>(elapsed / 3600));
    out.push_back(static_cast<std::uint8_t>(elapsed / 60 % 60));
    out.push_back(static_cast<std::uint8_t>(elapsed % 60));
    out.push_back(separator);
    PutWord(out, values.packVolts * 100);
    PutWord(out, (values.chargeAmps + values.dischargeAmps) * 1000);
    PutWord(out, values.celsius * 10);
    PutWord(out, delta);
    PutWord(out, device_.Pack().ResistanceOhms() * 1000);
    PutWord(out, (Throughput(device_.Pack()) - run_.beginAmpHours) * 1000);
    out.push_back(type_);
    out.push_back(static_cast<std::uint8_t>(run_.rise));
    PutWord(out, values.supplyVolts * 100);
    PutWord(out, values.doublerVolts * 100);
    PutWord(out, run_.blocks > 0 ? static_cast<double>(run_.riseSum) / run_.blocks : 0.0);
    PutWord(out, run_.mostRise);
}

} // namespace Board
