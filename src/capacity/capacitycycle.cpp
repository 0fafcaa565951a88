// SPDX-License-Identifier: GPL-3.0-or-later
// The measurement itself, as one coroutine. The battery is always measured with the outputs idle, and no phase is left
// with an output on.

#include "base/messages.h"
#include "base/number.h"
#include "base/paint.h"
#include "base/title.h"
#include "link/measurement.h"
#include "link/quantity.h"
#include "mescapa.h"
#include "runs/chargerules.h"
#include "runs/runnote.h"

#include <algorithm>

using namespace measurement;

namespace {
constexpr int phaseTickMs = 2000;
constexpr int shortTickMs = 1000;
constexpr double tickSeconds = 2; // what a tick of a phase counts for

constexpr int rampSteps = 60;
constexpr double rampFactor = 12; // in the preparation the charge current counts so many times
constexpr quint8 measureSetting = 41;
constexpr quint8 leastSetting = 1;
constexpr int ticksPerResistance = 15;
constexpr double emptyCellVolts = 0.9;

const QColor lampOn(0, 255, 0);
const QColor lampOff(128, 128, 128);
const QColor lampHot(255, 0, 0);

const Outputs::Writes endSignal = {{command::Beep, 10}}; // the outputs are idle by then
} // namespace

Task<void> MesCapa::StartCycle(RunPtr run)
{
    FanOn_ = false;
    CellCount_ = number::Val(ui_.TxNbElem->text());
    const int cycles = capacity::Cycles(ui_.TxNbrCycles->text());
    now_.Phase = 1;
    ui_.Label23->setText(QStringLiteral("VDelta"));
    now_.TotalCharge = 0;
    now_.ElapsedS = 0;
    co_await ChargePhase(run);
    ShowState(QStringLiteral("Pause"));
    timerchargeur_.SetInterval(phaseTickMs);
    tick_.Clear();

    for (int cycle = 1; cycle <= cycles; ++cycle) {
        co_await Pause(run);
        if (cycle == cycles) {
            run->log.emplace();
            FollowLog(*run);
        }
        now_.Phase = 2;
        ui_.Label23->setText(QStringLiteral("VUnité"));
        now_.TotalCharge = 0;
        now_.TotalDischarge = 0;
        now_.ElapsedS = 0;
        co_await DischargePhase(run);
        if (run->log)
            run->log->EndDischarge();
        else
            messages::Show(this, QMessageBox::Warning, title::Of(*this),
                           FileError(QStringLiteral("fichier de résultat"),
                                     QStringLiteral("il n'est ouvert que pour le dernier cycle"))
                               .Text());
        now_.Phase = 1;
        ui_.Label23->setText(QStringLiteral("VDelta"));
        co_await Pause(run);
        now_.TotalCharge = 0;
        now_.ElapsedS = 0;
        co_await ChargePhase(run);
    }
    ShowState(QStringLiteral("Fin du Processus"));
    if (run->log) { // stopped at this very moment, it is closed
        run->log->EndRun();
        FollowLog(*run);
    }
    run->log.reset();
    Task<void> ending = Told(run, link_.outputs.End(run->outputs, endSignal));
    co_await ending;
}

QString MesCapa::Settings() const
{
    const int cycles = capacity::Cycles(ui_.TxNbrCycles->text());
    return QStringLiteral("%1 éléments, %2 %3")
        .arg(number::Val(ui_.TxNbElem->text()))
        .arg(cycles)
        .arg(cycles == 1 ? QStringLiteral("cycle") : QStringLiteral("cycles"));
}

/// Two minutes in one-second ticks. The tick flag that a charge leaves set makes the first of them end at once.
Task<void> MesCapa::Pause(RunPtr run)
{
    BeginPhase(QStringLiteral("Pause"));
    now_.ElapsedS = 0;
    timerchargeur_.SetInterval(shortTickMs);
    for (int k = 0; k < capacity::pauseSeconds; ++k) {
        co_await WaitTick(run, NoRefresh);
        ShowState(capacity::Countdown(k));
        tick_.Clear();
        timerchargeur_.SetEnabled(true);
    }
    timerchargeur_.SetInterval(phaseTickMs);
}

