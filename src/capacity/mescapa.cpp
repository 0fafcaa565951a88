#include "mescapa.h"

#include "base/messages.h"
#include "base/number.h"
#include "base/paint.h"
#include "runs/insistence.h"
#include "runs/measurement.h"

#include <QCloseEvent>

using namespace measurement;

namespace {
constexpr int tickMs = 2000;
constexpr int flagMs = 100;
constexpr int answerMs = 2000; // how long a new start leaves the board to answer the stop before it

const QColor lampOff(128, 128, 128);
} // namespace

const MesCapa::Write MesCapa::idle[] = {
    {command::CutPower, 0}, {command::CutCharge, 0}, {command::CutDischarge, 0}, {command::GroundBattery, 1}};
const MesCapa::Write MesCapa::charge[] = {
    {command::CutDischarge, 0}, {command::GroundBattery, 0}, {command::CutPower, 1}, {command::CutCharge, 1}};
const MesCapa::Write MesCapa::discharge[] = {
    {command::CutCharge, 0}, {command::CutPower, 0}, {command::CutDischarge, 1}, {command::GroundBattery, 1}};
const MesCapa::Write MesCapa::outputsOff[] = {
    {command::CutPower, 0}, {command::CutDischarge, 0}, {command::CutCharge, 0}, {command::GroundBattery, 1}};
const MesCapa::Write MesCapa::stopWrites[] = {{command::CutPower, 0},
                                              {command::CutDischarge, 0},
                                              {command::CutCharge, 0},
                                              {command::GroundBattery, 1},
                                              {command::Beep, 10}};
const MesCapa::Write MesCapa::backWrites[] = {{command::CutPower, 0},      {command::CutDischarge, 0},
                                              {command::CutCharge, 0},     {command::GroundBattery, 1},
                                              {command::ChargeSetting, 0}, {command::DischargeSetting, 0}};

MesCapa::MesCapa(Codebas &link)
    : Window(QStringLiteral("MesCapa"))
    , link_(link)
    , timerchargeur_(QStringLiteral("Timerchargeur"), tickMs, this)
    , timerch2_(QStringLiteral("Timerch2"), flagMs, this)
    , watchdog_(link)
{
    ui_.setupUi(this);
    RememberDesign();
    OnClick(ui_.CBstart, &MesCapa::CBstart_Click);
    OnClick(ui_.CBStop, &MesCapa::CBStop_Click);
    OnClick(ui_.CbRetour, &MesCapa::CbRetour_Click);
    connect(ui_.SlIChrg, &QSlider::valueChanged, this, [this](int value) { Start(SlIChrg_Change(value)); });
    connect(ui_.SlIDech, &QSlider::valueChanged, this, [this](int value) { Start(SlIDech_Change(value)); });
    connect(&timerchargeur_, &QTimer::timeout, this, &MesCapa::Timerchargeur_Timer);
    stopPatience_.setSingleShot(true);
    connect(&stopPatience_, &QTimer::timeout, this, [this] { stopNews_.Wake(); });
}

MesCapa::~MesCapa()
{
    DropHandlers(); // while all that they use is still there
}

void MesCapa::Load()
{
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
    phaseClock_.invalidate();
    paint::Lamp(ui_.Dspvent, lampOff);
    ui_.LbNote->setText(QStringLiteral("Prêt"));
}

void MesCapa::StopTimers()
{
    timerch2_.SetEnabled(false);
    timerchargeur_.SetEnabled(false);
    watchdog_.Rest();
}

/// The timer is one-shot: each wait enables it anew.
void MesCapa::Timerchargeur_Timer()
{
    timerchargeur_.SetEnabled(false);
    watchdog_.Watch();
    ShowDuration();
    tick_.Set();
}

// ---- start, stop and back

Task<void> MesCapa::CBstart_Click()
{
    if (run_ || leaving_)
        co_return;
    if (link_.Streaming) {
        messages::Show(this, QMessageBox::Warning, windowTitle(), messages::closeTheMonitor);
        co_return;
    }
    run_ = std::make_shared<Run>();
    const RunPtr run = run_;
    awake_.Hold();
    ui_.LbNote->clear();
    bool atItsEnd = true;
    try {
        co_await StopsOver(run);
        watchdog_.Watch();
        co_await StartCycle(run);
    } catch (const NotWanted &) {
        atItsEnd = false; // stopped, left or failed: whoever ended it has switched the outputs off
    }
    if (atItsEnd) {
        EndRun();
        phaseClock_.invalidate();
        Q_EMIT Ended(now_);
    } else if (run->offAgain) {
        co_await SwitchOff(run, outputsOff);
    }
}

