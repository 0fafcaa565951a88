#pragma once

#include "currentwindow.h"
#include "ui_rcourant.h"

/// Calibrates the measurement and the setting of the charge current.
class Rcourant : public CurrentWindow
{
    Q_OBJECT

public:
    Rcourant(Codebas &link, Switching &switching);

private:
    void Btcalcul_Click();
    Task<void> Courset_Click();

    Ui::Rcourant ui_;
};
