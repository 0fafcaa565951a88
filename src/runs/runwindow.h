#pragma once

#include "awake.h"
#include "base/timer.h"
#include "base/window.h"
#include "link/codebas.h"
#include "runlog.h"
#include "watchdog.h"

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
    bool Running() const { return run_->state == State::Running; }

    /// The log of the run, the last one if it is over.
    QString LogPath() const { return logPath_; }

    /// Sends the stop's writes without waiting for the board's answers.
    void SwitchOffUnanswered();

Q_SIGNALS:
    /// The board was told to begin.
    void Started();
    void Recorded(const RunRecord &record);
    /// The run ended by its rule and is switched off.
    void Ended();
    /// "Arret" is done.
    void Stopped();

protected:
    enum class State
    {
        Ready,
        Running,
        Ended,
        Stopped,
        Left,
        Superseded
    };

    /// One run, from a start to the next. A step keeps the run that it belongs to, so that one which outlives its run
    /// touches neither the next run's values nor its log.
    struct Run
    {
        virtual ~Run() = default;
        State state = State::Ready;
        double StartSeconds = 0;
        double ElapsedSeconds = 0;
        double PrevElapsed = 0;
        double CapacityMAs = 0;
        std::optional<RunLog> log;
        bool on = false;        ///< the board was told to begin
        bool stopped = false;   ///< "Arret" was pressed: the outputs end as the stop's writes leave them
        bool stopBegun = false; ///< and the first of these writes has had the line
    };
    using RunPtr = std::shared_ptr<Run>;

    /// The register writes of a window, in the order in which they are sent.
    struct Write
    {
        quint8 reg;
        quint8 value;
    };
    using Writes = std::vector<Write>;

    /// What makes a window a charge or a discharge.
    struct Kind
    {
        QString logPrefix;
        QString logHeader;
        QString runningText;
        Writes start;
        Writes end;  ///< after the step in which the rule of the end was met
        Writes stop; ///< "Arret"
    };

    /// The labels of the frames that both windows have.
    struct Panel
    {
        QLabel *hours, *minutes, *seconds;
        QLabel *state;
        QLabel *supplyCount, *supplyVolts, *doublerCount, *doublerVolts, *temperatureCount, *temperature;
        QLabel *capacity;
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
    void SetPanel(const Panel &panel) { panel_ = panel; }

    void Load() override;
    void Failed(const Error &error) override;
    void closeEvent(QCloseEvent *event) override;

    /// A new run: `fresh` takes the place of the one before, whose elapsed time it goes on from.
    Task<void> StartRun(RunPtr fresh);
    /// Switches off by "Arret". It reaches the board at once, or after the line's patience when somebody keeps the
    /// line.
    Task<void> CBStop_Click();
    void CQuitter_Click();

    /// Measures once; true when the run is over by its rule.
    virtual Task<bool> Step(RunPtr run) = 0;
    /// Writes the step's record into the run's log.
    virtual void WriteRecord(Run &run) = 0;
    /// The run was stopped or left: a pause within a step ends.
    virtual void EndPause() {}
    /// The window was closed in `state`.
    virtual void Leave(State state) = 0;
    /// A step that was under way when the window was closed is over.
    virtual Task<void> AfterLeaving(RunPtr run);

    /// A write of a step: void once another run has started.
    Task<void> WriteOf(RunPtr run, quint8 reg, quint8 value);
    /// Reads the clock and shows how long the run has lasted.
    Task<void> ReadElapsed(RunPtr run);
    /// Reads and shows supply, doubler and temperature.
    Task<void> ReadSupplies();
    /// Adds what has flowed since the step before, at the amperes just read, and shows the sum.
    void AddCapacity(Run &run);
    double MilliampereHours(const Run &run) const;

    Codebas &link_;
    Timer timerchargeur_;
    Timer timerch2_;
    Panel panel_{};
    RunPtr run_ = std::make_shared<Run>();
    Readings read_;

private:
    Task<void> BeginRun(RunPtr run);
    Task<void> Timerchargeur_Timer();
    Task<void> WriteSurely(RunPtr run, Writes writes);
    Task<void> EndStep(RunPtr run, bool over, bool closed);
    void StopTimers();
    void StepAgain();

    const Kind kind_;
    QString logPath_;
    RunPtr left_;   ///< the run of the opening before, which a step may still belong to
    int steps_ = 0; ///< that are under way
    bool portClosedSaid_ = false;
    Awake awake_;
    Watchdog watchdog_;
};
