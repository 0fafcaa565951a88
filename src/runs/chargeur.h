#pragma once

#include "awake.h"
#include "base/flag.h"
#include "base/timer.h"
#include "base/window.h"
#include "chargerules.h"
#include "link/codebas.h"
#include "runlog.h"
#include "ui_chargeur.h"

#include <memory>
#include <optional>

/// What a step of a charge has measured, as its log record says it.
struct ChargeRecord
{
    double seconds; ///< since the start
    double volts;
    double amperes;
    double milliampereHours;
    int deltaCount;
};

/// The fast charge: starts the board's charge, samples every channel once a second, ends the run by the fall of the
/// delta voltage and logs it.
class Chargeur : public Window
{
    Q_OBJECT

public:
    explicit Chargeur(Codebas &link);

    /// The log of the run, the last one if it is over.
    QString LogPath() const { return logPath_; }

    /// Sends the stop's writes without waiting for the board's answers.
    void SwitchOffUnanswered();

Q_SIGNALS:
    void Started();
    void Recorded(const ChargeRecord &record);
    /// The run ended by its rule and the charge is off.
    void Ended();
    /// "Arret" is done.
    void Stopped();
    /// The window was left while the board charges.
    void LeftCharging();

protected:
    void Load() override;
    void Failed(const Error &error) override;
    void closeEvent(QCloseEvent *event) override;

private:
    enum class State
    {
        Ready,
        Charging,
        Ended,
        Stopped,
        Left,
        Superseded
    };

    /// One run, from a start to the next. A step keeps the run that it belongs to, so that one which outlives its run
    /// touches neither the next run's values nor its log.
    struct Run
    {
        State state = State::Ready;
        int RestMode = 0;
        double StartSeconds = 0;
        double ElapsedSeconds = 0;
        double PrevElapsed = 0;
        double CapacityMAs = 0;
        DeltaPeak Peak;
        RiseIndicator Rise;
        std::optional<RunLog> log;
        bool on = false; ///< the board was told to charge
    };
    using RunPtr = std::shared_ptr<Run>;

    /// The last measurements; a quantity that is not calibrated keeps its former value.
    struct Readings
    {
        int supplyCount = 0;
        int doublerCount = 0;
        int chargeCount = 0;
        int batteryCount = 0;
        int deltaCount = 0;
        double supplyVolts = 0;
        double temperature = 0;
        double chargeAmps = 0;
        double batteryVolts = 0;
    };

    bool StopMode() const { return run_->state == State::Ready || run_->state == State::Stopped; }

    Task<void> CBstart_Click();
    Task<void> CBStop_Click();
    void CQuitter_Click();
    Task<void> Slider1_Change(int value);
    Task<void> Slider2_Change(int value);
    Task<void> Slider3_Change(int value);
    Task<void> Timerchargeur_Timer();

    Task<void> BeginRun(RunPtr run);
    Task<void> StopWrites(RunPtr run);
    Task<void> EndWrites(RunPtr run);
    Task<void> WriteOf(RunPtr run, quint8 reg, quint8 value);
    Task<void> ChargeStep(RunPtr run);
    Task<void> ReadSupplies();
    Task<void> MeasureBattery(RunPtr run);
    Task<void> StopModeStep();
    void ShowElapsed(const Run &run);
    void ShowRise(const RiseIndicator &rise);
    void ShowIndicator(RiseIndicator::Shown indicator);
    void WriteRecord(Run &run);
    void StopTimers();

    Ui::Chargeur ui_;
    Codebas &link_;
    Timer timerchargeur_;
    Timer timerch2_;
    Flag settleDone_;
    RunPtr run_ = std::make_shared<Run>();
    Readings read_;
    QString logPath_;
    int sliderMoves_[3] = {};
    bool portClosedSaid_ = false;
    Awake awake_;
};
