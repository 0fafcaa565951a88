// SPDX-License-Identifier: GPL-3.0-or-later
#include "main.h"

#include "base/dress.h"
#include "base/glyph.h"
#include "base/messages.h"
#include "base/screenfit.h"
#include "base/title.h"
#include "base/tone.h"
#include "link/command.h"
#include "runs/runnotice.h"
#include "runs/runtitle.h"
#include "runs/runwords.h"
#include "runs/unconfirmed.h"

#include <QApplication>
#include <QCloseEvent>
#include <QLabel>
#include <QLayout>
#include <QScreen>

#include <optional>

namespace {
constexpr QSize modeIcon(20, 20); // pixels
} // namespace

Main::Main(std::unique_ptr<Port> port)
    : com_(std::move(port), this)
    , timer1_(QStringLiteral("Timer1"), 200, this)
    , timer2_(QStringLiteral("Timer2"), 20, this)
    , link_(com_, timer1_, timer2_)
    , moving_([this](std::exception_ptr thrown) { Failed(thrown); })
    , connecting_([this](std::exception_ptr thrown) { Failed(thrown); })
    , changing_([this](std::exception_ptr thrown) { Failed(thrown); })
    , quitting_([this](std::exception_ptr thrown) { Failed(thrown); })
    , cutting_([this](std::exception_ptr thrown) { Failed(thrown); })
    , chargeur_(link_)
    , dechargeur_(link_)
    , capacity_(link_)
    , monitor_(link_)
    , calibration_(link_)
    , tools_(link_)
    , dashboard_(link_)
{
    ui_.setupUi(this);
    ui_.TXT_Display->setPlainText(QStringLiteral("Pas de connection\r\n ..Attente..\r\n"));
    timer2_.SetEnabled(true);
    silence_->setObjectName(QStringLiteral("silenceAdvice"));
    silence_->setWordWrap(true);
    silence_->hide();
    SetTone(*silence_, Tone::Danger);
    ui_.layout3->insertWidget(ui_.layout3->indexOf(ui_.TXT_Display) + 1, silence_);
    connect(&link_.silence, &Silence::Changed, silence_, &QLabel::setVisible);
    AddStrip(*this, QStringLiteral("Couper maintenant"))->LeaveAdvice();
    streams_->setObjectName(QStringLiteral("streams"));
    ui_.statusbar->addPermanentWidget(streams_);
    for (const auto &[button, window] :
         {std::pair(ui_.cb_chargeur, "chargeur"), std::pair(ui_.CbDechargeur, "dechargeur"),
          std::pair(ui_.CbCapa, "mescapa"), std::pair(ui_.CbMoni, "moni"), std::pair(ui_.Cb_Reglage, "reglage"),
          std::pair(ui_.Cb_Debug, "micro")}) {
        button->setIcon(Glyph(QLatin1String(window)));
        button->setIconSize(modeIcon);
    }
    const auto widgets = QApplication::topLevelWidgets();
    for (QWidget *widget : widgets)
        if (auto *window = qobject_cast<Window *>(widget))
            AddStrip(*window, QStringLiteral("Couper"));
    ui_.statusbar->addPermanentWidget(UnconfirmedWarning(link_.outputs, this));

    connect(&link_.handshake, &Handshake::Display, ui_.TXT_Display, &QPlainTextEdit::setPlainText);
    connect(&link_.handshake, &Handshake::LoadStarted, this, [this](const QString &caption, int maximum) {
        ui_.Prbar->setMaximum(maximum);
        ui_.Lbinfo->setText(caption);
        ui_.FRtemp->show();
        ui_.Prbar->show();
    });
    connect(&link_.handshake, &Handshake::LoadProgress, ui_.Prbar, &QProgressBar::setValue);
    connect(&link_.handshake, &Handshake::LoadEnded, this, [this] {
        ui_.FRtemp->hide();
        ui_.Prbar->hide();
    });
    connect(&link_.handshake, &Handshake::Connected, this, [this] {
        if (Window *const window = std::exchange(opensLater_, nullptr))
            window->Open();
        connecting_.Start(unwatched_.FindOut());
    });
    connect(&link_, &Codebas::BoardStreamsChanged, this, &Main::ShowStreaming);
    connect(&unwatched_, &Unwatched::Changed, this, &Main::ShowWarnings);
    connect(&com_, &Com::PortLost, this, [this](const QString &reason) {
        messages::Show(this, QMessageBox::Warning, title::Of(*this),
                       QStringLiteral("La liaison avec %1 est coupée : %2\n"
                                      "Elle reprendra d'elle-même quand le port sera de retour.")
                           .arg(com_.PortName(), reason));
    });

    const auto opens = [this](auto *control, auto signal, Window &window) {
        connect(control, signal, this, [this, &window] { OpenMode(window); });
    };
    opens(ui_.cb_chargeur, &QPushButton::clicked, chargeur_);
    opens(ui_.MnuChargeur, &QAction::triggered, chargeur_);
    opens(ui_.CbDechargeur, &QPushButton::clicked, dechargeur_);
    opens(ui_.MDdech, &QAction::triggered, dechargeur_);
    opens(ui_.CbCapa, &QPushButton::clicked, capacity_);
    opens(ui_.MdCapa, &QAction::triggered, capacity_);
    connect(ui_.CbMoni, &QPushButton::clicked, this, &Main::CbMoni_Click);
    opens(ui_.Cb_Reglage, &QPushButton::clicked, calibration_);
    opens(ui_.MnuReglage, &QAction::triggered, calibration_);
    opens(ui_.Cb_Debug, &QPushButton::clicked, tools_);
    opens(ui_.MnuMicro, &QAction::triggered, tools_);
    connect(ui_.MnuCourbes, &QAction::triggered, &viewer_, &Window::Open);
    connect(ui_.MnuCarnet, &QAction::triggered, &carnet_, &Window::Open);
    EnterRuns();
    for (const Window *window :
         std::initializer_list<const Window *>{&chargeur_, &dechargeur_, &capacity_, &monitor_, &calibration_, &tools_})
        connect(window, &Window::Returning, this, &Main::ShowAgain);
    connect(&monitor_, &Window::Returning, this, &Main::ShowStreaming, Qt::QueuedConnection); // when it is closed
    connect(&capacity_, &MesCapa::Opened, this, [this] {
        EndGreeting();
        timer1_.SetEnabled(false);
        timer2_.SetEnabled(false);
        hide();
    });
    connect(&monitor_, &Moni::TakingLine, this, [this] {
        moving_.Drop(); // the monitor opens the port afresh itself
        EndGreeting();
    });
    connect(&tools_, &Micro::Opened, this, &QWidget::hide);
    connect(&tools_, &Micro::DashboardWanted, &dashboard_, &Window::Open);
    for (const RunWindow *window : std::initializer_list<const RunWindow *>{&chargeur_, &dechargeur_})
        connect(window, &RunWindow::ConnectionWanted, this, &Main::ConnectForSwitchingOff);
    connect(&capacity_, &MesCapa::ConnectionWanted, this, &Main::ConnectForSwitchingOff);
    FollowRuns(chargeur_, chargeur_.News());
    FollowRuns(dechargeur_, dechargeur_.News());
    FollowRuns(capacity_, capacity_.News());
    connect(&link_.line, &Exchanges::SessionWanted, this, &Main::GreetStreamingBoard);
    Window::opensNow = [this](Window &window) { return OpensNow(window); };
    Window::endsProgram = [this](const Error &error) { return EndForError(error); };
    monitor_.AskBefore([this] { return !RunIsOn(); });

    connect(ui_.Cb_Reconnect, &QPushButton::clicked, this, &Main::Cb_Reconnect_Click);
    connect(ui_.CD_DECONNECT, &QPushButton::clicked, this, &Main::CD_DECONNECT_Click);
    connect(ui_.Cb_quitter, &QPushButton::clicked, this, &Main::Mnuquitter_Click);
    connect(ui_.Mnuquitter, &QAction::triggered, this, &Main::Mnuquitter_Click);
    connect(&activation_, &Activation::Activated, this, &Main::Form_Activate);
}

