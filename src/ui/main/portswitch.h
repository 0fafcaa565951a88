// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "demo/demoboard.h"
#include "link/folderwatch.h"
#include "link/ports.h"
#include "main.h"

#include <QActionGroup>
#include <QMenu>

#include <memory>
#include <optional>

/// Where the board is: one of the machine's serial ports, or the virtual board. The menu "Port" shows them and changes
/// to the one that the user chooses, which is remembered in a file of the drive's folder; one that is plugged in while
/// no board answers is offered.
class PortSwitch : public QObject
{
    Q_OBJECT

public:
    /// How many times faster than real time the windows' timers run at a port, and the virtual board with them.
    struct Scales
    {
        double port = 1;
        double virtualBoard = 60;
    };

    PortSwitch(Main &main, const Scales &scales, QString virtualBoard = DemoBoard::Executable());

    /// Loads the main window at this port; without a name at the first of the machine.
    void Begin(const QString &port);
    /// The same at what is remembered.
    void BeginRemembered();
    /// Starts the virtual board and loads the main window there; a board that ends, ends the program.
    void BeginVirtual();

    /// Leaves the present port, asking if need be, and connects to another one.
    void Change(const QString &port);
    void ChangeToVirtual();

    bool IsVirtual() const { return virtual_; }

Q_SIGNALS:
    /// The main window is there.
    void Loaded();
    /// The virtual board takes the place of a port, or the other way round; told before anything is connected.
    void VirtualChanged(bool isVirtual);

private:
    void Fill();
    void AddPort(const QString &text, const QString &name);
    void SetVirtual(bool isVirtual);
    void StartBoard();
    void BoardIsReady(const QString &port);
    void BoardHasFailed(const QString &reason);
    void ConnectTo(const QString &port);
    void Remember(const QString &port) const;
    void LookForNew();
    void Offer(const ports::Found &fresh);

    Main &main_;
    const Scales scales_;
    const QString executable_;
    QMenu *menu_;
    std::unique_ptr<QActionGroup> group_;
    bool loaded_ = false;
    bool virtual_ = false;
    bool endsWithBoard_ = false;
    std::unique_ptr<DemoBoard> board_; ///< runs on when it is left, until the program ends
    QString boardPort_;                ///< empty until it is ready
    FolderWatch watch_;
    std::vector<ports::Found> known_;
    QPointer<QMessageBox> offer_;
    QString offered_;
    Alarm look_{[this] { LookForNew(); }};
};
