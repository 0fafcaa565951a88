// SPDX-License-Identifier: GPL-3.0-or-later
#include "mescapa.h"

#include "base/messages.h"
#include "base/number.h"
#include "base/paint.h"
#include "base/title.h"
#include "base/tone.h"
#include "link/measurement.h"
#include "link/quantity.h"
#include "link/settingbox.h"
#include "runs/chargerules.h"
#include "runs/runnote.h"
#include "runs/stopbutton.h"
#include "runs/streaming.h"
#include "runs/unconfirmed.h"

#include <QCloseEvent>

using namespace measurement;

namespace {
constexpr int tickMs = 2000;
constexpr int flagMs = 100;
constexpr auto answer = 2s; // how long a new start leaves the board to answer the stop before it

const QColor lampOff(128, 128, 128);
} // namespace

const Outputs::Writes MesCapa::idle = {
    {command::CutPower, 0}, {command::CutCharge, 0}, {command::CutDischarge, 0}, {command::GroundBattery, 1}};
const Outputs::Writes MesCapa::charge = {
    {command::CutDischarge, 0}, {command::GroundBattery, 0}, {command::CutPower, 1}, {command::CutCharge, 1}};
const Outputs::Writes MesCapa::discharge = {
    {command::CutCharge, 0}, {command::CutPower, 0}, {command::CutDischarge, 1}, {command::GroundBattery, 1}};
const Outputs::Writes MesCapa::stopWrites = {{command::CutPower, 0},
                                             {command::CutDischarge, 0},
                                             {command::CutCharge, 0},
                                             {command::GroundBattery, 1},
                                             {command::Beep, 10}};
const Outputs::Writes MesCapa::backWrites = {{command::CutPower, 0},      {command::CutDischarge, 0},
                                             {command::CutCharge, 0},     {command::GroundBattery, 1},
                                             {command::ChargeSetting, 0}, {command::DischargeSetting, 0}};

MesCapa::MesCapa(Codebas &link)
    : Window(QStringLiteral("MesCapa"))
    , link_(link)
    , timerchargeur_(QStringLiteral("Timerchargeur"), tickMs, this)
    , timerch2_(QStringLiteral("Timerch2"), flagMs, this)
{
    ui_.setupUi(this);
    RememberDesign();
    LastSettings &last = *ui_.CbReprendre;
    last.Keep(new SettingBox(ui_.SlIChrg, link, SettingBox::Amperes(link, 4)), QStringLiteral("charge %1"));
    last.Keep(new SettingBox(ui_.SlIDech, link, SettingBox::Amperes(link, 5)), QStringLiteral("décharge %1"));
    last.Keep(ui_.TxNbElem, QStringLiteral("%1 éléments"));
    last.Keep(ui_.TxNbrCycles, QStringLiteral("%1 cycles"));
    last.Watch(news_);
    ui_.releves->Watch(news_);
    ui_.temoin->Watch(news_, *ui_.LbEtat);
    OnClick(ui_.CBstart, &MesCapa::CBstart_Click);
    OnClick(ui_.CBStop, &MesCapa::CBStop_Click);
    OnClick(ui_.CbRetour, &MesCapa::CbRetour_Click);
    connect(ui_.SlIChrg, &QSlider::valueChanged, this, [this](int value) { Start(SlIChrg_Change(value)); });
    connect(ui_.SlIDech, &QSlider::valueChanged, this, [this](int value) { Start(SlIDech_Change(value)); });
    connect(&timerchargeur_, &Timer::Tick, this, &MesCapa::Timerchargeur_Timer);
    connect(&awake_, &Awake::SleepComing, this, [this] { StopFor(Awake::sleepComing); });
    ShowUnconfirmed(link_.outputs, ui_.LbEtat);
    new StopButton(*ui_.CBStop, news_);
    freshness_.Add({ui_.LbH, ui_.LbM, ui_.LbS, ui_.LbCadAlim, ui_.LbVAlim, ui_.LbCadDbl, ui_.LbVDbl, ui_.LbCadTemp,
                    ui_.LbTemp, ui_.LCadIchrg, ui_.LbIchrg, ui_.LbCadIDech, ui_.LbIDech, ui_.LbCadVbat, ui_.LbVbat,
                    ui_.LbCadVDelta});
    freshness_.Add(ui_.releves->Readings());
    SetTone(*ui_.saturation, Tone::Danger);
    ui_.securites->Watch(link_, {&Quantity::chargeCurrent, &Quantity::dischargeCurrent});
    pane_ =
        AddRunCurve(*this, news_, ui_.LbCadAlim->parentWidget(), [this](const Error &error) { Window::Failed(error); });
}

