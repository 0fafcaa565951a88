// SPDX-License-Identifier: GPL-3.0-or-later
#include "chargeur.h"

#include "base/number.h"
#include "base/tone.h"
#include "link/measurement.h"
#include "link/settingbox.h"

using namespace measurement;

namespace {
constexpr int settleMs = 5;
constexpr quint8 startDischargeSetting = 35;
} // namespace

Chargeur::Chargeur(Codebas &link)
    : RunWindow(
          QStringLiteral("Chargeur"), link,
          {RunNews::Kind::Charge,
           QStringLiteral("Une charge"),
           RunLog::chargePrefix,
           RunLog::chargeHeader,
           QStringLiteral("CHARGE"),
           QStringLiteral("charge"),
           Quantity::chargeCurrent,
           {{command::GroundBattery, 0},
            {command::CutDischarge, 0},
            {command::CutPower, 1},
            {command::CutCharge, 1},
            {command::DischargeSetting, startDischargeSetting}},
           {{command::CutPower, 0}, {command::CutCharge, 0}},
           {{command::CutCharge, 0}, {command::CutPower, 0}, {command::GroundBattery, 1}},
           // The battery is measured over the discharge path, in a step that may be stopped right then.
           {{command::CutCharge, 0}, {command::CutPower, 0}, {command::GroundBattery, 1}, {command::CutDischarge, 0}}},
          settleMs)
{
    ui_.setupUi(this);
    RememberDesign();
    ui_.CbReprendre->Keep(new SettingBox(ui_.Slider1, link, SettingBox::Amperes(link, 4)), QStringLiteral("%1"));
    ui_.CbReprendre->Keep(ui_.Text1, QStringLiteral("MODE %1"));
    for (QSlider *trim : {ui_.Slider2, ui_.Slider3})
        new SettingBox(trim, link, {}, [this] { return StopMode_; });
    SetPanel({ui_.Label1, ui_.Label2, ui_.Label3, ui_.Label18, ui_.Label4, ui_.Label6, ui_.Label5, ui_.Label7,
              ui_.Label8, ui_.Label9, ui_.Label29, ui_.securites, ui_.CBStop, ui_.releves, ui_.temoin,
              ui_.CbReprendre});
    SetReadings(
        {ui_.Label10, ui_.Label11, ui_.Label16, ui_.Label17, ui_.Label21, ui_.Label22, ui_.Label33, ui_.Label34});
    SetTone(*ui_.saturation, Tone::Danger);
    ui_.Check1->setAttribute(Qt::WA_TransparentForMouseEvents); // an indicator
    OnClick(ui_.CBstart, &Chargeur::CBstart_Click);
    OnClick(ui_.CBStop, &Chargeur::CBStop_Click);
    connect(ui_.CQuitter, &QPushButton::clicked, this, &Chargeur::CQuitter_Click);
    connect(ui_.Slider1, &QSlider::valueChanged, this, [this](int value) { Start(Slider1_Change(value)); });
    connect(ui_.Slider2, &QSlider::valueChanged, this, [this](int value) { Start(Slider2_Change(value)); });
    connect(ui_.Slider3, &QSlider::valueChanged, this, [this](int value) { Start(Slider3_Change(value)); });
    connect(&timerch2_, &Timer::Tick, this, [this] { settleDone_.Set(); });
    connect(this, &RunWindow::Ended, this, [this] { ShowSaturation(false); });
    connect(this, &RunWindow::Stopped, this, [this] { ShowSaturation(false); });
}

void Chargeur::Load()
{
    RunWindow::Load();
    Centre();
    for (QSlider *slider : {ui_.Slider1, ui_.Slider2, ui_.Slider3}) {
        slider->setMaximum(255);
        slider->setMinimum(0);
    }
    settleDone_.Clear();
    StopMode_ = true;
}

void Chargeur::Leave(bool running)
{
    if (running)
        link_.outputs.Leave(Switched());
}

Chargeur::RunPtr Chargeur::NewRun()
{
    const auto charge = std::make_shared<Charge>();
    charge->RestMode = number::ToByte(number::Val(ui_.Text1->text()), QStringLiteral("MODE"));
    if (const Charge *former = Current())
        charge->Rise = former->Rise;
    charge->Rise.Restart();
    ShowSaturation(false);
    ShowIndicator(charge->Rise.Indicator());
    StopMode_ = false;
    return charge;
}

QString Chargeur::Settings(const Run &run) const
{
    return QStringLiteral("MODE %1%2")
        .arg(static_cast<const Charge &>(run).RestMode)
        .arg(SettingText(ui_.Slider1->value(), link_.SlaveEeprom[4]));
}

void Chargeur::ShowStopped(const QString &cause)
{
    StopMode_ = true;
    RunWindow::ShowStopped(cause);
}

// ---- settings

Task<void> Chargeur::Slider1_Change(int value)
{
    const Wanted wanted = sliderMoves_[0].Next();
    const int scale = link_.SlaveEeprom[4];
    if (scale != 0)
        ui_.Label12->setText(QStringLiteral("COURANT DE CHARGE =") + number::Str(CurrentSettingAmps(value, scale)) +
                             QStringLiteral(" A"));
    ResetPeak();
    // While the line is busy moves pile up, and the last one goes first: those before it are void then.
    co_await WriteRegister(link_, command::ChargeSetting, static_cast<quint8>(value), wanted);
    ResetPeak();
}

