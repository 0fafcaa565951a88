#include "runwindow.h"

#include "base/messages.h"
#include "base/number.h"
#include "insistence.h"
#include "measurement.h"

#include <QCloseEvent>

using namespace measurement;

namespace {
constexpr int stepMs = 1000;
}

RunWindow::RunWindow(const QString &name, Codebas &link, Kind kind, int pauseMs)
    : Window(name)
    , link_(link)
    , timerchargeur_(QStringLiteral("Timerchargeur"), stepMs, this)
    , timerch2_(QStringLiteral("Timerch2"), pauseMs, this)
    , kind_(std::move(kind))
    , watchdog_(link)
{
    connect(&timerchargeur_, &QTimer::timeout, this, [this] { Start(Timerchargeur_Timer()); });
}

void RunWindow::Load()
{
    StopTimers();
    if (const RunPtr older = std::exchange(left_, run_))
        older->state = State::Superseded;
    run_ = std::make_shared<Run>();
    read_ = {};
    panel_.state->setText(QStringLiteral("Prêt"));
}

void RunWindow::StopTimers()
{
    timerchargeur_.SetEnabled(false);
    timerch2_.SetEnabled(false);
    watchdog_.Rest();
}

void RunWindow::closeEvent(QCloseEvent *event)
{
    const State state = std::exchange(run_->state, State::Left);
    StopTimers();
    awake_.Release();
    run_->log.reset();
    Leave(state);
    EndPause();
    event->accept();
    Q_EMIT Returning();
}

void RunWindow::CQuitter_Click()
{
    link_.ReconnectOnActivate = 0;
    close();
}

Task<void> RunWindow::AfterLeaving(RunPtr)
{
    co_return;
}

void RunWindow::Failed(const Error &error)
{
    if (dynamic_cast<const PortClosed *>(&error)) {
        Window::Failed(error);
        return;
    }
    StopTimers();
    DropHandlers();
    if (run_->on)
        SwitchOffUnanswered();
    run_->state = State::Stopped;
    run_->log.reset();
    centralWidget()->setEnabled(false);
    messages::ShowAndEnd(this, windowTitle(), error.Text());
}

void RunWindow::SwitchOffUnanswered()
{
    for (const Write &write : kind_.stop)
        SendRegister(link_, write.reg, write.value);
}

// ---- start and stop

Task<void> RunWindow::StartRun(RunPtr fresh)
{
    if (link_.Streaming) {
        messages::Show(this, QMessageBox::Warning, windowTitle(), messages::closeTheMonitor);
        co_return;
    }
    StopTimers();
    const RunPtr former = std::exchange(run_, fresh);
    former->state = State::Superseded;
    if (left_)
        left_->state = State::Superseded;
    QMetaObject::invokeMethod(this, [this] { EndPause(); }, Qt::QueuedConnection); // of a step of before
    former->log.reset();
    fresh->state = State::Running;
    fresh->ElapsedSeconds = former->ElapsedSeconds; // the first step integrates from here
    fresh->on = former->on;
    panel_.state->setText(kind_.runningText);
    try {
        co_await BeginRun(fresh);
    } catch (const PortClosed &) {
        fresh->state = State::Stopped;
        fresh->log.reset();
        panel_.state->setText(QStringLiteral("Arret"));
        throw;
    }
}

/// What a start does on the board and the disk. The step timer runs only once all of it is done.
Task<void> RunWindow::BeginRun(RunPtr run)
{
    const Wanted wanted = [run] { return run->state == State::Running; };
    watchdog_.Watch();
    run->StartSeconds = co_await ReadClock(link_);
    if (!wanted())
        co_return;
    run->log.emplace(kind_.logPrefix, kind_.logHeader);
    logPath_ = run->log->Path();
    run->on = true;
    for (const Write &write : kind_.start)
        co_await WriteRegister(link_, write.reg, write.value, wanted);
    if (!wanted())
        co_return;
    awake_.Hold();
    Q_EMIT Started();
    timerchargeur_.SetInterval(stepMs);
    timerchargeur_.SetEnabled(true);
}

Task<void> RunWindow::CBStop_Click()
{
    const RunPtr run = run_;
    const bool supervised = run->state == State::Running && (steps_ > 0 || timerchargeur_.Enabled());
    StopTimers();
    run->state = State::Stopped; // from here on a step under way records nothing and re-arms nothing
    run->stopped = true;
    run->stopBegun = false;
    if (left_)
        left_->stopped = true;
    awake_.Release();
    // Later, so that our first write gets the line before the step goes on.
    QMetaObject::invokeMethod(this, [this] { EndPause(); }, Qt::QueuedConnection);
    try {
        co_await WriteSurely(run, kind_.stop);
    } catch (const PortClosed &) {
        if (supervised && run->state == State::Stopped && !run->stopBegun) { // the board knows nothing: the run goes on
            run->state = State::Running;
            run->stopped = false;
            awake_.Hold();
            if (steps_ == 0)
                StepAgain();
        }
        throw;
    }
    if (run->state != State::Stopped)
        co_return; // started anew meanwhile, or left
    run->on = false;
    run->log.reset();
    panel_.state->setText(QStringLiteral("Arret"));
    Q_EMIT Stopped();
}

