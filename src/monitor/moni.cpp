// SPDX-License-Identifier: GPL-3.0-or-later
#include "moni.h"

#include "base/drive.h"
#include "base/number.h"
#include "base/tone.h"
#include "chart/picturemenu.h"
#include "link/command.h"
#include "ui_moni.h"

#include <QCloseEvent>
#include <QDir>
#include <QFileInfo>
#include <QScreen>

#include <cmath>

namespace {
constexpr auto slice = 10ms;        // how long records are read before the user interface has its turn
constexpr auto statePeriod = 100ms; // from one showing of the state to the next

constexpr int kindsOfColumn = 3;

// Left on the screen for the window's frame, whose size is not known before it is shown.
constexpr int frameSides = 10, frameTop = 40;
} // namespace

Moni::Moni(Codebas &link) : Window(QStringLiteral("Moni")), link_(link), ui_(std::make_unique<Ui::Moni>())
{
    ui_->setupUi(this);
    RememberDesign();
    AddPictureMenu(*ui_->MSChart1, [this] { return logPath_; }, [this](const Error &error) { Window::Failed(error); });
    QLabel *const labels[] = {ui_->MonLabel1, ui_->MonLabel2, ui_->MonLabel3};
    QLabel *const values[] = {ui_->MonValue1, ui_->MonValue2, ui_->MonValue3};
    for (int i = 0; i < kindsOfColumn; ++i) {
        SetInk(*labels[i], ui_->MSChart1->Colour(i + 1));
        SetInk(*values[i], ui_->MSChart1->Colour(i + 1));
        freshness_.Add({values[i]});
    }

    OnClick(ui_->CbDepart, &Moni::CbDepart_Click);
    connect(ui_->CbArret, &QPushButton::clicked, this, &Moni::CbArret_Click);
    connect(ui_->CbQuit, &QPushButton::clicked, this, &Moni::CbQuit_Click);
    connect(ui_->MSChart1, &QCustomPlot::beforeReplot, this, &Moni::ShowValues);
    connect(&activation_, &Activation::Activated, this, &Moni::Form_Activate);
    connect(&link_.com, &Com::Received, this, &Moni::Received);
    connect(&link_.com, &Com::PortBack, this, &Moni::PortBack);
    connect(&link_, &Codebas::PortCut, this, &Moni::PortCut);
}

Moni::~Moni() = default; // here, where the controls are known

void Moni::Load()
{
    move(static_cast<int>(link_.MainLeft), static_cast<int>(link_.MainTop));
    const QRect room = screen()->availableGeometry().adjusted(0, 0, -frameSides, -frameTop);
    resize(QSize(room.right() - x(), room.bottom() - y()).boundedTo(QSize(1000, 700)).expandedTo(minimumSize()));
    MonitorRunning_ = false;
    rules_ = {};
    logPath_.clear();
    freshness_.Forget();
    ui_->MSChart1->Clear();
    ui_->MSChart1->NameColumn(1, ui_->MonLabel1->text());
    ShowLabels();
    ShowState();
    activation_.Opening();
}

void Moni::Failed(const Error &error)
{
    if (dynamic_cast<const PortClosed *>(&error) || dynamic_cast<const PortError *>(&error)) {
        Window::Failed(error);
        return;
    }
    MonitorRunning_ = false;
    EndHandlers();
    log_.reset();
    EndProgram(error);
}

/// Stops, or leaves.
void Moni::Escape()
{
    if (MonitorRunning_)
        CbArret_Click();
    else
        close();
}

// ---- opening, activation and closing

void Moni::Form_Activate()
{
    if (switching_ || (MonitorRunning_ && HasStream()))
        return; // it is not torn
    activationDue_ = link_.com.Lost();
    if (activationDue_ || (!holding_ && mayTakeLine_ && !mayTakeLine_()))
        return;
    Q_EMIT TakingLine();
    Start(SwitchToStream());
}

