// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "awake.h"
#include "base/flag.h"
#include "base/onset.h"
#include "base/timer.h"
#include "base/window.h"
#include "lastsettings.h"
#include "limitsbox.h"
#include "link/codebas.h"
#include "link/freshness.h"
#include "link/quantity.h"
#include "runcurve.h"
#include "runhead.h"
#include "runlamp.h"
#include "runlog.h"
#include "runnews.h"
#include "stopbutton.h"
#include "watch.h"

#include <QLabel>

#include <memory>
#include <optional>

/// What a step of a run has measured, as its log record says it.
struct RunRecord
{
    double seconds; ///< since the start
    double volts;
    double amperes;
    double milliampereHours;
    double indicator; ///< the delta count of a charge, the volts per cell of a discharge
};

/// What the charge and the discharge window have in common: a run that samples the board once a second, ends by a rule
/// of its own or is stopped, and writes a log. The windows say what is switched, measured and written.
class RunWindow : public Window
{
    Q_OBJECT

public:
    /// Whether a run is on whose end this program has to see.
    bool Running() const { return run_ && run_->phase == Phase::Running; }

    /// The log of the run, the last one if it is over; its full path, as others change the current folder.
    QString LogPath() const { return logPath_; }

    /// Ends a run that is on as "Arret" does, and says why in the state and in a note beside the log. Without a cause
    /// it is the user's own stop.
    void StopFor(const QString &cause);

    /// For whoever follows its runs.
    const RunNews &News() const { return news_; }

Q_SIGNALS:
    /// The log of a new run was opened; one of the same name is gone.
    void LogOpened();
    /// The board was told to begin.
    void Started();
    void Recorded(const RunRecord &record);
    /// The run ended by its rule and is switched off.
    void Ended();
    /// The run is being ended for this cause.
    void Stopping(const QString &cause);
    /// "Arret" is done.
    void Stopped();
    /// The board measures no more: the connection is wanted again, to switch off.
    void ConnectionWanted();

protected:
    enum class Phase
    {
        Running,
        Over,      ///< it has ended, by its rule, a stop or an error
        Left,      ///< its window was closed, and what is on stays on
        Superseded ///< another start has taken its place
    };

    /// One run, from a start to the next. A step keeps the run that it belongs to, so that one which outlives its run
    /// touches neither the next run's values nor its log.
    struct Run
    {
        virtual ~Run() = default;
        Phase phase = Phase::Running;
        double StartSeconds = 0;
        double ElapsedSeconds = 0;
        double PrevElapsed = 0;
        double CapacityMAs = 0;
        Flow flow; ///< what its limits go by
        std::optional<RunLog> log;
        Outputs::RunPtr outputs;
    };
    using RunPtr = std::shared_ptr<Run>;

    /// What makes a window a charge or a discharge.
    struct Kind
    {
        RunNews::Kind kind;
        QString name; ///< in a sentence
        QString logPrefix;
        QString logHeader;
        QString runningText;
        QString what; ///< what the board does: "charge"
        const Quantity &current;
        Outputs::Writes start;
        Outputs::Writes end;  ///< after the step in which the rule of the end was met
        Outputs::Writes stop; ///< "Arret"
        Outputs::Writes off;  ///< all that a run may switch on is off with these
    };

    /// The labels of the frames that both windows have.
    struct Panel
    {
        QLabel *hours, *minutes, *seconds;
        QLabel *state;
        QLabel *supplyCount, *supplyVolts, *doublerCount, *doublerVolts, *temperatureCount, *temperature;
        QLabel *capacity;
        LimitsBox *limits;
        QPushButton *stop;
        RunHead *head;
        RunLamp *lamp;
        LastSettings *last;
    };

    /// The last measurements; a quantity that is not calibrated keeps its former value.
    struct Readings
    {
        int supplyCount = 0;
        int doublerCount = 0;
        int temperatureCount = 0;
        int currentCount = 0;
        int batteryCount = 0;
        double supplyVolts = 0;
        double doublerVolts = 0;
        double temperature = 0;
        double amps = 0;
        double batteryVolts = 0;
    };

    RunWindow(const QString &name, Codebas &link, Kind kind, int pauseMs);

    /// To be called once the controls are made.
    void SetPanel(const Panel &panel);
    /// The labels whose texts are readings, beside those of the panel.
    void SetReadings(const QList<QWidget *> &readings) { freshness_.Add(readings); }

    void Load() override;
    void Failed(const Error &error) override;
    /// It does not leave a run.
    void Escape() override
    {
        if (!Running())
            close();
    }
    void closeEvent(QCloseEvent *event) override;

    Task<void> CBstart_Click();
    Task<void> CBStop_Click();
    void CQuitter_Click();

    /// A run as the controls have it, which begins now.
    virtual RunPtr NewRun() = 0;
    /// What it is set to, in words.
    virtual QString Settings(const Run &run) const = 0;
    /// Switches off by "Arret", for a cause that the state names or for none. It reaches the board at once, or after
    /// the line's patience when somebody keeps the line.
    Task<void> Stop(QString cause);
    /// Measures once; true when the run is over by its rule.
    virtual Task<bool> Step(RunPtr run) = 0;
    /// Writes the step's record into the run's log.
    virtual void WriteRecord(Run &run) = 0;
    /// The run was stopped or left: a pause within a step ends.
    virtual void EndPause() {}
    /// The window was closed; `running` says whether the run was on until now.
    virtual void Leave(bool running) = 0;

    void ShowState(const QString &text);
    /// What a run is that was ended otherwise than by its rule.
    virtual void ShowStopped(const QString &cause = {});

    /// A write of a step: void once it would undo the end of its run, or another run has started.
    Task<void> WriteOf(RunPtr run, quint8 reg, quint8 value);
    /// Reads the clock and shows how long the run has lasted.
    Task<void> ReadElapsed(RunPtr run);
    /// Reads and shows supply, doubler and temperature.
    Task<void> ReadSupplies();
    /// Reads and shows the current of the run.
    Task<void> ReadCurrent(QLabel *countLabel, QLabel *valueLabel);
    /// Adds what has flowed since the step before, at the amperes just read, and shows the sum.
    void AddCapacity(Run &run);
    double MilliampereHours(const Run &run) const;
    /// The last measurements, for those who follow the run.
    RunPoint Point(const Run &run) const;
    /// ", 1.92 A" for the setting of a slider; empty while it was not moved, or its scale is unknown.
    static QString SettingText(int setting, int scale);

    /// What this window has switched on last, and which may be on still, whatever has become of the run; made when it
    /// is first asked for.
    const Outputs::RunPtr &Switched();

    Codebas &link_;
    Timer timerchargeur_;
    Timer timerch2_;
    Panel panel_{};
    RunPtr run_; ///< null from an opening to the first start
    RunNews news_;
    Readings read_;

private:
    Task<void> StartRun(RunPtr fresh);
    Task<bool> BeginRun(RunPtr run);
    void FollowLog(const Run &run);
    Task<bool> NextTick(RunPtr run);
    void KeepLimits(const Run &run);
    Task<void> EndByRule(RunPtr run);
    void EndRun(Phase phase, RunEnd::How how, const QString &why = {});
    /// Sends the stop's writes without waiting for the board's answers.
    void SwitchOffUnanswered();
    void StopTimers();
    void Overdue();

    const Kind kind_;
    const Activity activity_;
    QString logPath_;
    FoldingPane *pane_ = nullptr;
    Freshness freshness_{link_, this};
    Outputs::RunPtr switched_;
    Flag tick_;
    Onset portClosed_;
    Awake awake_;
    Watch watch_;
};
