// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/activation.h"
#include "base/flag.h"
#include "base/window.h"
#include "chartrules.h"
#include "link/codebas.h"
#include "link/freshness.h"
#include "monitorlog.h"

#include <memory>
#include <optional>

namespace Ui {
class Moni;
}

/// The monitor: what the board reports while it runs on its own, as a log and a live chart.
class Moni : public Window
{
    Q_OBJECT

public:
    explicit Moni(Codebas &link);
    ~Moni() override;

    /// From "Départ" to "Arrêt".
    bool MonitorRunning() const { return MonitorRunning_; }

    /// The log of the last start.
    QString LogPath() const { return logPath_; }

    /// `mayTakeLine` is asked before the window takes the line; while it says no, the line is left alone.
    void AskBefore(std::function<bool()> mayTakeLine) { mayTakeLine_ = std::move(mayTakeLine); }

    /// How many bytes wait for the next start, at most.
    static constexpr int keptBytes = 1024;

Q_SIGNALS:
    /// The window is about to switch the board to its stream and the line to the stream's speed: a greeting under way
    /// has to end.
    void TakingLine();

protected:
    void Load() override;
    void Failed(const Error &error) override;
    void Escape() override;
    void closeEvent(QCloseEvent *event) override;

private:
    void Form_Activate();
    Task<void> CbDepart_Click();
    void CbArret_Click();
    void CbQuit_Click();

    bool HasStream() const;
    Task<void> SwitchToStream();
    Task<void> HoldLine();
    Task<void> Reopen();
    void PortCut();
    void PortBack();
    void Received();
    void AbandonRecord();
    void EndHandlers();
    bool TakeByte();
    Task<void> ReadRecords();
    Task<void> ReadRecord();
    void ShowLabels();
    void ShowState();
    void ShowValues();

    Codebas &link_;
    std::unique_ptr<Ui::Moni> ui_;
    Activation activation_{this};
    bool MonitorRunning_ = false;
    ChartRules rules_;
    std::optional<MonitorLog> log_;
    QString logPath_;

    Flag news_;        ///< woken when bytes arrive, the line is ours or lost, or the run is stopped
    Flag lineGone_;    ///< set when somebody else has closed the port
    Flag readingOver_; ///< woken when the record in hand of a stopped run is over
    Stopwatch slice_;
    Alarm stateTimer_{[this] { ShowState(); }};
    std::function<bool()> mayTakeLine_;
    bool activationDue_ = false; ///< the port was lost when the window became active
    bool switching_ = false;     ///< it is us who close the port
    bool speedDue_ = false;      ///< the board was told to stream, and the line has still the speed of before
    bool holding_ = false;       ///< we have the line or wait for it
    bool hasLine_ = false;
    bool reading_ = false;
    int starts_ = 0;
    int cuts_ = 0;
    Freshness freshness_{link_, this};
};