void MesCapa::Load()
{
    pane_->Recall();
    freshness_.Forget();
    Centre();
    for (QSlider *slider : {ui_.SlIChrg, ui_.SlIDech}) {
        slider->setMinimum(0);
        slider->setMaximum(255);
    }
    Q_EMIT Opened();
    StopTimers();
    timerch2_.SetInterval(flagMs);
    timerchargeur_.SetInterval(tickMs);
    tick_.Clear();
    now_ = {};
    ReadingsDue_ = false;
    FanOn_ = false;
    std::ranges::fill(settings_, quint8(0));
    phaseClock_.reset();
    paint::Lamp(ui_.Dspvent, lampOff);
    ui_.LbNote->setText(QStringLiteral("Prêt"));
    ui_.securites->Recall();
}

void MesCapa::StopTimers()
{
    timerch2_.SetEnabled(false);
    timerchargeur_.SetEnabled(false);
    watch_.Rest();
}

/// The timer is one-shot: each wait enables it anew.
void MesCapa::Timerchargeur_Timer()
{
    timerchargeur_.SetEnabled(false);
    if (watch_.HasSlept()) {
        StopFor(Awake::slept);
        return;
    }
    watch_.GotOn();
    ShowDuration();
    tick_.Set();
}

// ---- start, stop and back

Task<void> MesCapa::CBstart_Click()
{
    if (run_ || leaving_)
        co_return;
    if (MonitorKeepsLine(this, link_) || activity_.IsBarred(this, title::Of(*this)))
        co_return;
    run_ = std::make_shared<Run>();
    const RunPtr run = run_;
    awake_.Hold();
    ui_.LbNote->clear();
    try {
        co_await StopsOver(run);
        run->outputs = switched_ = link_.outputs.Begin(idle, switched_);
        watch_.GotOn();
        news_.Begin(Settings());
        co_await StartCycle(run);
    } catch (const NotWanted &) {
        co_return; // stopped, left or failed: whoever ended it has switched the outputs off
    }
    EndRun(RunEnd::How::Rule);
    phaseClock_.reset();
    Q_EMIT Ended(now_);
}

/// Ends the measurement under way, if there is one. It unwinds where it waits, or else as soon as its exchange in hand
/// is over, and sends nothing more.
MesCapa::RunPtr MesCapa::EndRun(RunEnd::How how, const QString &why)
{
    StopTimers();
    awake_.Release();
    const RunPtr ended = std::exchange(run_, nullptr);
    news_.End(how, why);
    freshness_.End();
    ShowSaturation(false);
    if (ended) {
        ended->wanted = false;
        ended->log.reset();
        tick_.Wake();
        stopNews_.Wake();
    }
    return ended;
}

const Outputs::RunPtr &MesCapa::Switched()
{
    if (!switched_)
        switched_ = link_.outputs.Begin(idle);
    return switched_;
}

/// Sends the writes that follow the end of a measurement (or of none). A measurement that was begun since is left
/// alone.
Task<void> MesCapa::SwitchOff(Writes writes)
{
    const Outputs::RunPtr ended = Switched();
    ++stopping_;
    std::optional<PortClosed> closed;
    try {
        Task<void> ending = link_.outputs.End(ended, writes);
        co_await ending;
    } catch (const PortClosed &error) {
        closed = error; // it is sent as soon as the port is open
    }
    --stopping_;
    stopNews_.Wake();
    if (!ended->superseded)
        ShowOutputs(idle);
    if (closed)
        throw *closed;
}

/// A new measurement begins when the stop before it has done its writes, unless the board leaves them unanswered.
Task<void> MesCapa::StopsOver(RunPtr run)
{
    stopPatience_.Start(answer);
    while (run->wanted && stopping_ > 0 && stopPatience_.IsSet())
        co_await stopNews_;
    if (!run->wanted)
        throw NotWanted();
}

Task<void> MesCapa::CBStop_Click()
{
    return Stop({});
}

void MesCapa::StopFor(const QString &cause)
{
    if (!run_)
        return;
    if (!cause.isEmpty()) {
        runnote::Add(run_->log ? run_->log->Path() : QString(), QStringLiteral("Arret : ") + cause);
        Q_EMIT Stopping(cause);
    }
    Start(Stop(cause));
}

Task<void> MesCapa::Stop(QString cause)
{
    EndRun(cause.isEmpty() ? RunEnd::How::Stop : RunEnd::How::Cause, cause);
    phaseClock_.reset();
    ui_.LbNote->setText(QStringLiteral("Arrêt demandé à la carte"));
    try {
        co_await SwitchOff(stopWrites);
    } catch (const PortClosed &) {
        ui_.LbNote->setText(QStringLiteral("Port fermé : l'arrêt partira à sa réouverture"));
        throw;
    }
    if (!run_)
        ui_.LbNote->setText(cause.isEmpty() ? QStringLiteral("Arrêté") : QStringLiteral("Arrêté : ") + cause);
    Q_EMIT Stopped();
}

