// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "readingwindow.h"
#include "ui_vout.h"

/// Calibrates the measurement of the battery voltage.
class Vout : public ReadingWindow
{
    Q_OBJECT

public:
    explicit Vout(Codebas &link);

protected:
    void Load() override;
    void closeEvent(QCloseEvent *event) override;
    void ShowStored() override;
    Task<void> Read() override;

private:
    void RegVText2_Change();
    Task<void> CdsetVout_Click();
    void CBQvout_Click();

    Ui::Vout ui_;
    Outputs::RunPtr lines_; ///< that the window lets through, and leaves so
    int MeasVout = 0;       ///< the last mean count; 0 until the first reading
};
