// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/flag.h"
#include "base/newest.h"
#include "base/timer.h"
#include "base/window.h"
#include "capacityfile.h"
#include "capacityrules.h"
#include "link/codebas.h"
#include "link/freshness.h"
#include "runs/awake.h"
#include "runs/runcurve.h"
#include "runs/runnews.h"
#include "runs/watch.h"
#include "ui_mescapa.h"

#include <memory>
#include <optional>

/// The capacity measurement: charges the battery, then discharges and charges it for a number of cycles, integrates the
/// currents, measures the internal resistance and writes a result file for the last cycle.
class MesCapa : public Window
{
    Q_OBJECT

public:
    explicit MesCapa(Codebas &link);

    /// The result file of the measurement, the last one if it is over; empty before its last cycle.
    QString ResultPath() const { return resultPath_; }

    /// Whether a measurement is under way.
    bool Running() const { return run_ != nullptr; }

    /// Ends a measurement that is under way as "Arret" does, and says why below its state and in a note beside the
    /// result file. Without a cause it is the user's own stop.
    void StopFor(const QString &cause);

    /// For whoever follows its measurements.
    const RunNews &News() const { return news_; }

Q_SIGNALS:
    /// The window opens: the main window's timers stop and it goes out of sight until Returning.
    void Opened();
    /// The state label shows something else.
    void StateShown(const QString &text);
    /// A slider's setting has reached the board.
    void SettingSent();
    /// A tick of a charge or a discharge is measured.
    void Measured(const CapacityRecord &record);
    /// The last cycle is over.
    void Ended(const CapacityRecord &last);
    /// The measurement is being ended for this cause.
    void Stopping(const QString &cause);
    /// "Arret" is done.
    void Stopped();
    /// An error was shown; what was under way is over, its outputs switched off.
    void Aborted();
    /// The board measures no more: the connection is wanted again, to switch off.
    void ConnectionWanted();

protected:
    void Load() override;
    void Failed(const Error &error) override;
    /// It does not leave a measurement.
    void Escape() override
    {
        if (!Running())
            close();
    }
    void closeEvent(QCloseEvent *event) override;

private:
    /// One measurement, from a start to its end. All it does checks before and after each exchange and wait that it is
    /// still wanted, and unwinds when it is not.
    struct Run
    {
        bool wanted = true;
        bool FirstCharge = true;
        std::optional<CapacityFile> log;
        Outputs::RunPtr outputs;
    };
    using RunPtr = std::shared_ptr<Run>;

    /// Thrown where a measurement goes on that is no longer wanted.
    struct NotWanted
    {
    };

    using Writes = Outputs::Writes;
    static const Writes idle;
    static const Writes charge;
    static const Writes discharge;
    static const Writes stopWrites;
    static const Writes backWrites;

    /// What a wait for the tick does about the readings: it leaves them alone, or refreshes them once and counts the
    /// charge current so many times.
    enum Refresh
    {
        NoRefresh,
        InPreparation,
        InPhase
    };

    Task<void> CBstart_Click();
    Task<void> CBStop_Click();
    Task<void> Stop(QString cause);
    Task<void> CbRetour_Click();
    Task<void> SlIChrg_Change(int value);
    Task<void> SlIDech_Change(int value);
    void Timerchargeur_Timer();

    RunPtr EndRun(RunEnd::How how, const QString &why = {});
    /// Sends OutputsIdle without waiting for the board's answers.
    void SwitchOffUnanswered();
    Task<void> SwitchOff(Writes writes);
    const Outputs::RunPtr &Switched();
    void Overdue();
    Task<void> StopsOver(RunPtr run);
    void Leave();
    void StopTimers();
    void ShowState(const QString &text);
    void BeginPhase(const QString &name);
    double PhaseSeconds() const;
    void ShowDuration();
    void ShowSaturation(bool saturated);
    void ShowOutputs(const Writes &pattern);
    void ShowTemperature(int count);
    Task<void> SendSetting(int slider, quint8 reg, int value);

    // The cycle
    Task<void> StartCycle(RunPtr run);
    Task<void> Pause(RunPtr run);
    Task<void> ChargePhase(RunPtr run);
    Task<bool> PlaceDelta(RunPtr run, int &offset);
    Task<void> PrepareChargeDischarge(RunPtr run);
    Task<void> DischargePhase(RunPtr run);
    Task<void> MeasureBattery(RunPtr run);
    Task<qint16> MeasureResistance(RunPtr run);
    Task<void> UpdateReadings(RunPtr run, Refresh mode);
    Task<void> CheckTemperature(RunPtr run);
    Task<void> SetOutputs(RunPtr run, Writes pattern);
    Task<void> PhaseReset(RunPtr run);
    QString Settings() const;
    void WriteRecord(Run &run);
    void Tell();
    void FollowLog(const Run &run);
    void KeepLimits(Run &run);

    // Its steps
    Task<void> WaitTick(RunPtr run, Refresh refresh);
    void CheckWanted(const RunPtr &run);
    Task<QByteArray> Ask(RunPtr run, QByteArray request, Reply reply, std::function<bool()> valid);
    Task<int> ReadCount(RunPtr run, quint8 channel, Reply reply = Reply::Framed(2));
    Task<void> WriteOf(RunPtr run, quint8 reg, quint8 value);
    Task<void> Told(RunPtr run, Task<void> sending);
    Task<void> RestoreSetting(RunPtr run, quint8 reg, int slider);

    Ui::MesCapa ui_;
    Codebas &link_;
    Timer timerchargeur_;
    Timer timerch2_;
    Flag tick_;
    RunPtr run_; ///< null while no measurement is under way
    CapacityRecord now_;
    RunNews news_{RunNews::Kind::Capacity};
    FoldingPane *pane_ = nullptr;
    Freshness freshness_{link_, this};
    double CellCount_ = 0;
    bool ReadingsDue_ = false;
    bool FanOn_ = false;
    quint8 settings_[2] = {}; ///< last values of SlIChrg and SlIDech that the board has got
    Newest sliderMoves_[2];
    int stopping_ = 0; ///< handlers that are switching the outputs off
    Flag stopNews_;
    Alarm stopPatience_{[this] { stopNews_.Wake(); }};
    bool leaving_ = false;
    std::optional<Stopwatch> phaseClock_; ///< since the phase began
    QString resultPath_;
    Awake awake_;
    const Activity activity_{link_.activities, Activity::Kind::Run, QStringLiteral("Une mesure de capacité"),
                             [this] { return Running(); }};
    Outputs::RunPtr switched_; ///< what may be on still, whatever has become of the measurement
    Watch watch_{link_, [this] { Overdue(); }};
};
