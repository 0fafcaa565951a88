// SPDX-License-Identifier: GPL-3.0-or-later
#include "runwindow.h"

#include "base/messages.h"
#include "base/number.h"
#include "base/title.h"
#include "link/measurement.h"
#include "runnote.h"
#include "streaming.h"
#include "unconfirmed.h"

#include <QCloseEvent>
#include <QFileInfo>

using namespace measurement;

namespace {
constexpr int stepMs = 1000;

constexpr int stateLetters = 15; // of the longest state without a cause
constexpr int stateSize = 16;    // in points
constexpr int causeSize = 9;
} // namespace

RunWindow::RunWindow(const QString &name, Codebas &link, Kind kind, int pauseMs)
    : Window(name)
    , link_(link)
    , timerchargeur_(QStringLiteral("Timerchargeur"), stepMs, this)
    , timerch2_(QStringLiteral("Timerch2"), pauseMs, this)
    , news_(kind.kind)
    , kind_(std::move(kind))
    , activity_(link.activities, Activity::Kind::Run, kind_.name, [this] { return Running(); })
    , watch_(link, [this] { Overdue(); })
{
    connect(&timerchargeur_, &Timer::Tick, this, [this] {
        timerchargeur_.SetEnabled(false);
        if (watch_.HasSlept())
            StopFor(Awake::slept);
        else
            tick_.Wake();
    });
    connect(&awake_, &Awake::SleepComing, this, [this] { StopFor(Awake::sleepComing); });
}

void RunWindow::SetPanel(const Panel &panel)
{
    panel_ = panel;
    ShowUnconfirmed(link_.outputs, panel_.state);
    new StopButton(*panel_.stop, news_);
    SetReadings({panel_.supplyCount, panel_.supplyVolts, panel_.doublerCount, panel_.doublerVolts,
                 panel_.temperatureCount, panel_.temperature});
    panel_.limits->Watch(link_, {&kind_.current});
    panel_.head->Watch(news_);
    SetReadings(panel_.head->Readings());
    panel_.lamp->Watch(news_, *panel_.state);
    panel_.last->Watch(news_);
    pane_ = AddRunCurve(*this, news_, panel_.supplyCount->parentWidget(),
                        [this](const Error &error) { Window::Failed(error); });
}

/// A cause is too long for the letters of a state.
void RunWindow::ShowState(const QString &text)
{
    QFont font = panel_.state->font();
    font.setPointSize(text.size() <= stateLetters ? stateSize : causeSize);
    panel_.state->setFont(font);
    panel_.state->setText(text);
}

void RunWindow::Load()
{
    StopTimers();
    run_ = nullptr;
    read_ = {};
    portClosed_.Forget();
    freshness_.Forget();
    panel_.limits->Recall();
    pane_->Recall();
    ShowState(QStringLiteral("Prêt"));
}

void RunWindow::StopTimers()
{
    timerchargeur_.SetEnabled(false);
    timerch2_.SetEnabled(false);
    watch_.Rest();
}

const Outputs::RunPtr &RunWindow::Switched()
{
    if (!switched_)
        switched_ = link_.outputs.Begin(kind_.off);
    return switched_;
}

/// The run that is on goes no further than the step in hand.
void RunWindow::EndRun(Phase phase, RunEnd::How how, const QString &why)
{
    StopTimers();
    awake_.Release();
    news_.End(how, why);
    freshness_.End();
    if (!Running())
        return;
    run_->phase = phase;
    // Later, so that what follows gets the line before the step goes on.
    QMetaObject::invokeMethod(
        this,
        [this] {
            EndPause();
            tick_.Wake();
        },
        Qt::QueuedConnection);
}

void RunWindow::closeEvent(QCloseEvent *event)
{
    const bool wasRunning = Running();
    EndRun(Phase::Left, RunEnd::How::Left);
    if (run_)
        run_->log.reset();
    Leave(wasRunning);
    event->accept();
    Q_EMIT Returning();
}

void RunWindow::CQuitter_Click()
{
    link_.ReconnectOnActivate = 0;
    close();
}

void RunWindow::Failed(const Error &error)
{
    if (dynamic_cast<const PortClosed *>(&error)) {
        Window::Failed(error);
        return;
    }
    EndRun(Phase::Over, RunEnd::How::Error, error.Text());
    DropHandlers();
    if (Switched()->on)
        SwitchOffUnanswered();
    if (run_)
        run_->log.reset();
    ShowStopped(); // not what was under way
    EndProgram(error);
}

void RunWindow::SwitchOffUnanswered()
{
    link_.outputs.EndNow(Switched(), kind_.stop);
}

// ---- the run

Task<void> RunWindow::CBstart_Click()
{
    if (MonitorKeepsLine(this, link_) || activity_.IsBarred(this, title::Of(*this)))
        co_return;
    const RunPtr fresh = NewRun();
    co_await StartRun(fresh);
}