/// Whether nobody has had the board or the line since they were switched to the stream.
bool Moni::HasStream() const
{
    return hasLine_ && link_.BoardStreams && link_.com.Settings() == Codebas::streamSettings;
}

/// The port was lost and is open again.
void Moni::PortBack()
{
    if (isVisible() && std::exchange(activationDue_, false))
        Form_Activate();
}

/// Tells the board to stream and sets the line to the stream's speed.
Task<void> Moni::SwitchToStream()
{
    /// While it lives it is us who close the port.
    const struct Ours
    {
        explicit Ours(bool &itsFlag) : flag(itsFlag) { flag = true; }
        Ours(const Ours &) = delete;
        Ours &operator=(const Ours &) = delete;
        ~Ours() { flag = false; }
        bool &flag;
    } ours(switching_);
    link_.OpenPort();
    Task<void> settled = link_.outputs.Confirmed(); // a board that streams does not hear
    co_await settled;
    link_.EndSession();
    speedDue_ = true;
    AbandonRecord(); // of a run that was stopped: its other bytes go with the port
    Task<void> reopening = Reopen();
    co_await reopening;
    if (!holding_)
        Start(HoldLine());
}

/// Keeps the line, so that no exchange of another window mixes with the stream, until the port is closed by somebody
/// else or the window is.
Task<void> Moni::HoldLine()
{
    holding_ = true;
    lineGone_.Clear();
    try {
        for (;;) {
            Exchanges::HoldAwaiter turn = link_.line.TakeLine();
            const Exchanges::Hold hold = co_await turn;
            hasLine_ = link_.Streaming = true;
            news_.Wake();
            co_await lineGone_;
            lineGone_.Clear();
        }
    } catch (const PortClosed &) {
        // it was closed for good; the next activation opens it
    }
    holding_ = false;
}

/// Whoever closed the port talks first once it is open again; we read on after that.
void Moni::PortCut()
{
    if (switching_)
        return;
    hasLine_ = link_.Streaming = false;
    QMetaObject::invokeMethod(this, [this] { lineGone_.Set(); }, Qt::QueuedConnection);
    AbandonRecord();
}

void Moni::closeEvent(QCloseEvent *event)
{
    MonitorRunning_ = false;
    activationDue_ = false;
    EndHandlers();
    log_.reset();
    if (link_.com.PortOpen())
        Start(Reopen());
    event->accept();
    Q_EMIT Returning();
}

/// Once what was sent has left, at the speed of the stream if that is due.
Task<void> Moni::Reopen()
{
    Task<void> closing = link_.ClosePort();
    co_await closing;
    if (std::exchange(speedDue_, false))
        link_.ConfigurePort(Codebas::streamSettings);
    link_.OpenPort();
}

/// The record in hand is dropped, and the line is free for others.
void Moni::EndHandlers()
{
    DropHandlers();
    holding_ = false;
    hasLine_ = link_.Streaming = false;
    reading_ = false;
}

void Moni::CbQuit_Click()
{
    CbArret_Click();
    log_.reset();
    close();
}

// ---- the stream

Task<void> Moni::CbDepart_Click()
{
    if (MonitorRunning_)
        co_return;
    const int start = ++starts_;
    while (reading_) // the record in hand of the run before goes to that run's log
        co_await readingOver_;
    if (start != starts_)
        co_return;
    rules_.Restart();
    log_.reset();
    const QString folder = drive::Folder(QStringLiteral("temp"));
    if (!QDir::setCurrent(folder))
        throw FileError(folder, QStringLiteral("le dossier n'existe pas"));
    log_.emplace(folder);
    logPath_ = log_->Path();
    if (hasLine_)
        link_.com.KeepNewest(keptBytes);
    MonitorRunning_ = true;
    ShowState();
    Task<void> reading = ReadRecords();
    co_await reading;
}