Task<void> MesCapa::CbRetour_Click()
{
    if (leaving_) {
        Leave(); // pressed again: the board does not answer, and gets the rest when it does
        co_return;
    }
    leaving_ = true;
    EndRun(RunEnd::How::Left);
    for (Newest &moves : sliderMoves_)
        moves.Next(); // a move that still waits for the line is void
    std::optional<PortClosed> closed;
    try {
        co_await SwitchOff(backWrites);
    } catch (const PortClosed &error) {
        closed = error;
    }
    if (leaving_)
        Leave();
    if (closed)
        Window::Failed(*closed);
}

void MesCapa::Leave()
{
    leaving_ = false;
    hide(); // it may be the close box that asked for it
    link_.ReconnectOnActivate = 0;
    Q_EMIT Returning();
}

void MesCapa::closeEvent(QCloseEvent *event)
{
    event->ignore();
    Start(CbRetour_Click());
}

void MesCapa::Failed(const Error &error)
{
    if (EndRun(RunEnd::How::Error, error.Text())) {
        if (Switched()->on)
            SwitchOffUnanswered();
        phaseClock_.reset();
        ui_.LbNote->setText(QStringLiteral("Interrompu par une erreur"));
    }
    Window::Failed(error);
    Q_EMIT Aborted();
}

void MesCapa::SwitchOffUnanswered()
{
    link_.outputs.EndNow(Switched(), idle);
    ShowOutputs(idle);
}

/// The board has not answered for so long that nobody knows what it does.
void MesCapa::Overdue()
{
    if (!EndRun(RunEnd::How::Error, QStringLiteral("la carte n'a rien répondu")))
        return;
    SwitchOffUnanswered();
    link_.outputs.StepOver(Switched()); // in doubt from the start
    phaseClock_.reset();
    ui_.LbNote->setText(QStringLiteral("Interrompu : la carte ne répond plus"));
    messages::Show(this, QMessageBox::Critical, title::Of(*this),
                   QStringLiteral("La carte n'a rien répondu depuis 15 secondes : la mesure est arrêtée.\n"
                                  "Le programme coupe les sorties dès que la carte répond. "
                                  "En cas de doute, débranchez la batterie."));
    Q_EMIT ConnectionWanted();
    Q_EMIT Aborted();
}

// ---- settings

Task<void> MesCapa::SlIChrg_Change(int value)
{
    const double amperes = CurrentSettingAmps(value, link_.SlaveEeprom[4]);
    ui_.Label12->setText(QStringLiteral("COURANT DE CHARGE =") + number::Str(amperes) + QStringLiteral(" A"));
    co_await SendSetting(0, command::ChargeSetting, value);
}

Task<void> MesCapa::SlIDech_Change(int value)
{
    const double amperes = CurrentSettingAmps(value, link_.SlaveEeprom[5]);
    ui_.Label25->setText(QStringLiteral("COURANT DE DECHARGE =") + number::Str(amperes) + QStringLiteral(" A"));
    co_await SendSetting(1, command::DischargeSetting, value);
}

Task<void> MesCapa::SendSetting(int slider, quint8 reg, int value)
{
    if (leaving_)
        co_return;
    const Wanted wanted = sliderMoves_[slider].Next();
    // While the line is busy moves pile up, and the last one goes first: those before it are void then.
    Task<void> exchange = WriteRegister(link_, reg, static_cast<quint8>(value), wanted);
    co_await exchange;
    if (!wanted())
        co_return;
    settings_[slider] = static_cast<quint8>(value);
    Q_EMIT SettingSent();
}

// ---- display

void MesCapa::ShowState(const QString &text)
{
    if (text == ui_.LbEtat->text())
        return;
    ui_.LbEtat->setText(text);
    Q_EMIT StateShown(text);
}

void MesCapa::BeginPhase(const QString &name)
{
    phaseClock_.emplace();
    ui_.LbNote->clear();
    ShowSaturation(false);
    ShowDuration();
    news_.BeginPhase(name);
}

double MesCapa::PhaseSeconds() const
{
    return phaseClock_ ? Timer::Seconds(*phaseClock_) : 0;
}

void MesCapa::ShowDuration()
{
    if (!phaseClock_)
        return;
    const auto seconds = static_cast<qint64>(PhaseSeconds());
    ui_.LbDuree->setText(capacity::DurationText(seconds));
    if (seconds >= capacity::longPhaseSeconds)
        ui_.LbNote->setText(QStringLiteral("Cette phase dure depuis plus de 16 heures"));
}

void MesCapa::ShowSaturation(bool saturated)
{
    ui_.saturation->setText(saturated ? DeltaSaturation::warning : QString());
}

void MesCapa::ShowOutputs(const Writes &pattern)
{
    const QString what = pattern == charge      ? QStringLiteral("charge")
                         : pattern == discharge ? QStringLiteral("décharge")
                                                : QStringLiteral("repos");
    ui_.LbSorties->setText(QStringLiteral("Sorties : ") + what);
}