Main::~Main()
{
    Window::opensNow = {};
    Window::endsProgram = {};
    quitting_.Drop();
    cutting_.Drop();
    changing_.Drop();
    moving_.Drop();
    connecting_.Drop(); // what it tells while it ends is still understood here
}

void Main::Load()
{
    com_.SetPortOpen(false);
    ui_.FRtemp->hide();
    link_.InitSerialPort();
    link_.LinkDropped = false;
    link_.ReconnectOnActivate = 1;
    if (!std::exchange(dressed_, true))
        Dress(*this);
    adjustSize();
    const QRect room = screen()->availableGeometry();
    move(room.center() - rect().center());
    FitOnScreen(*this);
    show();
    activateWindow();
    activation_.Shown();
}

void Main::Form_Activate()
{
    if (com_.Lost() || !changing_.Empty())
        return; // the user was told, and the port comes back by itself; or another one takes its place
    moving_.Drop();
    moving_.Start(Activate());
}

Task<void> Main::Activate()
{
    Task<void> closing = link_.ClosePort();
    co_await closing;
    if (link_.ReconnectOnActivate == 1) {
        Connect();
        co_return;
    }
    link_.InitSerialPort();
    link_.LinkDropped = false;
    link_.OpenPort();
}

void Main::Connect()
{
    connecting_.Drop();
    connecting_.Start(link_.handshake.ConnectBoard());
}

