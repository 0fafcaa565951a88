// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "calibrationwindow.h"
#include "ui_temper.h"

/// Writes the temperature calibration and the three temperature thresholds.
class Temper : public CalibrationWindow
{
    Q_OBJECT

public:
    explicit Temper(Codebas &link);

protected:
    void ShowStored() override;

private:
    Task<void> Command2_Click();

    Ui::Temper ui_;
};
