// SPDX-License-Identifier: GPL-3.0-or-later
#include "dechargeur.h"

#include "base/number.h"
#include "link/measurement.h"
#include "link/settingbox.h"

using namespace measurement;

namespace {
constexpr int pauseMs = 10;
}

Dechargeur::Dechargeur(Codebas &link)
    : RunWindow(
          QStringLiteral("Dechargeur"), link,
          {RunNews::Kind::Discharge,
           QStringLiteral("Une décharge"),
           RunLog::dischargePrefix,
           RunLog::dischargeHeader,
           QStringLiteral("DECHARGE"),
           QStringLiteral("décharge"),
           Quantity::dischargeCurrent,
           {{command::CutCharge, 0}, {command::CutPower, 0}, {command::CutDischarge, 1}, {command::GroundBattery, 1}},
           {{command::CutDischarge, 0}, {command::CutPower, 0}, {command::GroundBattery, 1}},
           {{command::CutDischarge, 0}, {command::CutPower, 0}, {command::GroundBattery, 1}},
           {{command::CutDischarge, 0}}},
          pauseMs)
{
    ui_.setupUi(this);
    RememberDesign();
    ui_.CbReprendre->Keep(new SettingBox(ui_.Slider1, link, SettingBox::Amperes(link, 5)), QStringLiteral("%1"));
    ui_.CbReprendre->Keep(ui_.Text1, QStringLiteral("%1 éléments"));
    SetPanel({ui_.Label1, ui_.Label2, ui_.Label3, ui_.Label18, ui_.Label4, ui_.Label6, ui_.Label5, ui_.Label7,
              ui_.Label8, ui_.Label9, ui_.Label29, ui_.securites, ui_.CBStop, ui_.releves, ui_.temoin,
              ui_.CbReprendre});
    SetReadings({ui_.Label10, ui_.Label11, ui_.Label16, ui_.Label17, ui_.Label26});
    OnClick(ui_.CBstart, &Dechargeur::CBstart_Click);
    OnClick(ui_.CBStop, &Dechargeur::CBStop_Click);
    connect(ui_.CQuitter, &QPushButton::clicked, this, &Dechargeur::CQuitter_Click);
    connect(ui_.Slider1, &QSlider::valueChanged, this, [this](int value) { Start(Slider1_Change(value)); });
}

void Dechargeur::Load()
{
    move(static_cast<int>(link_.MainLeft), static_cast<int>(link_.MainTop));
    ui_.Slider1->setMaximum(255);
    ui_.Slider1->setMinimum(0);
    RunWindow::Load();
}

bool Dechargeur::AtLimit(double voltsPerCell)
{
    return number::Int(10 * voltsPerCell) < 5;
}

Dechargeur::RunPtr Dechargeur::NewRun()
{
    const auto discharge = std::make_shared<Discharge>();
    discharge->CellCount = number::Val(ui_.Text1->text());
    return discharge;
}

QString Dechargeur::Settings(const Run &run) const
{
    return QStringLiteral("%1 éléments%2")
        .arg(static_cast<const Discharge &>(run).CellCount)
        .arg(SettingText(ui_.Slider1->value(), link_.SlaveEeprom[5]));
}

/// The acknowledgement is not waited for: the user is gone.
void Dechargeur::Leave(bool)
{
    link_.outputs.EndNow(Switched(), {{command::CutDischarge, 0}});
}

Task<void> Dechargeur::Slider1_Change(int value)
{
    const Wanted wanted = sliderMoves_.Next();
    const int scale = link_.SlaveEeprom[5];
    if (scale != 0)
        ui_.Label12->setText(QStringLiteral("COURANT DE DECHARGE =") + number::Str(CurrentSettingAmps(value, scale)) +
                             QStringLiteral(" A"));
    co_await WriteRegister(link_, command::DischargeSetting, static_cast<quint8>(value), wanted);
}

Task<bool> Dechargeur::Step(RunPtr run)
{
    Discharge &discharge = static_cast<Discharge &>(*run);
    co_await ReadElapsed(run);
    co_await ReadSupplies();

    co_await ReadCurrent(ui_.Label10, ui_.Label11);
    AddCapacity(discharge);

    co_await WriteOf(run, command::CutDischarge, 0);
    // Unlike the charge, the discharge is not given time to settle.
    read_.batteryCount = co_await ReadChannel(link_, command::BatteryVoltage);
    ui_.Label16->setText(number::Str(read_.batteryCount));
    read_.batteryVolts = CadBatteryVolts(link_, read_.batteryCount);
    ui_.Label17->setText(number::Str(read_.batteryVolts) + u'V');
    discharge.voltsPerCell = number::Int(number::Divide(1000 * read_.batteryVolts, discharge.CellCount,
                                                        QStringLiteral("nombre d'éléments"))) /
                             1000;
    ui_.Label26->setText(number::Str(discharge.voltsPerCell));
    co_await WriteOf(run, command::CutDischarge, 1);
    const bool atLimit = AtLimit(discharge.voltsPerCell);
    if (atLimit && run->phase == Phase::Running)
        ShowState(QStringLiteral("Limite Dech."));
    co_return atLimit;
}

void Dechargeur::WriteRecord(Run &run)
{
    const auto &discharge = static_cast<Discharge &>(run);
    const double milliampereHours = MilliampereHours(run);
    run.log->Write({run.ElapsedSeconds, double(read_.supplyCount), double(read_.doublerCount),
                    double(read_.temperatureCount), read_.supplyVolts, read_.doublerVolts, read_.temperature,
                    double(read_.currentCount), double(read_.batteryCount), read_.amps, read_.batteryVolts,
                    milliampereHours, run.ElapsedSeconds / 86400});
    RunPoint point = Point(run);
    point.amperes = -point.amperes;
    news_.Tell(point);
    Q_EMIT Recorded({run.ElapsedSeconds, read_.batteryVolts, read_.amps, milliampereHours, discharge.voltsPerCell});
}