Task<void> MesCapa::ChargePhase(RunPtr run)
{
    now_.TotalCharge = 0;
    now_.Phase = 1;
    co_await PhaseReset(run);
    if (run->FirstCharge) {
        co_await PrepareChargeDischarge(run);
        run->FirstCharge = false;
    }
    int offset = 0;
    const bool placed = co_await PlaceDelta(run, offset);
    if (!placed) {
        ShowState(QStringLiteral("Probleme V Delta"));
        timerchargeur_.SetInterval(phaseTickMs);
        tick_.Clear();
        co_await WaitTick(run, NoRefresh); // so that it can be read
        tick_.Clear();
        co_return;
    }

    co_await RestoreSetting(run, command::ChargeSetting, 0);
    ShowState(QStringLiteral("Charge"));
    BeginPhase(ui_.LbEtat->text());
    capacity::DeltaFall delta;
    DeltaSaturation saturation;
    timerchargeur_.SetInterval(phaseTickMs);
    tick_.Clear();
    bool done = false;
    while (!done) {
        co_await SetOutputs(run, charge);
        tick_.Clear();
        co_await WaitTick(run, InPhase);
        ReadingsDue_ = true;
        now_.ElapsedS += tickSeconds;
        co_await SetOutputs(run, idle);
        co_await MeasureBattery(run);
        ShowSaturation(saturation.Add(now_.VDeltaCount));
        KeepLimits(*run); // before a hold
        co_await CheckTemperature(run);
        WriteRecord(*run);
        if (now_.VDeltaCount > capacity::highestDeltaCount) {
            offset = capacity::LoweredOffset(offset);
            co_await WriteOf(run, command::DeltaOffset, static_cast<quint8>(offset));
            delta.Restart();
            now_.VDeltaCount = 10;
        }
        done = delta.Add(now_.VDeltaCount);
    }
}

/// Brings the delta count above 700: by the first offset upwards, else by the second one downwards. Each is moved once
/// more after the count has got there, so that a place found at the very end of an offset counts as none.
Task<bool> MesCapa::PlaceDelta(RunPtr run, int &offset)
{
    ShowState(QStringLiteral("Reglage Delta"));
    BeginPhase(ui_.LbEtat->text());
    offset = 0;
    int second = 255;
    co_await WriteOf(run, command::DeltaOffset, static_cast<quint8>(offset));
    co_await WriteOf(run, command::DeltaGain, static_cast<quint8>(second));
    co_await SetOutputs(run, idle);
    bool done = false;
    bool fail = false;
    while (!done) {
        co_await MeasureBattery(run);
        done = now_.VDeltaCount > capacity::placedDeltaCount;
        offset += 10;
        co_await WriteOf(run, command::DeltaOffset, static_cast<quint8>(offset));
        ui_.LbCadVDelta->setText(number::Str(now_.VDeltaCount));
        if (offset > 245)
            fail = done = true;
    }
    if (!fail)
        co_return true;
    fail = done = false;
    while (!done) {
        co_await MeasureBattery(run);
        done = now_.VDeltaCount > capacity::placedDeltaCount;
        second -= 10;
        co_await WriteOf(run, command::DeltaGain, static_cast<quint8>(second));
        ui_.LbCadVDelta->setText(number::Str(now_.VDeltaCount));
        if (second < 10)
            fail = done = true;
    }
    co_return !fail;
}

/// Ramps the charge current up for a minute, before the first charge of a measurement.
Task<void> MesCapa::PrepareChargeDischarge(RunPtr run)
{
    ShowState(QStringLiteral("Preparation Ch/Decharge"));
    BeginPhase(ui_.LbEtat->text());
    quint8 setting = 1;
    co_await SetOutputs(run, charge);
    ReadingsDue_ = true;
    for (int i = 1; i <= rampSteps; i += 2) {
        co_await WriteOf(run, command::ChargeSetting, setting);
        tick_.Clear();
        timerchargeur_.SetInterval(phaseTickMs);
        co_await WaitTick(run, InPreparation);
        KeepLimits(*run);
        ReadingsDue_ = true;
        timerchargeur_.SetEnabled(false);
        ++setting;
    }
    co_await SetOutputs(run, idle);
    timerchargeur_.SetEnabled(false);
    timerchargeur_.SetInterval(phaseTickMs);
}