/// A new run, from its start to its end: `fresh` takes the place of the one before, whose elapsed time it goes on from.
Task<void> RunWindow::StartRun(RunPtr fresh)
{
    EndRun(Phase::Superseded, RunEnd::How::Restart);
    if (const RunPtr former = std::exchange(run_, fresh)) {
        former->phase = Phase::Superseded;
        former->log.reset();
        fresh->ElapsedSeconds = former->ElapsedSeconds; // the first step integrates from here
    }
    fresh->outputs = switched_ = link_.outputs.Begin(kind_.off, switched_);
    switched_->what = kind_.what;
    ShowState(kind_.runningText);
    Task<bool> beginning = BeginRun(fresh);
    bool over = !co_await beginning;
    while (!over) {
        Task<bool> tick = NextTick(fresh);
        over = !co_await tick;
    }
}

/// What a start does on the board and the disk; true when the run is on.
Task<bool> RunWindow::BeginRun(RunPtr run)
{
    const Wanted wanted = [run] { return run->phase == Phase::Running; };
    watch_.GotOn();
    try {
        run->StartSeconds = co_await ReadClock(link_);
        if (!wanted())
            co_return false;
        run->log.emplace(kind_.logPrefix, kind_.logHeader);
        news_.Begin(Settings(*run));
        FollowLog(*run);
        Q_EMIT LogOpened();
        for (const Outputs::Write &write : kind_.start) {
            Task<void> sending = link_.outputs.Send(run->outputs, write.reg, write.value, wanted);
            co_await sending;
        }
    } catch (const PortClosed &error) {
        if (wanted()) {
            EndRun(Phase::Over, RunEnd::How::Error, error.Text());
            run->log.reset();
            if (run->outputs->on)
                SwitchOffUnanswered();
            ShowStopped();
        }
        throw;
    }
    if (!wanted())
        co_return false;
    awake_.Hold();
    run->flow = {};
    Q_EMIT Started();
    co_return true;
}

/// One that was removed goes on somewhere else.
void RunWindow::FollowLog(const Run &run)
{
    logPath_ = run.log->Path();
    run.outputs->note = runnote::PathOf(logPath_);
    news_.SetLog(logPath_);
}

/// Waits for the next tick and makes a step; false when the run is over.
Task<bool> RunWindow::NextTick(RunPtr run)
{
    timerchargeur_.SetInterval(stepMs);
    timerchargeur_.SetEnabled(true);
    while (run->phase == Phase::Running && timerchargeur_.Enabled())
        co_await tick_;
    if (run->phase != Phase::Running)
        co_return false;

    bool over = false;
    std::optional<PortClosed> closed;
    try {
        Task<bool> step = Step(run);
        over = co_await step;
    } catch (const PortClosed &error) {
        closed = error;
    }
    if (portClosed_.Begins(closed.has_value()) && run->phase == Phase::Running)
        Window::Failed(*closed);

    if (!closed)
        freshness_.Read();
    if (run->phase != Phase::Running && run->phase != Phase::Superseded)
        freshness_.End(); // what a step has read that outlives its run
    const bool recorded = run->phase == Phase::Running && !closed;
    if (recorded) {
        WriteRecord(*run);
        FollowLog(*run);
        watch_.GotOn();
    }
    if (over && (run->phase == Phase::Running || run->phase == Phase::Left)) {
        Task<void> ending = EndByRule(run);
        co_await ending;
        co_return false;
    }
    link_.outputs.StepOver(run->outputs); // for one that was ended meanwhile
    if (recorded)
        KeepLimits(*run);
    co_return run->phase == Phase::Running;
}

/// The record of the step that has reached a limit is written.
void RunWindow::KeepLimits(const Run &run)
{
    const QString cause = panel_.limits->Reached(read_.temperature, run.flow.Seconds(), run.flow.MilliampereHours());
    if (!cause.isEmpty())
        StopFor(cause);
}

Task<void> RunWindow::EndByRule(RunPtr run)
{
    if (run->phase == Phase::Running)
        EndRun(Phase::Over, RunEnd::How::Rule);
    try {
        Task<void> ending = link_.outputs.End(run->outputs, kind_.end);
        co_await ending;
    } catch (const PortClosed &) {
        // It is sent as soon as the port is open.
    }
    if (run->phase != Phase::Superseded)
        Q_EMIT Ended();
}

Task<void> RunWindow::CBStop_Click()
{
    return Stop({});
}

void RunWindow::StopFor(const QString &cause)
{
    if (!Running())
        return;
    if (!cause.isEmpty()) {
        runnote::Add(logPath_, QStringLiteral("Arret : ") + cause);
        Q_EMIT Stopping(cause);
    }
    Start(Stop(cause));
}