/// Ends the measurement under way, if there is one. It unwinds where it waits, or else as soon as its exchange in hand
/// is over, and sends nothing more.
MesCapa::RunPtr MesCapa::EndRun()
{
    StopTimers();
    awake_.Release();
    const RunPtr ended = std::exchange(run_, nullptr);
    if (ended) {
        ended->wanted = false;
        ended->log.reset();
        tick_.Wake();
        stopNews_.Wake();
    }
    return ended;
}

/// Sends the writes that follow the end of a measurement (or of none). A measurement that was begun since is left
/// alone.
Task<void> MesCapa::SwitchOff(RunPtr ended, Writes writes)
{
    const int start = starts_;
    ++stopping_;
    std::exception_ptr error;
    try {
        const auto sendAll = [this, writes, start] {
            for (const Write &write : writes)
                if (start == starts_)
                    SendRegister(link_, write.reg, write.value);
        };
        Insistence insistence(link_, sendAll);
        const Wanted wanted = [this, ended, start, &insistence] {
            if (start != starts_)
                return false;
            insistence.Advance();
            if (ended)
                ended->offSent = true;
            return true;
        };
        for (const Write &write : writes) {
            Task<void> exchange = WriteRegister(link_, write.reg, write.value, wanted);
            co_await exchange;
        }
        if (start == starts_)
            ShowOutputs(idle);
    } catch (...) {
        error = std::current_exception();
    }
    --stopping_;
    stopNews_.Wake();
    if (error)
        std::rethrow_exception(error);
}

/// A new measurement begins when the stop before it has done its writes, unless the board leaves them unanswered.
Task<void> MesCapa::StopsOver(RunPtr run)
{
    stopPatience_.start(answerMs);
    while (run->wanted && stopping_ > 0 && stopPatience_.isActive())
        co_await stopNews_;
    if (!run->wanted)
        throw NotWanted();
    ++starts_;
}

Task<void> MesCapa::CBStop_Click()
{
    const RunPtr ended = EndRun();
    phaseClock_.invalidate();
    ui_.LbNote->setText(QStringLiteral("Arrêt demandé à la carte"));
    try {
        co_await SwitchOff(ended, stopWrites);
    } catch (const PortClosed &) {
        ui_.LbNote->setText(QStringLiteral("Arrêt impossible : port fermé"));
        throw;
    }
    if (!run_)
        ui_.LbNote->setText(QStringLiteral("Arrêté"));
    Q_EMIT Stopped();
}

Task<void> MesCapa::CbRetour_Click()
{
    if (leaving_) {
        Leave(); // pressed again: the board does not answer, and gets the rest when it does
        co_return;
    }
    leaving_ = true;
    const RunPtr ended = EndRun();
    for (int &move : sliderMoves_)
        ++move; // a move that still waits for the line is void
    std::optional<PortClosed> closed;
    try {
        co_await SwitchOff(ended, backWrites);
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
    if (const RunPtr ended = EndRun()) {
        SwitchOffUnanswered();
        ended->offSent = true;
        phaseClock_.invalidate();
        ui_.LbNote->setText(QStringLiteral("Interrompu par une erreur"));
    }
    Window::Failed(error);
    Q_EMIT Aborted();
}

void MesCapa::SwitchOffUnanswered()
{
    for (const Write &write : idle)
        SendRegister(link_, write.reg, write.value);
    ShowOutputs(idle);
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
    const int move = ++sliderMoves_[slider];
    // While the line is busy moves pile up, and the last one goes first: those before it are void then.
    const Wanted wanted = [this, slider, move] { return move == sliderMoves_[slider]; };
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

void MesCapa::BeginPhase()
{
    phaseClock_.start();
    ui_.LbNote->clear();
    ShowDuration();
}

void MesCapa::ShowDuration()
{
    if (!phaseClock_.isValid())
        return;
    const auto seconds = static_cast<qint64>(static_cast<double>(phaseClock_.elapsed()) / 1000 * Timer::Scale());
    ui_.LbDuree->setText(capacity::DurationText(seconds));
    if (seconds >= capacity::longPhaseSeconds)
        ui_.LbNote->setText(QStringLiteral("Cette phase dure depuis plus de 16 heures"));
}

void MesCapa::ShowOutputs(Writes pattern)
{
    const QString what = pattern.data() == charge      ? QStringLiteral("charge")
                         : pattern.data() == discharge ? QStringLiteral("décharge")
                                                       : QStringLiteral("repos");
    ui_.LbSorties->setText(QStringLiteral("Sorties : ") + what);
}