Task<void> MesCapa::DischargePhase(RunPtr run)
{
    now_.TotalDischarge = 0;
    now_.TotalCharge = 0;
    now_.Phase = 2;
    co_await PhaseReset(run);
    ShowState(QStringLiteral("Decharge"));
    BeginPhase(ui_.LbEtat->text());
    tick_.Clear();
    timerchargeur_.SetInterval(phaseTickMs);
    co_await SetOutputs(run, idle);
    co_await MeasureBattery(run);
    co_await WriteOf(run, command::ChargeSetting, 0);
    int counter = ticksPerResistance - 1;
    while (now_.VCell > emptyCellVolts) {
        ReadingsDue_ = true;
        timerchargeur_.SetEnabled(true);
        if (++counter == ticksPerResistance) {
            now_.Resistance = co_await MeasureResistance(run);
            counter = 0;
        }
        co_await SetOutputs(run, discharge);
        co_await WaitTick(run, InPhase);
        tick_.Clear();
        co_await SetOutputs(run, idle);
        now_.ElapsedS += tickSeconds;
        co_await MeasureBattery(run);
        KeepLimits(*run);
        WriteRecord(*run);
        co_await CheckTemperature(run);
    }
}

Task<void> MesCapa::MeasureBattery(RunPtr run)
{
    co_await SetOutputs(run, idle);
    now_.VBatCount = co_await ReadCount(run, command::BatteryVoltage);
    now_.VBattery = CadBatteryVolts(link_, now_.VBatCount);
    now_.VDeltaCount = co_await ReadCount(run, command::DeltaVoltage);
    now_.VCell = capacity::CellVolts(now_.VBattery, CellCount_);
}

/// The difference between the battery's voltage at a high discharge setting and at the least one.
Task<qint16> MesCapa::MeasureResistance(RunPtr run)
{
    const Reply unclearedFrame{.until = quint8(27), .length = 3, .clearFirst = false};
    const QString state = ui_.LbEtat->text();
    ShowState(QStringLiteral("Mesure Resistance"));
    co_await WriteOf(run, command::DischargeSetting, measureSetting);
    co_await SetOutputs(run, discharge);
    tick_.Clear();
    timerchargeur_.SetInterval(shortTickMs);
    co_await WaitTick(run, NoRefresh);
    const int loaded = co_await ReadCount(run, command::BatteryVoltage, unclearedFrame);
    const double loadedVolts = CadBatteryVolts(link_, loaded);
    co_await WriteOf(run, command::DischargeSetting, leastSetting);
    const int unloaded = co_await ReadCount(run, command::BatteryVoltage, unclearedFrame);
    const double unloadedVolts = CadBatteryVolts(link_, unloaded);
    const qint16 resistance = capacity::Resistance(loadedVolts, unloadedVolts);
    ShowState(state);
    co_await SetOutputs(run, idle);
    if (now_.Phase == 1)
        co_await RestoreSetting(run, command::ChargeSetting, 0);
    else
        co_await RestoreSetting(run, command::DischargeSetting, 1);
    timerchargeur_.SetInterval(phaseTickMs);
    co_return resistance;
}

