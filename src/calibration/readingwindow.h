// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/flag.h"
#include "base/onset.h"
#include "base/opening.h"
#include "base/timer.h"
#include "calibrationwindow.h"
#include "link/freshness.h"

/// A calibration window that reads its quantity again and again while it is open.
class ReadingWindow : public CalibrationWindow
{
    Q_OBJECT

protected:
    ReadingWindow(const QString &name, Codebas &link, const QString &timerName, int intervalMs);

    /// To be called once the controls are made: where readings are shown.
    void SetReading(QWidget *reading) { freshness_.Add({reading}); }

    void Load() override;
    void closeEvent(QCloseEvent *event) override;

    /// One reading; each tick of the timer makes one, unless the one before is still under way.
    virtual Task<void> Read() = 0;

    /// What a channel says, 0 to 65535; throws Opening::Over.
    Task<int> ReadCount(quint8 channel);

    /// Waits until no reading is under way.
    Task<void> ReadingOver();

    Timer timer_;
    Opening opening_;

private:
    class Pass;
    Task<void> Tick();

    const int intervalMs_;
    bool reading_ = false;
    Flag readingOver_;
    Onset portClosed_;
    Freshness freshness_{link_, this};
};
