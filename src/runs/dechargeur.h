// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/newest.h"
#include "runwindow.h"
#include "ui_dechargeur.h"

/// The discharge: the board discharges a pack of so many cells, the program ends the run below 0.5 V per cell.
class Dechargeur : public RunWindow
{
    Q_OBJECT

public:
    explicit Dechargeur(Codebas &link);

    /// Whether a battery with so many volts per cell is at its limit: below 0.5 V, judged by the tenths alone.
    static bool AtLimit(double voltsPerCell);

protected:
    void Load() override;
    RunPtr NewRun() override;
    QString Settings(const Run &run) const override;
    Task<bool> Step(RunPtr run) override;
    void WriteRecord(Run &run) override;
    void Leave(bool running) override;

private:
    struct Discharge : Run
    {
        double CellCount = 0;
        double voltsPerCell = 0;
    };

    Task<void> Slider1_Change(int value);

    Ui::Dechargeur ui_;
    Newest sliderMoves_;
};
