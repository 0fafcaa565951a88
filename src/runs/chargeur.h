// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/flag.h"
#include "base/newest.h"
#include "chargerules.h"
#include "runwindow.h"
#include "ui_chargeur.h"

/// The fast charge: the board charges, the program ends the run by the fall of the delta voltage.
class Chargeur : public RunWindow
{
    Q_OBJECT

public:
    explicit Chargeur(Codebas &link);

protected:
    void Load() override;
    RunPtr NewRun() override;
    QString Settings(const Run &run) const override;
    Task<bool> Step(RunPtr run) override;
    void WriteRecord(Run &run) override;
    void EndPause() override { settleDone_.Set(); }
    void Leave(bool running) override;
    void ShowStopped(const QString &cause) override;

private:
    struct Charge : Run
    {
        int RestMode = 0; ///< 0: the battery is measured with the charge interrupted
        DeltaPeak Peak;
        RiseIndicator Rise;
        DeltaSaturation Saturation;
        int deltaCount = 0;
    };

    /// The charge that is on screen; null before the first one.
    Charge *Current() const { return dynamic_cast<Charge *>(run_.get()); }

    Task<void> Slider1_Change(int value);
    Task<void> Slider2_Change(int value);
    Task<void> Slider3_Change(int value);

    Task<void> MeasureBattery(RunPtr run, int restMode);
    Task<void> StopModeStep();
    void ResetPeak();
    void ShowRise(const RiseIndicator &rise);
    void ShowSaturation(bool saturated);
    void ShowIndicator(RiseIndicator::Shown indicator);

    Ui::Chargeur ui_;
    Flag settleDone_;
    bool StopMode_ = true; ///< from an opening or "Arret" to the next start: the trims may be moved
    Newest sliderMoves_[3];
};
