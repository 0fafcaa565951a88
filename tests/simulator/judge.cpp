// SPDX-License-Identifier: GPL-3.0-or-later
#include "judge.h"

#include "parameters.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>

namespace {
constexpr auto settled = 2s;       // after that what is off is off
constexpr auto suspicion = 12s;    // for so long a byte that nobody sent may tell in a reading
constexpr auto stopShows = 310ms;  // from "Arret" to the word in the window...
constexpr auto deafShows = 1400ms; // ...when the board does not answer
constexpr auto recordsCome = 16s;
constexpr int logHeaderLines = 2;

constexpr quint8 flashBlock = 47;
constexpr quint8 booster = 51; // one parameter, or four

/// How long a whole request with that command is, from the escape byte on.
qsizetype LengthOf(quint8 command)
{
    return 2 + static_cast<qsizetype>(Board::ParameterCount(command, false));
}
} // namespace

void Counts::Add(const Counts &other)
{
    exchanges += other.exchanges;
    records += other.records;
    inventions += other.inventions;
    believed += other.believed;
    garbledEnds += other.garbledEnds;
    for (auto fault = other.faults.begin(); fault != other.faults.end(); ++fault)
        faults[fault.key()] += fault.value();
}

Judge::Judge(Main &program, MemoryPort &port, FaultyBoard &board, Counts &counts)
    : program_(program), port_(port), board_(board), counts_(counts), disturbed_(Clock::Current().Now())
{
    const auto stateOf = [](QWidget &window) { return window.findChild<QLabel *>(QStringLiteral("Label18")); };
    Chargeur &charge = program.ChargeWindow();
    Dechargeur &discharge = program.DischargeWindow();
    runs_.push_back({charge, QStringLiteral("CHARGE"), stateOf(charge), Charge | Discharge | Power, Charge | Power});
    runs_.push_back({discharge, QStringLiteral("DECHARGE"), stateOf(discharge), Discharge, Discharge});
    connect(&port, &MemoryPort::SentByProgram, this, &Judge::Sent);
    connect(&board, &SimulatedBoard::Did, this, [this](const QByteArray &request, const QByteArray &reply) {
        ledger_.Note(request, reply);
        if (board_.Core().Streaming())
            streamed_ = Clock::Current().Now();
    });
    connect(&program.Link().line, &Exchanges::Answered, this, &Judge::Answered);
    for (Watched &run : runs_) {
        connect(&run.window, &RunWindow::Recorded, this, [this, &run] {
            run.gotOn = Clock::Current().Now();
            ++counts_.records;
            ++records_[run.window.LogPath()];
        });
        // Within a minute the next run's log has the same name, and takes the place of the one before.
        connect(&run.window, &RunWindow::LogOpened, this, [this, &run] { records_[run.window.LogPath()] = 0; });
        // What was on before a run, and was left alone by it, is none of its own.
        const auto over = [this, &run](Clock::Duration since) {
            Over(run.stops | std::exchange(run.switched, quint8(0)), since);
        };
        connect(&run.window, &RunWindow::Ended, this, [over] { over(Clock::Current().Now()); });
        connect(&run.window, &RunWindow::Stopped, this,
                [&run, over] { over(run.stopPressed.value_or(Clock::Current().Now())); });
    }
    const auto measured = [this] {
        Over(std::exchange(measureSwitched_, quint8(0)),
             std::exchange(measureStopPressed_, {}).value_or(Clock::Current().Now()));
    };
    connect(&program.CapacityWindow(), &MesCapa::Ended, this, measured);
    connect(&program.CapacityWindow(), &MesCapa::Stopped, this, measured);
    connect(&program.CapacityWindow(), &MesCapa::Aborted, this, measured);
}

void Judge::Accuse(const QString &name, const QString &detail)
{
    if (!verdict_)
        verdict_ = Violation{name, detail, {}};
}

void Judge::Note(const Act &act)
{
    if (act.verb == QLatin1String("fault")) {
        ++counts_.faults[act.window];
        disturbed_ = Clock::Current().Now();
        diskFault_ |= act.window == QLatin1String("disk") || act.window == QLatin1String("folder");
    }
    // Windows that switch lines themselves, maybe before they are seen, and once a board that streams was greeted.
    const bool switches = act.target == QLatin1String("SelRegl") || act.target == QLatin1String("CBEtat");
    if (switches)
        over_ = 0;
    if (switches || ByHand())
        byHand_ = Clock::Current().Now();
    if (act.window == program_.CapacityWindow().objectName() && act.target == QLatin1String("CBStop"))
        measureStopPressed_ = Clock::Current().Now();
    for (Watched &run : runs_) {
        if (act.window != run.window.objectName())
            continue;
        if (act.target == QLatin1String("CBStop"))
            run.stopPressed = Clock::Current().Now();
        if (act.target == QLatin1String("CBstart"))
            over_ &= static_cast<quint8>(~run.lines); // what a start was left with is its own
    }
}

