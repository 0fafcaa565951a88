// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "mescapa.h"
#include "runs/unattended.h"

/// What a capacity measurement that nobody watches is set to.
struct CapacityOrder
{
    int cells = 0;
    int cycles = 1;
    double chargeAmperes = 0;
    double dischargeAmperes = 0;
};

/// "--run capacity": prints the phases and a line for every `every`th tick; ends with status 1 after an error.
class UnattendedCapacity : public Unattended
{
    Q_OBJECT

public:
    UnattendedCapacity(const Codebas &link, MesCapa &window, CapacityOrder order, int every);

    void SetControls() override;

private:
    void Next();
    void PrintState(const QString &text);
    void PrintTick(const CapacityRecord &record);

    const Codebas &link_;
    MesCapa &window_;
    CapacityOrder order_;
    int every_;
    int settingsMade_ = 0;
    bool counting_ = false; ///< a pause's countdown is on
    int ticks_ = 0;
};