Task<void> RunWindow::WriteOf(RunPtr run, quint8 reg, quint8 value)
{
    const Wanted wanted = [run] { return run->state != State::Superseded; };
    co_await WriteRegister(link_, reg, value, wanted);
}

/// Writes that switch off: they reach the board even when it is not our turn, or when it does not answer.
Task<void> RunWindow::WriteSurely(RunPtr run, Writes writes)
{
    const Wanted wanted = [run] { return run->state != State::Superseded; };
    const auto sendAll = [this, wanted, writes] {
        for (const Write &write : writes)
            if (wanted())
                SendRegister(link_, write.reg, write.value);
    };
    Insistence insistence(link_, sendAll);
    const Wanted begins = [run, wanted, &insistence] {
        run->stopBegun = true;
        insistence.Advance();
        return wanted();
    };
    for (const Write &write : writes) {
        Task<void> exchange = WriteRegister(link_, write.reg, write.value, begins);
        co_await exchange;
    }
}

// ---- the step

Task<void> RunWindow::Timerchargeur_Timer()
{
    timerchargeur_.SetEnabled(false);
    watchdog_.Watch();
    const RunPtr run = run_;
    bool over = false;
    std::optional<PortClosed> closed;
    ++steps_;
    try {
        over = co_await Step(run);
    } catch (const PortClosed &error) {
        closed = error;
    }
    --steps_;
    if (closed && run->state == State::Running && !portClosedSaid_)
        Window::Failed(*closed);
    portClosedSaid_ = closed.has_value();
    co_await EndStep(run, over, closed.has_value());
}

void RunWindow::StepAgain()
{
    watchdog_.Watch();
    timerchargeur_.SetInterval(stepMs);
    timerchargeur_.SetEnabled(true);
}

/// What follows a step, by what has become of its run meanwhile.
Task<void> RunWindow::EndStep(RunPtr run, bool over, bool closed)
{
    if (run->state == State::Superseded)
        co_return;
    if (run->state == State::Running) {
        if (!closed)
            WriteRecord(*run);
        if (!over) {
            StepAgain();
            co_return;
        }
        run->state = State::Ended;
    }
    if (closed)
        co_return;
    if (run->stopped) { // the step has switched on again
        co_await WriteSurely(run, kind_.stop);
        co_return;
    }
    if (over) {
        try {
            co_await WriteSurely(run, kind_.end);
        } catch (const PortClosed &) {
            if (run->state == State::Ended) { // the next step finds the end again
                run->state = State::Running;
                StepAgain();
            }
            co_return;
        }
        if (run->state == State::Ended || run->state == State::Left) {
            run->on = false;
            awake_.Release();
            watchdog_.Rest();
            Q_EMIT Ended();
        }
    }
    if (run->state == State::Left)
        co_await AfterLeaving(run);
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
    read_.supplyCount = co_await ReadChannel(link_, command::SupplyVoltage);
    panel_.supplyCount->setText(number::Str(read_.supplyCount));
    if (SupplyCalibrated(link_)) {
        read_.supplyVolts = CadSupplyVolts(link_, read_.supplyCount);
        panel_.supplyVolts->setText(number::Str(read_.supplyVolts) + u'V');
    }
    read_.doublerCount = co_await ReadChannel(link_, command::DoublerVoltage);
    panel_.doublerCount->setText(number::Str(read_.doublerCount));
    if (DoublerCalibrated(link_)) {
        read_.doublerVolts = CadDoublerVolts(link_, read_.doublerCount);
        panel_.doublerVolts->setText(number::Str(read_.doublerVolts) + u'V');
    }
    read_.temperatureCount = co_await ReadChannel(link_, command::SystemTemperature);
    panel_.temperatureCount->setText(number::Str(read_.temperatureCount));
    if (TemperatureCalibrated(link_)) {
        read_.temperature = CadTemperature(link_, read_.temperatureCount);
        panel_.temperature->setText(number::Str(read_.temperature));
    }
}

void RunWindow::AddCapacity(Run &run)
{
    run.CapacityMAs += (run.ElapsedSeconds - run.PrevElapsed) * 1000 * read_.amps;
    panel_.capacity->setText(number::Str(MilliampereHours(run)) + QStringLiteral(" mAh"));
}

double RunWindow::MilliampereHours(const Run &run) const
{
    return number::Int(run.CapacityMAs / 3600);
}