quint8 Judge::InUse() const
{
    quint8 lines = program_.CapacityWindow().Running() ? quint8(Charge | Discharge | Power) : quint8(0);
    for (const Watched &run : runs_)
        if (run.window.Running())
            lines |= run.lines;
    return lines;
}

/// Whether a window is open in which the user himself switches lines.
bool Judge::ByHand() const
{
    static const QStringList names{QStringLiteral("FEtat"),   QStringLiteral("Vfiltrage"), QStringLiteral("Rcourant"),
                                   QStringLiteral("RglDech"), QStringLiteral("RegLIPO"),   QStringLiteral("Vout")};
    const auto widgets = QApplication::topLevelWidgets();
    return std::ranges::any_of(
        widgets, [](const QWidget *widget) { return widget->isVisible() && names.contains(widget->objectName()); });
}

/// Whether the line has been whole for so long, and the board hears.
bool Judge::Quiet(Clock::Duration length) const
{
    const auto since = std::max({disturbed_, streamed_, board_.LastTrouble()});
    return port_.IsOpen() && board_.IsOn() && Clock::Current().Now() - since > length;
}

quint8 Judge::LineBit(quint8 command)
{
    return command == 15 ? Charge : command == 16 ? Discharge : command == 17 ? Power : quint8(0);
}

void Judge::Sent(const QByteArray &bytes)
{
    const auto at = [&bytes](qsizetype i) { return static_cast<quint8>(bytes[i]); };
    if (bytes.size() == 1 && half_.isEmpty() && at(0) == 27) {
        half_ = bytes;
        return;
    }
    if (!half_.isEmpty()) {
        half_.clear();
        if (bytes.size() != 1 || LengthOf(at(0)) != 2)
            Accuse(QStringLiteral("torn-request"), QString::fromLatin1(bytes.toHex(' ')));
        return;
    }
    const bool greeting = bytes.size() == 1 && (at(0) == 85 || at(0) == 170);
    const bool whole = bytes.size() >= 2 && at(0) == 27 &&
                       (at(1) == flashBlock || at(1) == booster || bytes.size() == LengthOf(at(1)));
    if (!greeting && !whole)
        Accuse(QStringLiteral("torn-request"), QString::fromLatin1(bytes.toHex(' ')));
    if (greeting || bytes.size() != 3)
        return;
    const quint8 line = LineBit(at(1));
    for (Watched &run : runs_)
        if (run.window.Running())
            run.switched |= line & run.lines;
    if (program_.CapacityWindow().Running())
        measureSwitched_ |= line;
    if (at(2) == 1 && (line & over_ & ~InUse()) && !ByHand())
        Accuse(QStringLiteral("switched-on-after-the-end"), QString::fromLatin1(bytes.toHex(' ')));
}

void Judge::Answered(const Question &question, const QByteArray &data)
{
    ++counts_.exchanges;
    if (ledger_.Claim(question, data))
        return;
    if (Clock::Current().Now() - board_.LastInvention() < suspicion)
        ++counts_.believed;
    else if (!Streamed())
        Accuse(QStringLiteral("foreign-answer"),
               QString::fromLatin1(question.request.toHex(' ') + " was answered by " + data.toHex(' ')));
}

void Judge::LookForGrowth(int alarms)
{
    constexpr int some = 400; // three curves with their first run, and keys and icons of windows that open first
    constexpr int someAlarms = 50;
    int objects = 0;
    for (const QWidget *window : QApplication::topLevelWidgets()) {
        const auto within = static_cast<int>(window->findChildren<QObject *>().size());
        // A window makes its file dialog when it is first asked for, and keeps it.
        objects += qobject_cast<const QFileDialog *>(window) ? -within - 1 : within;
    }
    if (!objects_)
        objects_ = objects;
    if (objects > *objects_ + some || alarms > someAlarms)
        Accuse(
            QStringLiteral("grows"),
            QStringLiteral("%1 objects, at first %2, and %3 alarms at rest").arg(objects).arg(*objects_).arg(alarms));
}

