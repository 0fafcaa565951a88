// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "rcourant.h"
#include "reglipo.h"
#include "rgldech.h"
#include "temper.h"
#include "ui_reglage.h"
#include "vfiltrage.h"
#include "vout.h"

/// The calibration menu: opens a window for each quantity that the board measures.
class Reglage : public Window
{
    Q_OBJECT

public:
    explicit Reglage(Codebas &link);

    /// Closes the windows that let a current flow, which switches it off.
    void StopCurrents();

protected:
    void Load() override;
    void closeEvent(QCloseEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void SelRegl_Click(int index);
    void Rquitter_Click();
    void CloseFour();

    Ui::Reglage ui_;
    Codebas &link_;
    bool chosen_ = false; ///< the change of the entry at hand has been seen to
    Kept<Temper> temperature_;
    Kept<Vout> batteryVoltage_;
    Kept<Vfiltrage> supplies_;
    Kept<Rcourant> charge_;
    Kept<RglDech> discharge_;
    Kept<RegLIPO> lithium_;
};
