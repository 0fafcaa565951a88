#pragma once

#include "base/flag.h"
#include "base/timer.h"
#include "base/window.h"
#include "capacityfile.h"
#include "capacityrules.h"
#include "link/codebas.h"
#include "runs/awake.h"
#include "runs/watchdog.h"
#include "ui_mescapa.h"

#include <QElapsedTimer>

#include <memory>
#include <optional>
#include <span>

/// The capacity measurement: charges the battery, then discharges and charges it for a number of cycles, integrates the
/// currents, measures the internal resistance and writes a result file for the last cycle.
class MesCapa : public Window
{
    Q_OBJECT

public:
    explicit MesCapa(Codebas &link);
    ~MesCapa() override;

    /// The result file of the measurement, the last one if it is over; empty before its last cycle.
    QString ResultPath() const { return resultPath_; }

    /// Whether a measurement is under way.
    bool Running() const { return run_ != nullptr; }

    /// Sends OutputsIdle without waiting for the board's answers.
    void SwitchOffUnanswered();

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
    /// "Arret" is done.
    void Stopped();
    /// An error was shown; what was under way is over, its outputs switched off.
    void Aborted();

protected:
    void Load() override;
    void Failed(const Error &error) override;
    void closeEvent(QCloseEvent *event) override;

private:
    /// One measurement, from a start to its end. All it does checks before and after each exchange and wait that it is
    /// still wanted, and unwinds when it is not.
    struct Run
    {
        bool wanted = true;
        bool FirstCharge = true;
        std::optional<CapacityFile> log;
        bool offSent = false;  ///< what ended it has begun to switch the outputs off
        bool offAgain = false; ///< and an exchange of this measurement that contradicts it ended only later
    };
    using RunPtr = std::shared_ptr<Run>;

    /// Thrown where a measurement goes on that is no longer wanted.
    struct NotWanted
    {
    };

    /// A register write.
    struct Write
    {
        quint8 reg;
        quint8 value;
    };
    using Writes = std::span<const Write>;
    static const Write idle[4];
    static const Write charge[4];
    static const Write discharge[4];
    static const Write outputsOff[4];
    static const Write stopWrites[5];
    static const Write backWrites[6];

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
    Task<void> CbRetour_Click();
    Task<void> SlIChrg_Change(int value);
    Task<void> SlIDech_Change(int value);
    void Timerchargeur_Timer();

    RunPtr EndRun();
    Task<void> SwitchOff(RunPtr ended, Writes writes);
    Task<void> StopsOver(RunPtr run);
    void Leave();
    void StopTimers();
    void ShowState(const QString &text);
    void BeginPhase();
    void ShowDuration();
    void ShowOutputs(Writes pattern);
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
    Task<void> Outputs(RunPtr run, Writes pattern);
    Task<void> PhaseReset(RunPtr run);
    Task<void> SignalEnd(RunPtr run);
    void WriteRecord(Run &run);

    // Its steps
    Task<void> WaitTick(RunPtr run, Refresh refresh);
    Task<QByteArray> Ask(RunPtr run, QByteArray request, Reply reply, std::function<bool()> valid);
    Task<int> ReadCount(RunPtr run, quint8 channel, Reply reply = Reply::Framed(2));
    Task<void> WriteOf(RunPtr run, quint8 reg, quint8 value);
    Task<void> RestoreSetting(RunPtr run, quint8 reg, int slider);

    Ui::MesCapa ui_;
    Codebas &link_;
    Timer timerchargeur_;
    Timer timerch2_;
    Flag tick_;
    RunPtr run_; ///< null while no measurement is under way
    CapacityRecord now_;
    double CellCount_ = 0;
    bool ReadingsDue_ = false;
    bool FanOn_ = false;
    quint8 settings_[2] = {}; ///< last values of SlIChrg and SlIDech that the board has got
    int sliderMoves_[2] = {};
    int starts_ = 0;   ///< measurements that were begun
    int stopping_ = 0; ///< handlers that are switching the outputs off
    Flag stopNews_;
    QTimer stopPatience_;
    bool leaving_ = false;
    QElapsedTimer phaseClock_;
    QString resultPath_;
    Awake awake_;
    Watchdog watchdog_;
};
