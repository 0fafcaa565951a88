#include "chargeur.h"

#include "base/messages.h"
#include "base/number.h"
#include "measurement.h"

#include <QCloseEvent>

using namespace measurement;

namespace {
constexpr int stepMs = 1000;
constexpr int settleMs = 5;
constexpr quint8 startDischargeSetting = 35;
} // namespace

Chargeur::Chargeur(Codebas &link)
    : Window(QStringLiteral("Chargeur"))
    , link_(link)
    , timerchargeur_(QStringLiteral("Timerchargeur"), stepMs, this)
    , timerch2_(QStringLiteral("Timerch2"), settleMs, this)
{
    ui_.setupUi(this);
    ui_.Check1->setAttribute(Qt::WA_TransparentForMouseEvents); // an indicator
    RememberDesign();
    OnClick(ui_.CBstart, &Chargeur::CBstart_Click);
    OnClick(ui_.CBStop, &Chargeur::CBStop_Click);
    connect(ui_.CQuitter, &QPushButton::clicked, this, &Chargeur::CQuitter_Click);
    connect(ui_.Slider1, &QSlider::valueChanged, this, [this](int value) { Start(Slider1_Change(value)); });
    connect(ui_.Slider2, &QSlider::valueChanged, this, [this](int value) { Start(Slider2_Change(value)); });
    connect(ui_.Slider3, &QSlider::valueChanged, this, [this](int value) { Start(Slider3_Change(value)); });
    connect(&timerchargeur_, &QTimer::timeout, this, [this] { Start(Timerchargeur_Timer()); });
    connect(&timerch2_, &QTimer::timeout, this, [this] { settleDone_.Set(); });
}

void Chargeur::Load()
{
    Centre();
    for (QSlider *slider : {ui_.Slider1, ui_.Slider2, ui_.Slider3}) {
        slider->setMaximum(255);
        slider->setMinimum(0);
    }
    StopTimers();
    settleDone_.Clear();
    run_ = std::make_shared<Run>();
    read_ = {};
    ui_.Label18->setText(QStringLiteral("Prêt"));
}

void Chargeur::StopTimers()
{
    timerchargeur_.SetEnabled(false);
    timerch2_.SetEnabled(false);
}

void Chargeur::closeEvent(QCloseEvent *event)
{
    StopTimers();
    settleDone_.Set();
    awake_.Release();
    run_->log.reset();
    const bool charging = run_->state == State::Charging;
    run_->state = State::Left;
    event->accept();
    if (charging)
        Q_EMIT LeftCharging();
    Q_EMIT Returning();
}

void Chargeur::CQuitter_Click()
{
    link_.ReconnectOnActivate = 0;
    close();
}

void Chargeur::Failed(const Error &error)
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

void Chargeur::SwitchOffUnanswered()
{
    SendRegister(link_, CutCharge, 0);
    SendRegister(link_, CutPower, 0);
    SendRegister(link_, GroundBattery, 1);
}

// ---- start and stop

Task<void> Chargeur::CBstart_Click()
{
    const quint8 restMode = number::ToByte(number::Val(ui_.Text1->text()), QStringLiteral("MODE"));
    StopTimers();
    const RunPtr former = run_;
    former->state = State::Superseded;
    former->log.reset();

    run_ = std::make_shared<Run>();
    const RunPtr run = run_;
    run->state = State::Charging;
    run->RestMode = restMode;
    run->ElapsedSeconds = former->ElapsedSeconds; // the first step integrates from here
    run->on = former->on;
    run->Rise = former->Rise;
    run->Rise.Restart();
    ShowIndicator(run->Rise.Indicator());
    ui_.Label18->setText(QStringLiteral("CHARGE"));
    try {
        co_await BeginRun(run);
    } catch (const PortClosed &) {
        run->state = State::Stopped;
        run->log.reset();
        ui_.Label18->setText(QStringLiteral("Arret"));
        throw;
    }
}

/// What a start does on the board and the disk. The step timer runs only once all of it is done.
Task<void> Chargeur::BeginRun(RunPtr run)
{
    const Wanted wanted = [run] { return run->state == State::Charging; };
    run->StartSeconds = co_await ReadClock(link_);
    if (!wanted())
        co_return;
    run->log.emplace(RunLog::chargePrefix, RunLog::chargeHeader);
    logPath_ = run->log->Path();
    run->on = true;
    co_await WriteRegister(link_, GroundBattery, 0, wanted);
    co_await WriteRegister(link_, CutDischarge, 0, wanted);
    co_await WriteRegister(link_, CutPower, 1, wanted);
    co_await WriteRegister(link_, CutCharge, 1, wanted);
    co_await WriteRegister(link_, DischargeSetting, startDischargeSetting, wanted);
    if (!wanted())
        co_return;
    awake_.Hold();
    Q_EMIT Started();
    timerchargeur_.SetInterval(stepMs);
    timerchargeur_.SetEnabled(true);
}