void Moni::CbArret_Click()
{
    ++starts_;
    MonitorRunning_ = false;
    freshness_.End();
    link_.RxByte = stream::lineFeed;
    ShowState();
    news_.Wake();
}

Task<void> Moni::ReadRecords()
{
    reading_ = true;
    slice_.Restart();
    while (MonitorRunning_) {
        if (slice_.Elapsed() > slice) {
            Delay breath(0ms); // pending events run first
            co_await breath;
            slice_.Restart();
            continue;
        }
        link_.RxByte = 0;
        while (link_.RxByte != stream::lineFeed) { // a stop sets it too
            if (TakeByte())
                continue;
            co_await news_;
            slice_.Restart();
        }
        if (MonitorRunning_)
            co_await ReadRecord();
    }
    reading_ = false;
    readingOver_.Wake();
}

/// Reads a record; one that is cut short by the closing of the port counts for nothing.
Task<void> Moni::ReadRecord()
{
    const ChartRules before = rules_;
    const int cuts = cuts_;
    rules_.BeginRecord();
    stream::RecordDecoder decoder;
    QString line;
    while (!decoder.Complete()) {
        while (!TakeByte()) {
            co_await news_;
            slice_.Restart();
            if (cuts != cuts_) {
                rules_ = before;
                co_return;
            }
        }
        const std::optional<stream::Field> field = decoder.Add(link_.RxByte);
        if (!field)
            continue;
        MonitorLog::Append(line, *field);
        rules_.Take(*field, *ui_->MSChart1);
        if (rules_.LabelsSwitched && !before.LabelsSwitched && field->column == stream::Column::Type)
            ShowLabels();
    }
    log_->WriteLine(line);
    rules_.EndRecord();
    freshness_.Read();
    if (!stateTimer_.IsSet())
        stateTimer_.Start(statePeriod);
}

/// Takes a byte of the stream into RxByte if one waits for us.
bool Moni::TakeByte()
{
    if (!hasLine_ || !link_.com.InputWaits())
        return false;
    const QByteArray byte = link_.com.Input();
    if (byte.isEmpty())
        return false;
    link_.RxByte = static_cast<quint8>(byte.front());
    return true;
}

void Moni::Received()
{
    if (reading_)
        news_.Wake();
    else if (hasLine_)
        link_.com.KeepNewest(keptBytes);
}

void Moni::AbandonRecord()
{
    ++cuts_;
    news_.Wake();
}

// ---- display

/// A record of Type 2 has other quantities in columns 2 and 3; once seen, they keep these names.
void Moni::ShowLabels()
{
    if (rules_.LabelsSwitched) {
        ui_->MonLabel2->setText(QStringLiteral("Courant"));
        ui_->MonLabel3->setText(QStringLiteral("Capacité"));
    }
    ui_->MSChart1->NameColumn(2, ui_->MonLabel2->text());
    ui_->MSChart1->NameColumn(3, ui_->MonLabel3->text());
}

void Moni::ShowState()
{
    QString text = QStringLiteral("Prêt");
    if (MonitorRunning_ && rules_.RecordIndex == 0)
        text = QStringLiteral("En attente de la carte");
    else if (log_)
        text = QStringLiteral("%1 : %2 enregistrements dans %3")
                   .arg(MonitorRunning_ ? QStringLiteral("En marche") : QStringLiteral("Arrêté"),
                        QString::number(rules_.RecordIndex), QFileInfo(logPath_).fileName());
    ui_->MonState->setText(text);
}

/// The last row's values beside their names.
void Moni::ShowValues()
{
    QLabel *const labels[] = {ui_->MonValue1, ui_->MonValue2, ui_->MonValue3};
    const qint64 row = ui_->MSChart1->Rows();
    for (int column = 1; column <= kindsOfColumn; ++column) {
        const double value = ui_->MSChart1->Cell(row, column);
        labels[column - 1]->setText(std::isnan(value) ? QStringLiteral(" –") : number::Str(value));
    }
}