/// A run has lost sight of the board: only a new session can tell it to switch off. Not against the user, who may have
/// disconnected it; a device that was lost is open again by itself.
void Main::ConnectForSwitchingOff()
{
    if (link_.LinkDropped || com_.Lost())
        return;
    moving_.Drop();
    moving_.Start(ConnectAgain());
}

Task<void> Main::ConnectAgain()
{
    Task<void> closing = link_.ClosePort();
    co_await closing;
    Connect();
}

/// The board was left streaming, and somebody has something to say to it. Not while the monitor wants the stream, nor
/// while the port is being closed or opened anew.
void Main::GreetStreamingBoard()
{
    if (link_.BoardStreams && connecting_.Empty() && moving_.Empty() && !monitor_.isVisible())
        Connect();
}

/// A window that talks to the board opens when the board listens. The monitor wants it to stream.
bool Main::OpensNow(Window &window)
{
    if (!link_.BoardStreams || !com_.PortOpen() || &window == &monitor_ || monitor_.isVisible() ||
        &window == &viewer_ || &window == &carnet_)
        return true;
    opensLater_ = &window;
    GreetStreamingBoard();
    return false;
}

void Main::EnterRuns()
{
    const auto enter = [this](QWidget &window, const RunNews &news) {
        enterers_.push_back(std::make_unique<Enterer>(book_, news, *window.findChild<PackBox *>()));
    };
    enter(chargeur_, chargeur_.News());
    enter(dechargeur_, dechargeur_.News());
    enter(capacity_, capacity_.News());
    connect(&carnet_, &Carnet::CurveWanted, &viewer_, [this](const QString &log) {
        viewer_.Open();
        viewer_.OpenLogs({log});
    });
}

// ---- warnings

/// In the title bars of the run's window and of this one, at the foot of all others, and at its end on the desktop.
void Main::FollowRuns(QMainWindow &window, const RunNews &news)
{
    const auto *progress = new RunProgress(news, &window);
    new RunTitle(*progress, {&window, this}, &window);
    new RunNotice(*progress, &window);
    runs_.emplace_back(&window, &news);
    connect(&news, &RunNews::Began, this, &Main::ShowRuns);
    connect(&news, &RunNews::Over, this, &Main::ShowRuns);
}

Strip *Main::AddStrip(QMainWindow &window, const QString &cutText)
{
    auto *strip = new Strip(link_, board_, cutText, window);
    connect(strip, &Strip::Cut, this, [this] { cutting_.Start(Cut()); });
    connect(strip, &Strip::Stop, this, [this] { StopRuns({}); });
    strips_.push_back(strip);
    return strip;
}

void Main::ShowWarnings()
{
    for (Strip *strip : strips_)
        strip->ShowWarnings(unwatched_.Text(), guardMissing_);
}

/// A run's own window has its "Arret".
void Main::ShowRuns()
{
    for (Strip *strip : strips_) {
        QString text;
        for (const auto &[window, news] : runs_)
            if (news->On() && window != strip->window())
                text = QStringLiteral("Une %1 est en cours dans « %2 »")
                           .arg(runwords::Name(news->What()).toLower(), title::Of(*window));
        strip->ShowRun(text);
    }
}

void Main::SetGuardMissing(bool missing)
{
    guardMissing_ = missing;
    ShowWarnings();
}

void Main::ShowStreaming()
{
    streams_->setVisible(link_.BoardStreams && !monitor_.isVisible() && !link_.LinkDropped);
}

/// The user wants it now, whoever has disconnected the board.
Task<void> Main::Cut()
{
    if (!com_.PortOpen())
        Cb_Reconnect_Click();
    Task<void> cutting = unwatched_.Cut();
    co_await cutting;
}

