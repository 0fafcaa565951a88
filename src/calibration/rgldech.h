// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "currentwindow.h"
#include "ui_rgldech.h"

/// Calibrates the measurement and the setting of the discharge current.
class RglDech : public CurrentWindow
{
    Q_OBJECT

public:
    explicit RglDech(Codebas &link);

private:
    void Btcalcul_Click();
    Task<void> Dechset_Click();
    bool Complete();

    Ui::RglDech ui_;
};