Task<void> Chargeur::CBStop_Click()
{
    StopTimers();
    const RunPtr run = run_;
    run->state = State::Stopped; // from here on a step under way records nothing and re-arms nothing
    awake_.Release();
    // A settling pause under way ends too, but after our first write has got the line.
    QMetaObject::invokeMethod(this, [this] { settleDone_.Set(); }, Qt::QueuedConnection);
    co_await StopWrites(run);
    if (run->state != State::Stopped)
        co_return; // started anew meanwhile, or left
    run->log.reset();
    ui_.Label18->setText(QStringLiteral("Arret"));
    Q_EMIT Stopped();
}

/// Switches the charge off. A new run, started meanwhile, is left alone.
Task<void> Chargeur::StopWrites(RunPtr run)
{
    const Wanted wanted = [run] { return run->state != State::Superseded; };
    co_await WriteRegister(link_, CutCharge, 0, wanted);
    co_await WriteRegister(link_, CutPower, 0, wanted);
    co_await WriteRegister(link_, GroundBattery, 1, wanted);
    if (wanted())
        run->on = false;
}

// ---- settings

Task<void> Chargeur::Slider1_Change(int value)
{
    const int move = ++sliderMoves_[0];
    const int scale = link_.SlaveEeprom[4];
    if (scale != 0)
        ui_.Label12->setText(QStringLiteral("COURANT DE CHARGE =") + number::Str(CurrentSettingAmps(value, scale)) +
                             QStringLiteral(" A"));
    run_->Peak.Reset();
    // While the line is busy moves pile up, and the last one goes first: those before it are void then.
    const Wanted wanted = [this, move] { return move == sliderMoves_[0]; };
    co_await WriteRegister(link_, ChargeSetting, static_cast<quint8>(value), wanted);
    run_->Peak.Reset();
}

Task<void> Chargeur::Slider2_Change(int value)
{
    if (!StopMode())
        co_return;
    const int move = ++sliderMoves_[1];
    const Wanted wanted = [this, move] { return move == sliderMoves_[1]; };
    co_await WriteRegister(link_, DeltaOffset, static_cast<quint8>(value), wanted);
    if (!wanted())
        co_return;
    ui_.Label26->setText(number::Str(value));
    co_await StopModeStep();
}

Task<void> Chargeur::Slider3_Change(int value)
{
    if (!StopMode())
        co_return;
    const int move = ++sliderMoves_[2];
    const Wanted wanted = [this, move] { return move == sliderMoves_[2]; };
    co_await WriteRegister(link_, DeltaGain, static_cast<quint8>(value), wanted);
    if (!wanted())
        co_return;
    co_await StopModeStep();
}

/// Reads the delta channel with the battery grounded, so that the trims can be set before a run.
Task<void> Chargeur::StopModeStep()
{
    const Wanted wanted = [this] { return StopMode(); };
    co_await WriteRegister(link_, GroundBattery, 1, wanted);
    if (!wanted())
        co_return; // a run has started: the line is its own
    const int count = co_await ReadChannel(link_, DeltaVoltage);
    ui_.Label21->setText(number::Str(count));
    co_await WriteRegister(link_, GroundBattery, 0, wanted);
}

// ---- the step

Task<void> Chargeur::Timerchargeur_Timer()
{
    timerchargeur_.SetEnabled(false);
    const RunPtr run = run_;
    std::optional<PortClosed> closed;
    try {
        co_await ChargeStep(run);
        portClosedSaid_ = false;
    } catch (const PortClosed &error) {
        closed = error;
    }
    if (closed && run->state == State::Charging && !std::exchange(portClosedSaid_, true))
        Window::Failed(*closed);

    switch (run->state) {
    case State::Charging:
        timerchargeur_.SetInterval(stepMs);
        timerchargeur_.SetEnabled(true);
        break;
    case State::Ended:
        co_await EndWrites(run);
        break;
    case State::Stopped: // while the step was under way, which has switched the charge on again
        if (!closed)
            co_await StopWrites(run);
        break;
    default:
        break;
    }
}

Task<void> Chargeur::EndWrites(RunPtr run)
{
    co_await WriteOf(run, CutPower, 0);
    co_await WriteOf(run, CutCharge, 0);
    if (run->state != State::Ended)
        co_return;
    run->on = false;
    awake_.Release();
    Q_EMIT Ended();
}

/// A write of a step: void once another run has started.
Task<void> Chargeur::WriteOf(RunPtr run, quint8 reg, quint8 value)
{
    const Wanted wanted = [run] { return run->state != State::Superseded; };
    co_await WriteRegister(link_, reg, value, wanted);
}