/// A greeting whose timers are stopped or whose port is taken would hold the line for ever.
void Main::EndGreeting()
{
    if (timer1_.Enabled())
        connecting_.Drop();
}

void Main::Cb_Reconnect_Click()
{
    changing_.Drop();
    moving_.Drop();
    connecting_.Drop();
    connecting_.Start(Reconnect());
}

/// A device that was lost is only asked for once more: whatever comes of that, it is still looked for.
Task<void> Main::Reconnect()
{
    if (!com_.Lost()) {
        Task<void> closing = link_.ClosePort();
        co_await closing;
    }
    Task<void> connecting = link_.handshake.ConnectBoard();
    co_await connecting;
    link_.LinkDropped = false;
    link_.ReconnectOnActivate = 0;
}

void Main::CD_DECONNECT_Click()
{
    if (!AsksBeforeLeaving([this](bool) { BeginDisconnecting(); }))
        BeginDisconnecting();
}

void Main::BeginDisconnecting()
{
    opensLater_ = nullptr;
    connecting_.Drop();
    timer1_.SetEnabled(false);
    changing_.Drop();
    moving_.Drop();
    moving_.Start(Disconnect());
}

Task<void> Main::Disconnect()
{
    // At once, so that nothing that comes in between takes the session for one that goes on.
    ui_.TXT_Display->setPlainText(QStringLiteral("Déconnecté"));
    link_.ReconnectOnActivate = 1;
    link_.LinkDropped = true;
    std::optional<PortError> refused;
    try {
        link_.OpenPort();
        Task<void> settled = link_.outputs.Confirmed(); // a board that was told to end the session does not hear
        co_await settled;
        link_.EndSession();
    } catch (const PortError &error) {
        refused = error;
    }
    Task<void> closing = link_.ClosePort();
    co_await closing;
    if (refused)
        throw *refused;
}

// ---- another port

/// Nothing stays on behind a port that is left: nobody would see its end.
void Main::LeavePort(std::function<void()> left)
{
    if (question_)
        question_->close();
    const Activity *const on = Activity::On(link_.activities);
    const QString flows = unwatched_.Text();
    if (!on && flows.isEmpty()) {
        BeginLeavingPort(std::move(left));
        return;
    }
    question_ = messages::Ask(this, title::Of(*this),
                              (on ? QStringLiteral("%1 est en cours.").arg(on->Name()) : flows + u'.') +
                                  QStringLiteral("\nChanger de port arrête ce qui est en marche."),
                              {QStringLiteral("Arrêter et changer de port"), QStringLiteral("Annuler")},
                              [this, left](int answer) {
                                  if (answer != 0)
                                      return;
                                  StopAll({});
                                  BeginLeavingPort(left);
                              });
}

void Main::BeginLeavingPort(std::function<void()> left)
{
    opensLater_ = nullptr;
    connecting_.Drop();
    timer1_.SetEnabled(false);
    moving_.Drop();
    changing_.Drop();
    changing_.Start(LeavePortInOrder(std::move(left)));
}

Task<void> Main::LeavePortInOrder(std::function<void()> left)
{
    if (com_.PortOpen() && !unwatched_.Text().isEmpty()) {
        try {
            Task<void> cutting = unwatched_.Cut();
            co_await cutting;
        } catch (const PortClosed &) {
            // it was lost just now: what is to be off is told wherever the board is found next
        }
    }
    Task<void> leaving = com_.PortOpen() ? Disconnect() : link_.ClosePort();
    co_await leaving;
    if (link_.outputs.Unconfirmed())
        messages::Show(this, QMessageBox::Warning, title::Of(*this),
                       QStringLiteral("La carte de %1 n'a pas confirmé que tout est coupé.\n"
                                      "En cas de doute, débranchez la batterie.")
                           .arg(com_.PortName()));
    left();
}

void Main::ConnectTo(const QString &port)
{
    connecting_.Drop();
    connecting_.Start(ConnectAt(port));
}

Task<void> Main::ConnectAt(QString port)
{
    Task<void> closing = link_.ClosePort();
    co_await closing;
    link_.InitSerialPort();
    com_.SetPortName(port);
    Task<void> connecting = Reconnect();
    co_await connecting;
}

bool Main::WaitsForBoard() const
{
    return !com_.Lost() && changing_.Empty() && (!com_.PortOpen() || timer1_.Enabled());
}