Task<void> MesCapa::UpdateReadings(RunPtr run, Refresh mode)
{
    Task<QByteArray> clock = Ask(run, Request(command::Clock), Reply::Framed(3), {});
    const QByteArray time = co_await clock;
    QLabel *const fields[] = {ui_.LbH, ui_.LbM, ui_.LbS};
    for (int i = 0; i < 3; ++i)
        fields[i]->setText(ClockText(static_cast<quint8>(time[i])));

    const int supply = co_await ReadCount(run, command::SupplyVoltage);
    Quantity::supply.Show(link_, supply, ui_.LbCadAlim, ui_.LbVAlim);
    const int doubler = co_await ReadCount(run, command::DoublerVoltage);
    Quantity::doubler.Show(link_, doubler, ui_.LbCadDbl, ui_.LbVDbl);
    const int temperature = co_await ReadCount(run, command::SystemTemperature);
    ShowTemperature(temperature);

    const int chargeCount = co_await ReadCount(run, command::ChargeCurrent);
    now_.ICharge = Quantity::chargeCurrent.Show(link_, chargeCount, ui_.LCadIchrg, ui_.LbIchrg).value_or(now_.ICharge);
    if (now_.Phase == 1)
        now_.TotalCharge += (mode == InPreparation ? rampFactor : tickSeconds) * now_.ICharge;
    const int dischargeCount = co_await ReadCount(run, command::DischargeCurrent);
    now_.IDischarge =
        Quantity::dischargeCurrent.Show(link_, dischargeCount, ui_.LbCadIDech, ui_.LbIDech).value_or(now_.IDischarge);
    if (now_.Phase == 2)
        now_.TotalDischarge += tickSeconds * now_.IDischarge;

    const auto total = [](const QString &name, double ampereSeconds) {
        return name + number::Str(capacity::MilliampereHours(ampereSeconds)) + QStringLiteral("mAh");
    };
    ui_.LbICTot->setText(total(QStringLiteral("C "), now_.TotalCharge));
    ui_.LbIDTot->setText(total(QStringLiteral("D "), now_.TotalDischarge));
    ui_.LbCadVbat->setText(number::Str(now_.VBatCount));
    ui_.LbVbat->setText(number::Str(now_.VBattery) + u'V');
    ui_.LbCadVDelta->setText(number::Str(now_.Phase == 1 ? now_.VDeltaCount : now_.VCell));
    freshness_.Read();
    ui_.LbRchrg->setText(number::Str(now_.Resistance) + QStringLiteral(" mR"));
}

void MesCapa::ShowTemperature(int count)
{
    now_.Temperature = Quantity::temperature.Show(link_, count, ui_.LbCadTemp, ui_.LbTemp).value_or(now_.Temperature);
}

/// The fan, and above 90 degrees a hold until the board has cooled down. The outputs are idle meanwhile: whoever calls
/// this has just set them so.
Task<void> MesCapa::CheckTemperature(RunPtr run)
{
    if (capacity::FanNeeded(now_.Temperature) && !FanOn_) {
        co_await WriteOf(run, command::Fan, 1);
        FanOn_ = true;
        paint::Lamp(ui_.Dspvent, lampOn);
    }
    if (capacity::FanNoLongerNeeded(now_.Temperature) && FanOn_) {
        co_await WriteOf(run, command::Fan, 0);
        FanOn_ = false;
        paint::Lamp(ui_.Dspvent, lampOff);
    }
    if (!capacity::Overheated(now_.Temperature))
        co_return;
    const Reply noFourthByte{.until = quint8(27), .length = 2, .spare = 1};
    const QString state = ui_.LbEtat->text();
    ShowState(QStringLiteral("!! Surchauffe !!"));
    paint::Lamp(ui_.Dspvent, lampHot);
    do {
        const int count = co_await ReadCount(run, command::SystemTemperature, noFourthByte);
        ShowTemperature(count);
        ShowDuration();
    } while (!capacity::CooledDown(now_.Temperature));
    ShowState(state);
}

Task<void> MesCapa::SetOutputs(RunPtr run, Writes pattern)
{
    for (const Outputs::Write &write : pattern)
        co_await WriteOf(run, write.reg, write.value);
    ShowOutputs(pattern);
}

Task<void> MesCapa::PhaseReset(RunPtr run)
{
    Task<QByteArray> exchange = Ask(run, Request(command::BeginPhase, 0, 0, 0), Reply::Acknowledge(), {});
    co_await exchange;
}

/// One line a tick, in both phases, while the result file is open.
void MesCapa::WriteRecord(Run &run)
{
    if (run.log) {
        run.log->Write(now_);
        FollowLog(run);
    }
    Tell();
    Q_EMIT Measured(now_);
}