void Chargeur::ResetPeak()
{
    if (Charge *charge = Current())
        charge->Peak.Reset();
}

Task<void> Chargeur::Slider2_Change(int value)
{
    if (!StopMode_)
        co_return;
    const Wanted wanted = sliderMoves_[1].Next();
    co_await WriteRegister(link_, command::DeltaOffset, static_cast<quint8>(value), wanted);
    if (!wanted())
        co_return;
    ui_.Label26->setText(number::Str(value));
    co_await StopModeStep();
}

Task<void> Chargeur::Slider3_Change(int value)
{
    if (!StopMode_)
        co_return;
    const Wanted wanted = sliderMoves_[2].Next();
    co_await WriteRegister(link_, command::DeltaGain, static_cast<quint8>(value), wanted);
    if (wanted())
        co_await StopModeStep();
}

/// Reads the delta channel with the battery grounded, so that the trims can be set before a run.
Task<void> Chargeur::StopModeStep()
{
    const Wanted wanted = [this] { return StopMode_; };
    co_await WriteRegister(link_, command::GroundBattery, 1, wanted);
    if (!wanted())
        co_return; // a run has started: the line is its own
    const int count = co_await ReadChannel(link_, command::DeltaVoltage);
    ui_.Label21->setText(number::Str(count));
    co_await WriteRegister(link_, command::GroundBattery, 0, wanted);
}

// ---- the step

Task<bool> Chargeur::Step(RunPtr run)
{
    Charge &charge = static_cast<Charge &>(*run);
    co_await ReadElapsed(run);
    co_await ReadSupplies();

    co_await ReadCurrent(ui_.Label10, ui_.Label11);
    AddCapacity(charge);

    co_await MeasureBattery(run, charge.RestMode);
    if (charge.Rise.Add(read_.batteryCount, charge.ElapsedSeconds))
        ShowRise(charge.Rise);

    charge.deltaCount = co_await ReadChannel(link_, command::DeltaVoltage);
    ui_.Label21->setText(number::Str(charge.deltaCount));
    const bool full = charge.Peak.Add(charge.deltaCount);
    ui_.Label22->setText(number::Str(charge.Peak.Highest()));
    ShowSaturation(charge.Saturation.Add(charge.deltaCount) && charge.phase == Phase::Running);
    if (full && charge.phase == Phase::Running)
        ShowState(QStringLiteral("Charge Terminée"));

    co_await WriteOf(run, command::GroundBattery, 0);
    co_await WriteOf(run, command::CutPower, 1);
    co_await WriteOf(run, command::CutCharge, 1);
    co_return full;
}

/// In mode 0 the battery is measured with the charge interrupted, after a settling pause.
Task<void> Chargeur::MeasureBattery(RunPtr run, int restMode)
{
    if (restMode == 0) {
        co_await WriteOf(run, command::CutCharge, 0);
        co_await WriteOf(run, command::CutPower, 0);
        co_await WriteOf(run, command::GroundBattery, 1);
        co_await WriteOf(run, command::CutDischarge, 1);
        settleDone_.Clear();
    }
    if (run->phase == Phase::Running) { // stopped or left: there is nothing to wait for
        timerch2_.SetInterval(settleMs);
        timerch2_.SetEnabled(true);
        co_await settleDone_; // in the other modes it is set since the first step, and there is no pause
        timerch2_.SetEnabled(false);
    }
    co_await WriteOf(run, command::CutDischarge, 0);
    read_.batteryCount = co_await ReadChannel(link_, command::BatteryVoltage);
    ui_.Label16->setText(number::Str(read_.batteryCount));
    read_.batteryVolts = CadBatteryVolts(link_, read_.batteryCount);
}

// ---- display and record

void Chargeur::ShowRise(const RiseIndicator &rise)
{
    ui_.Label17->setText(number::Str(read_.batteryVolts) + u'V');
    ui_.Label33->setText(number::Str(rise.BlockRise()));
    ui_.Label34->setText(QStringLiteral("Avrg") + number::Str(rise.RiseAverage()));
    ShowIndicator(rise.Indicator());
}

void Chargeur::ShowSaturation(bool saturated)
{
    ui_.saturation->setText(saturated ? DeltaSaturation::warning : QString());
}

void Chargeur::ShowIndicator(RiseIndicator::Shown indicator)
{
    ui_.Check1->setCheckState(indicator == RiseIndicator::Set         ? Qt::Checked
                              : indicator == RiseIndicator::Suspected ? Qt::PartiallyChecked
                                                                      : Qt::Unchecked);
}

void Chargeur::WriteRecord(Run &run)
{
    const auto &charge = static_cast<Charge &>(run);
    const double milliampereHours = MilliampereHours(run);
    run.log->Write({run.ElapsedSeconds, double(read_.supplyCount), double(read_.doublerCount),
                    charge.Rise.RiseAverage(), read_.supplyVolts, double(charge.Rise.Indicator()),
                    charge.Rise.BlockRise(), read_.temperature, double(read_.currentCount), double(read_.batteryCount),
                    double(charge.deltaCount), read_.amps, read_.batteryVolts, double(charge.Peak.Highest()),
                    milliampereHours, run.ElapsedSeconds / 86400});
    RunPoint point = Point(run);
    point.delta = charge.deltaCount;
    point.deltaPeak = charge.Peak.Highest();
    news_.Tell(point);
    Q_EMIT Recorded({run.ElapsedSeconds, read_.batteryVolts, read_.amps, milliampereHours, double(charge.deltaCount)});
}