void Main::Mnuquitter_Click()
{
    if (!AsksBeforeLeaving([this](bool stop) { quitting_.Start(Quit(stop)); }))
        quitting_.Start(Quit(false));
}

/// Nothing is switched here. But a stop that was pressed just before is still told to the board.
Task<void> Main::Quit(bool stop)
{
    link_.outputs.LeaveAll();
    Task<void> settled = stop ? link_.outputs.Confirmed() : link_.outputs.Settled();
    co_await settled;
    Task<void> sent = com_.Sent();
    co_await sent;
    QCoreApplication::exit(0);
}

void Main::closeEvent(QCloseEvent *event)
{
    Mnuquitter_Click();
    event->setAccepted(!question_);
}

void Main::Failed(std::exception_ptr thrown)
{
    try {
        std::rethrow_exception(thrown);
    } catch (const PortError &error) {
        const QString wayOut = error.WayOut().isEmpty() ? QString() : u'\n' + error.WayOut();
        messages::Show(this, QMessageBox::Warning, title::Of(*this), error.Text() + wayOut);
        Q_EMIT ConnectionFailed();
    } catch (const Error &error) {
        messages::Show(this, QMessageBox::Warning, title::Of(*this), error.Text());
        Q_EMIT ConnectionFailed();
    }
}

void Main::OpenMode(Window &window)
{
    link_.MainLeft = static_cast<float>(x());
    link_.MainTop = static_cast<float>(y());
    window.Open();
}

bool Main::RunIsOn() const
{
    return chargeur_.Running() || dechargeur_.Running() || capacity_.Running();
}

void Main::StopRuns(const QString &cause)
{
    chargeur_.StopFor(cause);
    dechargeur_.StopFor(cause);
    capacity_.StopFor(cause);
}

void Main::StopAll(const QString &cause)
{
    StopRuns(cause);
    calibration_.StopCurrents();
    link_.outputs.EndRest();
}

QString Main::EndForError(const Error &error)
{
    StopAll(error.Text());
    if (!com_.PortOpen())
        return QStringLiteral("Le programme va s'arrêter ; le port n'est pas ouvert : si un courant passe encore, "
                              "débranchez l'accu.");
    if (unwatched_.Charges() || unwatched_.Discharges())
        cutting_.Start(unwatched_.Cut());
    return QStringLiteral("Le programme va s'arrêter ; les sorties sont coupées.");
}

/// A way out while something is on asks once what is to become of it, and is taken when that is answered. False when
/// there is nothing to ask, or the user insists. `leave` is told whether what was on is being stopped.
bool Main::AsksBeforeLeaving(std::function<void(bool)> leave)
{
    if (question_) {
        question_->close();
        return false;
    }
    const Activity *const on = Activity::On(link_.activities);
    if (!on)
        return false;
    const bool run = on->What() == Activity::Kind::Run;
    question_ = messages::Ask(
        this, title::Of(*this),
        run ? QStringLiteral("%1 est en cours, et c'est le programme qui la termine.").arg(on->Name())
            : QStringLiteral("%1 est ouverte et laisse passer un courant.").arg(on->Name()),
        {run ? QStringLiteral("Arrêter la ") + on->Name().section(u' ', 1) : QStringLiteral("Arrêter le courant"),
         run ? QStringLiteral("La laisser") : QStringLiteral("Le laisser"), QStringLiteral("Annuler")},
        [this, leave](int answer) {
            if (answer == 0)
                StopAll({});
            if (answer < 2)
                leave(answer == 0);
        });
    return question_ != nullptr;
}

/// The monitor keeps the line, and a run that is not watched does not end.
void Main::CbMoni_Click()
{
    if (RunIsOn())
        messages::Show(this, QMessageBox::Warning, title::Of(*this),
                       QStringLiteral("Une charge ou une décharge est en cours, et c'est le programme qui la termine.\n"
                                      "Arrêtez-la d'abord : le moniteur garde la liaison pour lui seul."));
    else
        OpenMode(monitor_);
}

void Main::ShowAgain()
{
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void Main::SetNote(const QString &note)
{
    for (Strip *strip : strips_)
        strip->SetNote(note);
}

Task<void> Main::Send51On()
{
    Task<QByteArray> exchange = link_.Exchange(Request(command::Booster, 1), Reply::Acknowledge());
    co_await exchange;
}

Task<void> Main::Send51Off()
{
    Task<QByteArray> exchange = link_.Exchange(Request(command::Booster, 0), Reply::Acknowledge());
    co_await exchange;
}