void MesCapa::Tell()
{
    const bool charging = now_.Phase == 1;
    RunPoint point;
    point.volts = now_.VBattery;
    point.amperes = charging ? now_.ICharge : -now_.IDischarge;
    point.milliampereHours = capacity::MilliampereHours(charging ? now_.TotalCharge : now_.TotalDischarge);
    point.currentKnown = (charging ? Quantity::chargeCurrent : Quantity::dischargeCurrent).calibrated(link_);
    if (Quantity::temperature.calibrated(link_))
        point.temperature = now_.Temperature;
    if (charging)
        point.delta = now_.VDeltaCount;
    point.resistance = now_.Resistance;
    news_.Tell(point);
}

/// One that was removed goes on somewhere else.
void MesCapa::FollowLog(const Run &run)
{
    resultPath_ = run.log->Path();
    run.outputs->note = runnote::PathOf(resultPath_);
    news_.SetLog(resultPath_);
}

/// Ends the measurement when its tick has reached a limit of the user's, once the tick is recorded.
void MesCapa::KeepLimits(Run &run)
{
    const double total = now_.Phase == 1 ? now_.TotalCharge : now_.TotalDischarge;
    const QString cause = ui_.securites->Reached(now_.Temperature, PhaseSeconds(), capacity::MilliampereHours(total));
    if (cause.isEmpty())
        return;
    WriteRecord(run);
    StopFor(cause);
    throw NotWanted();
}

// ---- the steps of all this

/// Lets the timer tick once. Readings that are due are refreshed in the meantime, once.
Task<void> MesCapa::WaitTick(RunPtr run, Refresh refresh)
{
    if (!run->wanted)
        throw NotWanted();
    if (!tick_.IsSet() && !timerchargeur_.Enabled())
        timerchargeur_.SetEnabled(true);
    if (refresh != NoRefresh && ReadingsDue_) {
        co_await UpdateReadings(run, refresh);
        ReadingsDue_ = false;
    }
    while (!tick_.IsSet()) {
        co_await tick_;
        if (!run->wanted)
            throw NotWanted();
    }
}

/// Every exchange of the measurement. Once the measurement is no longer wanted nothing more is sent. `valid`, asked
/// when the line is ours, may call this one off: then the answer is empty.
Task<QByteArray> MesCapa::Ask(RunPtr run, QByteArray request, Reply reply, std::function<bool()> valid)
{
    const Wanted wanted = [run, valid] { return run->wanted && (!valid || valid()); };
    Task<QByteArray> exchange = link_.Exchange(request, reply, wanted);
    QByteArray answer;
    try {
        answer = co_await exchange;
    } catch (const PortClosed &) {
        if (run->wanted)
            throw;
    }
    CheckWanted(run);
    co_return answer;
}

/// After each exchange: the measurement goes on, or unwinds when it was ended in its middle.
void MesCapa::CheckWanted(const RunPtr &run)
{
    if (run->wanted) {
        watch_.GotOn();
        return;
    }
    link_.outputs.StepOver(run->outputs);
    throw NotWanted();
}

Task<int> MesCapa::ReadCount(RunPtr run, quint8 channel, Reply reply)
{
    Task<QByteArray> exchange = Ask(run, Request(channel), reply, {});
    const QByteArray bytes = co_await exchange;
    co_return Count(static_cast<quint8>(bytes[0]), static_cast<quint8>(bytes[1]), channel);
}

Task<void> MesCapa::WriteOf(RunPtr run, quint8 reg, quint8 value)
{
    const Wanted wanted = [run] { return run->wanted; };
    Task<void> sending = Told(run, link_.outputs.Send(run->outputs, reg, value, wanted));
    co_await sending;
}

/// Goes on when what is sent for the measurement has reached the board.
Task<void> MesCapa::Told(RunPtr run, Task<void> sending)
{
    try {
        co_await sending;
    } catch (const PortClosed &) {
        if (run->wanted)
            throw;
    }
    CheckWanted(run);
}

/// Sends the setting of a slider as it is when the line is ours: a move may go first.
Task<void> MesCapa::RestoreSetting(RunPtr run, quint8 reg, int slider)
{
    QByteArray answer;
    while (answer.isEmpty()) {
        const quint8 value = settings_[slider];
        const Wanted unmoved = [this, slider, value] { return settings_[slider] == value; };
        Task<QByteArray> exchange = Ask(run, Request(reg, value), Reply::Acknowledge(), unmoved);
        answer = co_await exchange;
    }
}