Task<void> Chargeur::ChargeStep(RunPtr run)
{
    const int clock = co_await ReadClock(link_);
    run->PrevElapsed = run->ElapsedSeconds;
    run->ElapsedSeconds = clock - run->StartSeconds;
    ShowElapsed(*run);
    co_await ReadSupplies();

    read_.chargeCount = co_await ReadChannel(link_, ChargeCurrent);
    ui_.Label10->setText(number::Str(read_.chargeCount));
    if (ChargeCurrentCalibrated(link_)) {
        read_.chargeAmps = CadChargeAmps(link_, read_.chargeCount);
        ui_.Label11->setText(number::Str(read_.chargeAmps) + u'A');
    }
    run->CapacityMAs += (run->ElapsedSeconds - run->PrevElapsed) * 1000 * read_.chargeAmps;
    ui_.Label29->setText(number::Str(number::Int(run->CapacityMAs / 3600)) + QStringLiteral(" mAh"));

    co_await MeasureBattery(run);
    if (run->Rise.Add(read_.batteryCount, run->ElapsedSeconds))
        ShowRise(run->Rise);

    read_.deltaCount = co_await ReadChannel(link_, DeltaVoltage);
    ui_.Label21->setText(number::Str(read_.deltaCount));
    const bool full = run->Peak.Add(read_.deltaCount);
    ui_.Label22->setText(number::Str(run->Peak.Highest()));
    if (full && run->state == State::Charging)
        ui_.Label18->setText(QStringLiteral("Charge Terminée"));

    co_await WriteOf(run, GroundBattery, 0);
    co_await WriteOf(run, CutPower, 1);
    co_await WriteOf(run, CutCharge, 1);
    if (run->state != State::Charging)
        co_return;
    WriteRecord(*run);
    if (full)
        run->state = State::Ended;
}

Task<void> Chargeur::ReadSupplies()
{
    read_.supplyCount = co_await ReadChannel(link_, SupplyVoltage);
    ui_.Label4->setText(number::Str(read_.supplyCount));
    if (SupplyCalibrated(link_)) {
        read_.supplyVolts = CadSupplyVolts(link_, read_.supplyCount);
        ui_.Label6->setText(number::Str(read_.supplyVolts) + u'V');
    }
    read_.doublerCount = co_await ReadChannel(link_, DoublerVoltage);
    ui_.Label5->setText(number::Str(read_.doublerCount));
    if (DoublerCalibrated(link_))
        ui_.Label7->setText(number::Str(CadDoublerVolts(link_, read_.doublerCount)) + u'V');
    const int temperatureCount = co_await ReadChannel(link_, SystemTemperature);
    ui_.Label8->setText(number::Str(temperatureCount));
    if (TemperatureCalibrated(link_)) {
        read_.temperature = CadTemperature(link_, temperatureCount);
        ui_.Label9->setText(number::Str(read_.temperature));
    }
}

/// In mode 0 the battery is measured with the charge interrupted, after a settling pause.
Task<void> Chargeur::MeasureBattery(RunPtr run)
{
    if (run->RestMode == 0) {
        co_await WriteOf(run, CutCharge, 0);
        co_await WriteOf(run, CutPower, 0);
        co_await WriteOf(run, GroundBattery, 1);
        co_await WriteOf(run, CutDischarge, 1);
        settleDone_.Clear();
    }
    if (run->state == State::Charging) { // stopped or left: there is nothing to wait for
        timerch2_.SetInterval(settleMs);
        timerch2_.SetEnabled(true);
        co_await settleDone_; // in the other modes it is set since the first step, and there is no pause
        timerch2_.SetEnabled(false);
    }
    co_await WriteOf(run, CutDischarge, 0);
    read_.batteryCount = co_await ReadChannel(link_, BatteryVoltage);
    ui_.Label16->setText(number::Str(read_.batteryCount));
    read_.batteryVolts = CadBatteryVolts(link_, read_.batteryCount);
}

// ---- display and record

void Chargeur::ShowElapsed(const Run &run)
{
    const double hours = number::Int(run.ElapsedSeconds / 3600);
    const double rest = run.ElapsedSeconds - 3600 * hours;
    const double minutes = number::Int(rest / 60);
    ui_.Label1->setText(ClockText(hours));
    ui_.Label2->setText(ClockText(minutes));
    ui_.Label3->setText(ClockText(rest - 60 * minutes));
}

void Chargeur::ShowRise(const RiseIndicator &rise)
{
    ui_.Label17->setText(number::Str(read_.batteryVolts) + u'V');
    ui_.Label33->setText(number::Str(rise.BlockRise()));
    ui_.Label34->setText(QStringLiteral("Avrg") + number::Str(rise.RiseAverage()));
    ShowIndicator(rise.Indicator());
}

void Chargeur::ShowIndicator(RiseIndicator::Shown indicator)
{
    ui_.Check1->setCheckState(indicator == RiseIndicator::Set         ? Qt::Checked
                              : indicator == RiseIndicator::Suspected ? Qt::PartiallyChecked
                                                                      : Qt::Unchecked);
}

void Chargeur::WriteRecord(Run &run)
{
    const double milliampereHours = number::Int(run.CapacityMAs / 3600);
    run.log->Write({run.ElapsedSeconds, double(read_.supplyCount), double(read_.doublerCount), run.Rise.RiseAverage(),
                    read_.supplyVolts, double(run.Rise.Indicator()), run.Rise.BlockRise(), read_.temperature,
                    double(read_.chargeCount), double(read_.batteryCount), double(read_.deltaCount), read_.chargeAmps,
                    read_.batteryVolts, double(run.Peak.Highest()), milliampereHours, run.ElapsedSeconds / 86400});
    Q_EMIT Recorded({run.ElapsedSeconds, read_.batteryVolts, read_.chargeAmps, milliampereHours, read_.deltaCount});
}
