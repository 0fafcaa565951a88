// SPDX-License-Identifier: GPL-3.0-or-later
#include "portswitch.h"

#include "base/drive.h"
#include "base/messages.h"
#include "base/timer.h"
#include "base/title.h"

#include <QMenuBar>
#include <QSettings>

#include <algorithm>

namespace {
constexpr auto settling = 500ms; // a new device is named, described and permitted bit by bit

const QString portKey = QStringLiteral("Port/nom");
const QString adapterKey = QStringLiteral("Port/adaptateur");
const QString virtualKey = QStringLiteral("Port/carteVirtuelle");

QSettings Settings()
{
    return QSettings(drive::SettingsFile(), QSettings::IniFormat);
}
} // namespace

PortSwitch::PortSwitch(Main &main, const Scales &scales, QString virtualBoard)
    : main_(main)
    , scales_(scales)
    , executable_(std::move(virtualBoard))
    , menu_(main.menuBar()->addMenu(QStringLiteral("Port")))
{
    menu_->setObjectName(QStringLiteral("MnuPort"));
    connect(menu_, &QMenu::aboutToShow, this, &PortSwitch::Fill);
    connect(&watch_, &FolderWatch::Changed, this, [this] { look_.Start(settling); });
    Fill();
}

// ---- the menu

void PortSwitch::Fill()
{
    menu_->clear();
    group_ = std::make_unique<QActionGroup>(nullptr);
    const std::vector<ports::Found> found = ports::List();
    for (const ports::Found &port : found)
        AddPort(port.Text(), port.name);
    const QString present = main_.SerialPort().PortName();
    if (!virtual_ && std::ranges::count(found, present, &ports::Found::name) == 0)
        AddPort(present, present);
    menu_->addSeparator();
    QAction *const board = menu_->addAction(QStringLiteral("Carte virtuelle"), this, &PortSwitch::ChangeToVirtual);
    board->setObjectName(QStringLiteral("MnuCarteVirtuelle"));
    board->setCheckable(true);
    board->setChecked(virtual_);
    group_->addAction(board);
}

void PortSwitch::AddPort(const QString &text, const QString &name)
{
    QAction *const action = menu_->addAction(text, this, [this, name] { Change(name); });
    action->setObjectName(name);
    action->setCheckable(true);
    action->setChecked(!virtual_ && name == main_.SerialPort().PortName());
    group_->addAction(action);
}

// ---- the beginning

void PortSwitch::Begin(const QString &port)
{
    loaded_ = true;
    main_.SerialPort().SetPortName(port);
    known_ = ports::List();
    watch_.Watch(ports::Folder());
    main_.Load();
    Q_EMIT Loaded();
}

/// An adapter with a serial number may have another name by now.
void PortSwitch::BeginRemembered()
{
    const QSettings settings = Settings();
    if (settings.value(virtualKey).toBool()) {
        SetVirtual(true);
        StartBoard();
        return;
    }
    const QString adapter = settings.value(adapterKey).toString();
    const auto found = ports::List();
    const auto same = std::ranges::find(found, adapter, &ports::Found::adapter);
    const bool known = !adapter.isEmpty() && !adapter.endsWith(u':') && same != found.end();
    Begin(known ? same->name : settings.value(portKey).toString());
}

void PortSwitch::BeginVirtual()
{
    endsWithBoard_ = true;
    SetVirtual(true);
    StartBoard();
}

// ---- a change

void PortSwitch::Change(const QString &port)
{
    main_.LeavePort([this, port] {
        SetVirtual(false);
        Remember(port);
        ConnectTo(port);
    });
}

void PortSwitch::ChangeToVirtual()
{
    main_.LeavePort([this] {
        SetVirtual(true);
        Remember({});
        if (!board_)
            StartBoard();
        else if (!boardPort_.isEmpty())
            ConnectTo(boardPort_);
    });
}

void PortSwitch::ConnectTo(const QString &port)
{
    endsWithBoard_ = false;
    main_.ConnectTo(port);
}

/// On a disk that takes nothing more the next start does not know.
void PortSwitch::Remember(const QString &port) const
{
    const auto found = ports::List();
    const auto same = std::ranges::find(found, port, &ports::Found::name);
    QSettings settings = Settings();
    settings.setValue(virtualKey, virtual_);
    settings.setValue(portKey, port);
    settings.setValue(adapterKey, same == found.end() ? QString() : same->adapter);
}

void PortSwitch::SetVirtual(bool isVirtual)
{
    virtual_ = isVirtual;
    const double scale = virtual_ ? scales_.virtualBoard : scales_.port;
    Timer::SetScale(scale);
    main_.SetNote(virtual_ ? QStringLiteral("Démo × %1").arg(QString::number(scale)) : QString());
    Q_EMIT VirtualChanged(virtual_);
}

// ---- the virtual board

void PortSwitch::StartBoard()
{
    board_ = std::make_unique<DemoBoard>(executable_);
    connect(board_.get(), &DemoBoard::Ready, this, &PortSwitch::BoardIsReady);
    connect(board_.get(), &DemoBoard::Failed, this, &PortSwitch::BoardHasFailed);
    board_->Start(scales_.virtualBoard);
}

void PortSwitch::BoardIsReady(const QString &port)
{
    boardPort_ = port;
    if (!loaded_)
        Begin(port);
    else if (virtual_)
        ConnectTo(port);
}

void PortSwitch::BoardHasFailed(const QString &reason)
{
    board_.release()->deleteLater(); // it is telling this
    boardPort_.clear();
    if (virtual_)
        main_.Link().outputs.LeaveAll(); // what was on is gone with it
    if (endsWithBoard_) {
        messages::ShowAndEnd(nullptr, QCoreApplication::applicationName(), reason);
        return;
    }
    if (!loaded_) {
        SetVirtual(false);
        Begin({});
    }
    messages::Show(&main_, QMessageBox::Warning, title::Of(main_), reason);
}

// ---- what is plugged in

void PortSwitch::LookForNew()
{
    const std::vector<ports::Found> before = std::exchange(known_, ports::List());
    if (offer_ && std::ranges::count(known_, offered_, &ports::Found::name) == 0)
        offer_->close();
    const auto fresh = std::ranges::find_if(known_, [&before](const ports::Found &port) {
        return std::ranges::count(before, port.name, &ports::Found::name) == 0;
    });
    if (fresh != known_.end() && !offer_ && main_.WaitsForBoard())
        Offer(*fresh);
}

void PortSwitch::Offer(const ports::Found &fresh)
{
    offered_ = fresh.name;
    offer_ = messages::Ask(&main_, title::Of(main_),
                           QStringLiteral("Un port est apparu : %1.\nS'y connecter ?").arg(fresh.Text()),
                           {QStringLiteral("S'y connecter"), QStringLiteral("Non")}, [this](int answer) {
                               if (answer == 0)
                                   Change(offered_);
                           });
}