void Judge::CountRecords()
{
    if (diskFault_)
        return;
    for (auto log = records_.begin(); log != records_.end(); ++log) {
        QFile file(log.key());
        const bool there = file.open(QIODevice::ReadOnly);
        const qsizetype lines = there ? file.readAll().count('\n') : 0;
        if (lines < log.value() + logHeaderLines)
            Accuse(QStringLiteral("lost-records"), QStringLiteral("%1 records, %2 lines in %3")
                                                       .arg(log.value())
                                                       .arg(lines)
                                                       .arg(QFileInfo(log.key()).fileName()));
    }
}

bool Judge::Streamed() const
{
    return streamed_ != Clock::Duration::zero() && Clock::Current().Now() - streamed_ < suspicion;
}

/// A board that streams hears nothing, which the program does not know until it greets it. And a window that is closed
/// behind the press of a stop may switch on what it leaves behind.
void Judge::Over(quint8 lines, Clock::Duration since)
{
    if (Streamed() || byHand_ >= since)
        return;
    over_ |= static_cast<quint8>(lines & ~InUse());
    overSince_ = Clock::Current().Now();
}

void Judge::Look()
{
    if (std::exchange(portOpen_, port_.IsOpen()) != portOpen_)
        disturbed_ = Clock::Current().Now();
    if (board_.IsOn() && board_.Core().Streaming())
        streamed_ = Clock::Current().Now();
    LookAtRuns();
    LookAtOutputs();
    CountActivities();
}

/// A run, and nothing else that lets a current flow.
void Judge::CountActivities()
{
    QStringList on;
    for (const Watched &run : runs_)
        if (run.window.Running())
            on.append(run.window.objectName());
    if (program_.CapacityWindow().Running())
        on.append(QStringLiteral("MesCapa"));
    if (on.isEmpty())
        return;
    for (const QWidget *widget : QApplication::topLevelWidgets())
        if ((widget->objectName() == QLatin1String("Rcourant") || widget->objectName() == QLatin1String("RglDech")) &&
            widget->isVisible() && static_cast<const QMainWindow *>(widget)->centralWidget()->isEnabled())
            on.append(widget->objectName());
    if (on.size() > 1)
        Accuse(QStringLiteral("two-at-once"), on.join(u' '));
}

void Judge::LookAtRuns()
{
    const auto now = Clock::Current().Now();
    for (Watched &run : runs_) {
        const bool running = run.window.Running();
        if (running && !run.running) {
            run.gotOn = now;
            run.stopPressed.reset();
            over_ &= static_cast<quint8>(~run.lines);
        }
        run.running = running;
        if (run.stopPressed && now - *run.stopPressed > (Quiet(now - *run.stopPressed) ? stopShows : deafShows)) {
            if (!running && run.window.isVisible() && disturbed_ < *run.stopPressed &&
                run.state->text() == run.runningText)
                Accuse(QStringLiteral("stop-not-shown"), run.window.objectName());
            run.stopPressed.reset();
        }
        if (running && Quiet(recordsCome) && now - run.gotOn > recordsCome)
            Accuse(QStringLiteral("run-without-records"), run.window.objectName());
    }
    const bool measuring = program_.CapacityWindow().Running();
    if (measuring && !measuring_)
        over_ = 0;
    measuring_ = measuring;
}

void Judge::LookAtOutputs()
{
    if (ByHand()) {
        over_ = measureSwitched_ = 0;
        for (Watched &run : runs_)
            run.switched = 0;
        return;
    }
    if (!over_ || !Quiet(settled) || Clock::Current().Now() - overSince_ < settled ||
        program_.Link().outputs.Unconfirmed())
        return;
    const Board::Lines &lines = board_.Hardware().Switches();
    const int on = (lines.charge ? Charge : 0) | (lines.discharge ? Discharge : 0) | (lines.power ? Power : 0);
    if (!(on & over_ & ~InUse()))
        return;
    // A write that was garbled on its way and acknowledged leaves no trace: an end that nothing disturbed is not read
    // back.
    if (board_.LastInvention() != Clock::Duration::zero() && overSince_ - board_.LastInvention() < settled) {
        ++counts_.garbledEnds;
        over_ = 0;
    } else
        Accuse(QStringLiteral("left-on"), QStringLiteral("lines %1").arg(on & over_, 3, 2, QLatin1Char('0')));
}
