#include "runwindow.h"

#include "base/messages.h"
#include "base/number.h"
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
{
    connect(&timerchargeur_, &QTimer::timeout, this, [this] { Start(Timerchargeur_Timer()); });
}

void RunWindow::Load()
{
    StopTimers();
    run_ = std::make_shared<Run>();
    read_ = {};
    panel_.state->setText(QStringLiteral("Prêt"));
}

void RunWindow::StopTimers()
{
    timerchargeur_.SetEnabled(false);
    timerch2_.SetEnabled(false);
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
    StopTimers();
    const RunPtr former = std::exchange(run_, fresh);
    former->state = State::Superseded;
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
    StopTimers();
    const RunPtr run = run_;
    run->state = State::Stopped; // from here on a step under way records nothing and re-arms nothing
    awake_.Release();
    // Later, so that our first write gets the line before the step goes on.
    QMetaObject::invokeMethod(this, [this] { EndPause(); }, Qt::QueuedConnection);
    StopInSpiteOfOthers(run);
    co_await WriteAll(run, kind_.stop);
    if (run->state != State::Stopped)
        co_return; // started anew meanwhile, or left
    run->on = false;
    run->log.reset();
    panel_.state->setText(QStringLiteral("Arret"));
    Q_EMIT Stopped();
}

/// Whoever keeps the line to himself does not keep the stop from the board: it goes out unanswered in between, and in
/// its turn when the line is free.
void RunWindow::StopInSpiteOfOthers(RunPtr run)
{
    const int soon = link_.line.Patience() + 25; // those who may be overtaken have been by then
    QTimer::singleShot(soon, Qt::PreciseTimer, this, [this, run] {
        if (run->state == State::Stopped && !run->stopBegun)
            SwitchOffUnanswered();
    });
}

Task<void> RunWindow::WriteOf(RunPtr run, quint8 reg, quint8 value)
{
    const Wanted wanted = [run] {
        run->stopBegun = run->state == State::Stopped;
        return run->state != State::Superseded;
    };
    co_await WriteRegister(link_, reg, value, wanted);
}

Task<void> RunWindow::WriteAll(RunPtr run, Writes writes)
{
    for (const Write &write : writes)
        co_await WriteOf(run, write.reg, write.value);
}

// ---- the step

Task<void> RunWindow::Timerchargeur_Timer()
{
    timerchargeur_.SetEnabled(false);
    const RunPtr run = run_;
    bool over = false;
    std::optional<PortClosed> closed;
    try {
        over = co_await Step(run);
    } catch (const PortClosed &error) {
        closed = error;
    }
    if (closed && run->state == State::Running && !portClosedSaid_)
        Window::Failed(*closed);
    portClosedSaid_ = closed.has_value();

    if (run->state == State::Running && !closed) {
        WriteRecord(*run);
        if (over)
            run->state = State::Ended;
    }
    switch (run->state) {
    case State::Running:
        timerchargeur_.SetInterval(stepMs);
        timerchargeur_.SetEnabled(true);
        break;
    case State::Ended:
        co_await WriteAll(run, kind_.end);
        if (run->state == State::Ended) {
            run->on = false;
            awake_.Release();
            Q_EMIT Ended();
        }
        break;
    case State::Stopped: // while the step was under way, which has switched on again
        if (!closed)
            co_await WriteAll(run, kind_.stop);
        break;
    case State::Left:
        if (!closed)
            co_await AfterLeaving(run);
        break;
    default:
        break;
    }
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
