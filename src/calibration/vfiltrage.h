// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "readingwindow.h"
#include "ui_vfiltrage.h"

/// Calibrates the measurements of the supply voltage and of the doubler's.
class Vfiltrage : public ReadingWindow
{
    Q_OBJECT

public:
    explicit Vfiltrage(Codebas &link);

protected:
    void Load() override;
    void ShowStored() override;
    Task<void> Read() override;

private:
    void TxValim_Change();
    void TxVdbl_Change();
    Task<void> Cbset_Click();

    Task<void> WriteCorrection(double value, quint8 address, QString where, std::function<bool()> wanted);

    Ui::Vfiltrage ui_;
    int CadAlim = 0; ///< the last counts; 0 until the first reading
    int CadDbl = 0;
};