Task<void> RunWindow::Stop(QString cause)
{
    const RunPtr run = run_;
    EndRun(Phase::Over, cause.isEmpty() ? RunEnd::How::Stop : RunEnd::How::Cause, cause);
    std::optional<PortClosed> closed;
    try {
        Task<void> ending = link_.outputs.End(Switched(), kind_.stop);
        co_await ending;
    } catch (const PortClosed &error) {
        closed = error; // it is sent as soon as the port is open
    }
    if (run_ == run) { // not started anew meanwhile
        if (run)
            run->log.reset();
        ShowStopped(cause);
        Q_EMIT Stopped();
    }
    if (closed)
        throw *closed;
}

void RunWindow::ShowStopped(const QString &cause)
{
    ShowState(cause.isEmpty() ? QStringLiteral("Arret") : QStringLiteral("Arret : ") + cause);
}

/// The board has not measured for so long that nobody knows what it does.
void RunWindow::Overdue()
{
    if (!Running())
        return;
    const RunPtr run = run_;
    EndRun(Phase::Over, RunEnd::How::Error, QStringLiteral("la carte n'a fourni aucune mesure"));
    SwitchOffUnanswered();
    link_.outputs.StepOver(Switched()); // in doubt from the start
    run->log.reset();
    ShowStopped();
    messages::Show(this, QMessageBox::Critical, title::Of(*this),
                   QStringLiteral("La carte n'a fourni aucune mesure depuis 15 secondes : « %1 » est arrêté.\n"
                                  "Le programme coupe les sorties dès que la carte répond. "
                                  "En cas de doute, débranchez la batterie.")
                       .arg(kind_.runningText));
    Q_EMIT ConnectionWanted();
    Q_EMIT Stopped();
}

// ---- the step

Task<void> RunWindow::WriteOf(RunPtr run, quint8 reg, quint8 value)
{
    Task<void> sending = link_.outputs.Send(run->outputs, reg, value);
    co_await sending;
}

Task<void> RunWindow::ReadElapsed(RunPtr run)
{
    const int clock = co_await ReadClock(link_);
    run->PrevElapsed = run->ElapsedSeconds;
    run->ElapsedSeconds = clock - run->StartSeconds;
    const double hours = number::Int(run->ElapsedSeconds / 3600);
    const double rest = run->ElapsedSeconds - 3600 * hours;
    const double minutes = number::Int(rest / 60);
    panel_.hours->setText(ClockText(hours));
    panel_.minutes->setText(ClockText(minutes));
    panel_.seconds->setText(ClockText(rest - 60 * minutes));
}

Task<void> RunWindow::ReadSupplies()
{
    const struct
    {
        const Quantity &quantity;
        int &count;
        double &value;
        QLabel *countLabel, *valueLabel;
    } readings[] = {
        {Quantity::supply, read_.supplyCount, read_.supplyVolts, panel_.supplyCount, panel_.supplyVolts},
        {Quantity::doubler, read_.doublerCount, read_.doublerVolts, panel_.doublerCount, panel_.doublerVolts},
        {Quantity::temperature, read_.temperatureCount, read_.temperature, panel_.temperatureCount, panel_.temperature},
    };
    for (const auto &reading : readings) {
        reading.count = co_await ReadChannel(link_, reading.quantity.channel);
        reading.value =
            reading.quantity.Show(link_, reading.count, reading.countLabel, reading.valueLabel).value_or(reading.value);
    }
}

Task<void> RunWindow::ReadCurrent(QLabel *countLabel, QLabel *valueLabel)
{
    read_.currentCount = co_await ReadChannel(link_, kind_.current.channel);
    read_.amps = kind_.current.Show(link_, read_.currentCount, countLabel, valueLabel).value_or(read_.amps);
}

void RunWindow::AddCapacity(Run &run)
{
    run.flow.Add(read_.amps);
    run.CapacityMAs += (run.ElapsedSeconds - run.PrevElapsed) * 1000 * read_.amps;
    panel_.capacity->setText(number::Str(MilliampereHours(run)) + QStringLiteral(" mAh"));
}

double RunWindow::MilliampereHours(const Run &run) const
{
    return number::Int(run.CapacityMAs / 3600);
}

RunPoint RunWindow::Point(const Run &run) const
{
    RunPoint point;
    point.volts = read_.batteryVolts;
    point.amperes = read_.amps;
    point.milliampereHours = run.flow.MilliampereHours();
    point.currentKnown = kind_.current.calibrated(link_);
    if (Quantity::temperature.calibrated(link_))
        point.temperature = read_.temperature;
    return point;
}

QString RunWindow::SettingText(int setting, int scale)
{
    return setting == 0 || scale == 0
               ? QString()
               : QStringLiteral(",") + number::Str(CurrentSettingAmps(setting, scale)) + QStringLiteral(" A");
}
