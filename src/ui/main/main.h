// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/activation.h"
#include "base/handlers.h"
#include "base/timer.h"
#include "calibration/reglage.h"
#include "capacity/mescapa.h"
#include "dashboard/fetat.h"
#include "link/boardstate.h"
#include "link/codebas.h"
#include "link/unwatched.h"
#include "logbook/carnet.h"
#include "logbook/enterer.h"
#include "memory/micro.h"
#include "monitor/moni.h"
#include "runs/chargeur.h"
#include "runs/dechargeur.h"
#include "runs/warning.h"
#include "strip.h"
#include "ui_main.h"
#include "viewer/courbes.h"

#include <QLabel>
#include <QMainWindow>
#include <QMessageBox>
#include <QPointer>

#include <memory>
#include <vector>

/// The start window and hub: owns the serial port and the link, shows the connection, opens the mode windows.
class Main : public QMainWindow
{
    Q_OBJECT

public:
    /// `port` is the device that the serial control drives.
    explicit Main(std::unique_ptr<Port> port);
    ~Main() override;

    Codebas &Link() { return link_; }
    Com &SerialPort() { return com_; }
    Chargeur &ChargeWindow() { return chargeur_; }
    Dechargeur &DischargeWindow() { return dechargeur_; }
    MesCapa &CapacityWindow() { return capacity_; }
    Logbook &Book() { return book_; }

    /// A lasting word in the strip of every window; none when it is empty.
    void SetNote(const QString &note);

    /// Puts the window in the middle of the screen, configures the port and shows the window, which then connects.
    void Load();

    /// Stores where this window is and opens a mode window there.
    void OpenMode(Window &window);

    /// Ends what is on, when the user agrees, then the session, and closes the port, so that another one may take its
    /// place; `left` is called then.
    void LeavePort(std::function<void()> left);
    /// Connects at this port.
    void ConnectTo(const QString &port);
    /// Whether no board is connected, and none comes back by itself.
    bool WaitsForBoard() const;

    /// Something may be on that a program of before has not ended.
    void SuspectUnwatched() { unwatched_.Suspect(); }

    /// What is on is without a guard.
    void SetGuardMissing(bool missing);

    /// Ends whatever run is on, as its "Arret" does, for this cause.
    void StopRuns(const QString &cause);

    /// The same for all that the program has switched on, a calibration's current too.
    void StopAll(const QString &cause);

    /// Switches the doubler cut on (51, 1) or off (51, 0) and takes the board's answer.
    Task<void> Send51On();
    Task<void> Send51Off();

Q_SIGNALS:
    /// The port could not be opened for a connection; the user was told why.
    void ConnectionFailed();

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void Form_Activate();
    void ShowAgain();
    Task<void> Activate();
    void Connect();
    void ConnectForSwitchingOff();
    void EndGreeting();
    void GreetStreamingBoard();
    bool OpensNow(Window &window);
    void EnterRuns();
    void FollowRuns(QMainWindow &window, const RunNews &news);
    Strip *AddStrip(QMainWindow &window, const QString &cutText);
    void ShowWarnings();
    void ShowRuns();
    void ShowStreaming();
    Task<void> Cut();
    Task<void> Reconnect();
    Task<void> ConnectAgain();
    void BeginDisconnecting();
    Task<void> Disconnect();
    void BeginLeavingPort(std::function<void()> left);
    Task<void> LeavePortInOrder(std::function<void()> left);
    Task<void> ConnectAt(QString port);
    Task<void> Quit(bool stop);
    void Cb_Reconnect_Click();
    void CD_DECONNECT_Click();
    void CbMoni_Click();
    bool RunIsOn() const;
    QString EndForError(const Error &error);
    bool AsksBeforeLeaving(std::function<void(bool)> leave);
    void Mnuquitter_Click();
    void Failed(std::exception_ptr thrown);

    Ui::Main ui_;
    Com com_;
    Timer timer1_;
    Timer timer2_;
    Codebas link_;
    Handlers moving_;     ///< opens and closes the port
    Handlers connecting_; ///< greets
    Handlers changing_;   ///< leaves the port for another one
    Handlers quitting_;
    Handlers cutting_;
    Unwatched unwatched_{link_};
    BoardState board_{link_};
    bool guardMissing_ = false;
    bool dressed_ = false;
    QPointer<QMessageBox> question_; ///< what is to become of that which is on
    std::vector<Strip *> strips_;    ///< of all windows
    std::vector<std::pair<const QWidget *, const RunNews *>> runs_;
    QLabel *silence_ = new QLabel(Silence::advice, this);
    QLabel *streams_ = RedWarning(QStringLiteral("La carte émet : session à rouvrir"), this);
    Window *opensLater_ = nullptr; ///< once the session is there
    Logbook book_;
    Activation activation_{this};
    Kept<Chargeur> chargeur_;
    Kept<Dechargeur> dechargeur_;
    Kept<MesCapa> capacity_;
    Kept<Moni> monitor_;
    Kept<Reglage> calibration_;
    Kept<Micro> tools_;
    Kept<FEtat> dashboard_;
    Kept<Courbes> viewer_;
    Kept<Carnet> carnet_{book_};
    std::vector<std::unique_ptr<Enterer>> enterers_;
};
