// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "currentwindow.h"
#include "ui_rcourant.h"

/// Calibrates the measurement and the setting of the charge current.
class Rcourant : public CurrentWindow
{
    Q_OBJECT

public:
    explicit Rcourant(Codebas &link);

private:
    void Btcalcul_Click();
    Task<void> Courset_Click();

    Ui::Rcourant ui_;
};
