// SPDX-License-Identifier: GPL-3.0-or-later
#include "world.h"

#include "base/drive.h"

#include <QApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>

#include <csignal>
#include <sys/resource.h>

namespace {
constexpr int actsBetweenRests = 25;
constexpr double faultsPerAct = 0.12;
constexpr size_t wireLines = 40;
constexpr int mostRings = 200'000; // in a second: a program that spins has more
constexpr auto between = 1s;       // two lives of the program
constexpr qint64 hugeFile = qint64(1) << 32;

const QString faultVerb = QStringLiteral("fault");
const QString rest = QStringLiteral("rest");

void LimitFiles(rlim_t bytes)
{
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &limit);
}

/// What a user may hand to a file dialog: some good, some not; their names in the folder.
QStringList MakeFiles(const QString &folder)
{
    const QDir data(QStringLiteral(TEST_DATA));
    QStringList files;
    for (const char *name :
         {"hex/slave-protected.HEX", "hex/master-whole.HEX", "hex/no-end.HEX", "hex/wrong-checksums.HEX",
          "profiles/types.ESV", "profiles/types_short.ESV", "profiles/image.ESV", "profiles/empty.ESV"}) {
        const QString copy = QString::fromLatin1(name).section(u'/', 1);
        if (!QFile::copy(data.filePath(QLatin1String(name)), folder + u'/' + copy))
            qFatal("%s is missing", name);
        files.append(copy);
    }
    QFile huge(folder + QStringLiteral("/huge.HEX"));
    if (!huge.open(QIODevice::WriteOnly) || !huge.resize(hugeFile)) // of nothing: takes no room on the disk
        qFatal("no room for %s", qPrintable(huge.fileName()));
    files << QStringLiteral("huge.HEX") << QStringLiteral("missing.HEX") << QStringLiteral("new.ESV")
          << QStringLiteral("no/such/folder.ESV") << QStringLiteral(".");
    return files;
}

QString Milliseconds(Clock::Duration length)
{
    return QString::number(std::chrono::duration_cast<std::chrono::milliseconds>(length).count());
}
} // namespace

QString Outcome::Text() const
{
    QStringList lines;
    for (const Act &act : acts)
        lines.append(act.Text());
    lines << QStringLiteral("the last bytes on the line:") << wire;
    lines.append(
        QStringLiteral("%1  the end; digest %2").arg(MomentText(length)).arg(digest, 16, 16, QLatin1Char('0')));
    if (violation)
        lines.append(
            QStringLiteral("%1  VIOLATION %2: %3").arg(MomentText(violation->at), violation->name, violation->detail));
    return lines.join(u'\n');
}

const QStringList &World::FaultKinds()
{
    static const QStringList kinds{QStringLiteral("lost"),   QStringLiteral("added"),   QStringLiteral("changed"),
                                   QStringLiteral("late"),   QStringLiteral("silent"),  QStringLiteral("cut"),
                                   QStringLiteral("noise"),  QStringLiteral("restart"), QStringLiteral("unplug"),
                                   QStringLiteral("disk"),   QStringLiteral("folder"),  QStringLiteral("clock"),
                                   QStringLiteral("stall"),  QStringLiteral("kill"),    QStringLiteral("freeze"),
                                   QStringLiteral("rename"), QStringLiteral("stranger")};
    return kinds;
}

World::World(const Order &order)
    : order_(order), dice_(order.seed * 2 + 1), hands_(folder_.path(), MakeFiles(folder_.path()))
{
    std::signal(SIGXFSZ, SIG_IGN); // a full disk is an error of the write
    QDir().mkpath(folder_.filePath(QStringLiteral("work")));
    QDir::setCurrent(folder_.filePath(QStringLiteral("work")));
    drive::SetRoot(folder_.filePath(QStringLiteral("drive")));
    drive::Prepare();
    QObject::connect(&board_, &SimulatedBoard::Sent, &board_,
                     [this](const QByteArray &bytes) { NoteWire("<", bytes); });
    board_.SwitchOn({QStringLiteral("--seed"), QString::number(order.seed), QStringLiteral("--memory"),
                     folder_.filePath(QStringLiteral("memory"))});
}

World::~World()
{
    HealFaults();
    QDir::setCurrent(QStringLiteral("/"));
}

void World::NoteWire(const char *way, const QByteArray &bytes)
{
    const auto mix = [this](quint64 value) { outcome_.digest = (outcome_.digest ^ value) * 0x100000001b3; };
    mix(static_cast<quint64>(Age().count()));
    for (const char byte : bytes)
        mix(static_cast<quint8>(byte));
    outcome_.wire.append(MomentText(Age()) + QLatin1String("  ") + QLatin1String(way) + u' ' +
                         QString::fromLatin1(bytes.left(40).toHex(' ')));
    if (outcome_.wire.size() > static_cast<qsizetype>(wireLines))
        outcome_.wire.removeFirst();
}

// ---- chance, and the past

Outcome World::Explore()
{
    Clock::Duration at = 5s; // connected by then
    const Script when = [this, at]() mutable -> std::optional<Act> {
        at = std::max(at, Age()) + ChooseWait();
        Act next;
        next.at = std::min(at, order_.length);
        return next;
    };
    const Script what = [this]() -> std::optional<Act> {
        Act act;
        if (Age() >= order_.length || ++acts_ % actsBetweenRests == 0)
            act.verb = rest;
        else if (order_.fault != QLatin1String("none") && dice_.Chance(faultsPerAct))
            act = ChooseFault();
        else
            act = hands_.Choose(dice_, order_.window);
        act.at = Age();
        return act;
    };
    return Tell(when, what);
}

Outcome World::Replay(const std::vector<Act> &acts, Clock::Duration length)
{
    end_ = length;
    size_t next = 0;
    const Script when = [&acts, &next]() { return next < acts.size() ? std::optional(acts[next]) : std::nullopt; };
    const Script what = [&acts, &next]() { return std::optional(acts[next++]); };
    return Tell(when, what);
}

Clock::Duration World::ChooseWait()
{
    const bool isShort = order_.length <= 10min;
    const int kind = dice_.Below(100);
    if (kind < 35)
        return dice_.Time(10us, 1ms); // two clicks in one
    if (kind < 70 || (isShort && kind < 95))
        return dice_.Time(1ms, 3s);
    if (kind < 90 || isShort)
        return dice_.Time(3s, 1min);
    return kind < 98 ? dice_.Time(1min, 20min) : dice_.Time(20min, 3h);
}

Act World::ChooseFault()
{
    Act fault;
    fault.verb = faultVerb;
    const QStringList &kinds = FaultKinds();
    fault.window = order_.fault.isEmpty() ? kinds.at(dice_.Below(static_cast<int>(kinds.size()))) : order_.fault;
    if (fault.window == QLatin1String("lost") || fault.window == QLatin1String("added") ||
        fault.window == QLatin1String("changed"))
        fault.target = dice_.Chance(0.3) ? QStringLiteral("board") : QStringLiteral("program");
    if (fault.window == QLatin1String("added") || fault.window == QLatin1String("changed"))
        fault.value = QString::number(dice_.Below(256));
    if (fault.window == QLatin1String("late"))
        fault.value =
            dice_.Any(std::vector<QString>{QStringLiteral("200"), QStringLiteral("1000"), QStringLiteral("10000")});
    if (fault.window == QLatin1String("silent"))
        fault.value = dice_.Chance(0.2) ? QStringLiteral("0") : Milliseconds(dice_.Time(50ms, 1min));
    if (fault.window == QLatin1String("noise"))
        for (int left = 1 + dice_.Below(5); left > 0; --left)
            fault.value += QStringLiteral("%1").arg(dice_.Below(256), 2, 16, QLatin1Char('0'));
    if (fault.window == QLatin1String("freeze")) {
        fault.target = QString::number(dice_.Below(8));
        fault.value = Milliseconds(dice_.Time(50ms, 12s));
    }
    if (fault.window == QLatin1String("unplug") || fault.window == QLatin1String("rename") ||
        fault.window == QLatin1String("stranger"))
        fault.value = Milliseconds(dice_.Time(10ms, 1min));
    if (fault.window == QLatin1String("clock"))
        fault.value = Milliseconds(dice_.Time(1s, 48h) * (dice_.Chance(0.5) ? 1 : -1));
    if (fault.window == QLatin1String("stall"))
        fault.value = Milliseconds(dice_.Time(50ms, 5s));
    return fault;
}

// ---- what happens

Outcome World::Tell(Script when, Script what)
{
    when_ = std::move(when);
    what_ = std::move(what);
    while (!over_ && !outcome_.violation) {
        Live();
        clock_.Run(between);
    }
    outcome_.length = Age();
    outcome_.counts.inventions = board_.Inventions();
    return outcome_;
}

/// One life of the program, from its start to its end or its death.
void World::Live()
{
    QEventLoop life;
    life_ = &life;
    port_ = new MemoryPort;
    board_.Attach(port_);
    board_.BeginLife();
    const auto program = std::make_unique<Main>(std::unique_ptr<Port>(port_));
    program_ = program.get();
    QObject::connect(port_, &MemoryPort::SentByProgram, port_,
                     [this](const QByteArray &bytes) { NoteWire(">", bytes); });
    if (unplugged_)
        port_->Unplug();
    Judge judge(*program, *port_, board_, outcome_.counts);
    judge_ = &judge;
    if (!order_.paint)
        for (QWidget *widget : QApplication::topLevelWidgets())
            widget->setUpdatesEnabled(false); // half of all work
    killed_ = false;
    // An end of the program is seen by a loop within that of the application, which forgets the end of the life before.
    QMetaObject::invokeMethod(
        &life,
        [&] {
            QMetaObject::invokeMethod(
                &life,
                [&] {
                    program->Load();
                    Drive(life);
                    life.exit();
                },
                Qt::QueuedConnection);
            life.exec();
            QCoreApplication::exit();
        },
        Qt::QueuedConnection);
    QCoreApplication::exec();
    judge.CountRecords();
    if (judge.Verdict() && !outcome_.violation) {
        outcome_.violation = judge.Verdict();
        outcome_.violation->at = Age();
    }
    if (killed_)
        board_.Attach(nullptr); // nothing is said any more
    Hands::DismissBoxes();
    judge_ = nullptr;
    life_ = nullptr;
}

void World::Drive(const QEventLoop &life)
{
    while (life.isRunning() && !killed_ && !judge_->Verdict()) {
        const std::optional<Act> next = when_();
        if (!next) {
            Await([] { return false; }, std::max<Clock::Duration>(end_ - Age(), 1s));
            over_ = true;
            return;
        }
        if (next->at > Age() && Await([] { return false; }, next->at - Age()))
            return;
        if (!life.isRunning() || judge_->Verdict())
            return;
        const std::optional<Act> act = what_();
        outcome_.acts.push_back(*act);
        const bool last = Age() >= order_.length;
        Happen(*act);
        if (last) {
            over_ = true;
            return;
        }
    }
}

/// Lets time pass, and the judge look once a second. True when the condition holds, or the life is over.
bool World::Await(const std::function<bool()> &holds, Clock::Duration limit)
{
    const auto end = clock_.Now() + limit;
    const auto done = [&] { return !life_->isRunning() || judge_->Verdict() || holds(); };
    for (;;) {
        const int before = clock_.Rung();
        if (clock_.RunUntil(done, std::min<Clock::Duration>(end - clock_.Now(), 1s)))
            return true;
        judge_->Look();
        if (clock_.Rung() - before > mostRings)
            judge_->Accuse(QStringLiteral("spins"), QString::number(clock_.Rung() - before));
        if (judge_->Verdict())
            return true;
        if (clock_.Now() >= end)
            return false;
    }
}

void World::Happen(const Act &act)
{
    judge_->Note(act);
    if (act.verb == faultVerb)
        Strike(act);
    else if (act.verb == rest)
        Heal();
    else
        hands_.Do(act);
}

void World::Strike(const Act &fault)
{
    using Way = FaultyBoard::Way;
    const QString &kind = fault.window;
    const Way way = fault.target == QLatin1String("board") ? Way::ToBoard : Way::ToProgram;
    const int number = fault.value.toInt();
    const auto length = std::chrono::milliseconds(fault.value.toLongLong());
    if (kind == QLatin1String("lost"))
        board_.LoseByte(way);
    else if (kind == QLatin1String("added"))
        board_.AddByte(way, static_cast<quint8>(number));
    else if (kind == QLatin1String("changed"))
        board_.ChangeByte(way, static_cast<quint8>(number));
    else if (kind == QLatin1String("late"))
        board_.Delay(length);
    else if (kind == QLatin1String("silent"))
        board_.BeSilent(length);
    else if (kind == QLatin1String("cut"))
        board_.CutAnswer();
    else if (kind == QLatin1String("noise"))
        for (const char byte : QByteArray::fromHex(fault.value.toLatin1()))
            board_.AddByte(Way::ToProgram, static_cast<quint8>(byte));
    else if (kind == QLatin1String("restart")) {
        LimitFiles(RLIM_INFINITY);
        board_.SwitchOn({QStringLiteral("--seed"), QString::number(order_.seed), QStringLiteral("--memory"),
                         folder_.filePath(QStringLiteral("memory"))});
    } else if (kind == QLatin1String("freeze"))
        board_.FreezeAfter(fault.target.toInt(), length);
    else if (kind == QLatin1String("unplug") || kind == QLatin1String("rename") || kind == QLatin1String("stranger")) {
        port_->Unplug();
        unplugged_ = true;
        Await([] { return false; }, length);
        if (kind == QLatin1String("stranger")) {
            port_->PlugStranger();
            Await([] { return false; }, length);
            port_->Unplug();
        }
        unplugged_ = false;
        port_->Plug(kind == QLatin1String("rename") ? QStringLiteral("another") : QString());
    } else if (kind == QLatin1String("disk"))
        LimitFiles(0);
    else if (kind == QLatin1String("folder")) {
        const QString gone = folder_.filePath(QStringLiteral("gone"));
        QDir().mkpath(gone);
        QDir::setCurrent(gone);
        QDir().rmdir(gone);
    } else if (kind == QLatin1String("clock"))
        clock_.SetLocalTime(clock_.LocalTime().addMSecs(length.count()));
    else if (kind == QLatin1String("stall"))
        clock_.Stall(length);
    else if (kind == QLatin1String("kill"))
        killed_ = true;
}

void World::HealFaults()
{
    board_.Heal();
    LimitFiles(RLIM_INFINITY);
    QDir::setCurrent(folder_.filePath(QStringLiteral("work")));
}

/// Everything works again: then every window can be left, the board is found, and nobody waits for ever.
void World::Heal()
{
    const auto ended = [this] { return !life_->isRunning() || judge_->Verdict().has_value(); };
    HealFaults();
    if (port_->LooksForStranger())
        port_->Plug(); // the board's adapter was never opened by the name that it has: its user gives it the former one
    Await([] { return false; }, 12s); // what was late has come
    for (int tries = 0; !ended(); ++tries) {
        Hands::DismissBoxes();
        QList<QWidget *> windows = Hands::Windows();
        windows.removeIf([](const QWidget *window) { return window->objectName() == QLatin1String("Main"); });
        if (windows.isEmpty())
            break;
        if (judge_->Streamed() && tries == 10)
            return; // a session that was not opened again: what is read now never ends
        if (tries == 100) {
            judge_->Accuse(QStringLiteral("cannot-be-left"), windows.constFirst()->objectName());
            return;
        }
        for (const QPointer<QWidget> &window : QList<QPointer<QWidget>>(windows.begin(), windows.end()))
            if (window)
                window->close();
        Await([] { return false; }, 10s);
    }
    if (ended())
        return;
    if (!program_->isVisible()) {
        judge_->Accuse(QStringLiteral("no-way-back"), QStringLiteral("no window is in sight"));
        return;
    }
    program_->findChild<QPushButton *>(QStringLiteral("Cb_Reconnect"))->click();
    const auto *display = program_->findChild<QPlainTextEdit *>(QStringLiteral("TXT_Display"));
    const auto connected = [display] { return display->toPlainText().contains(QStringLiteral("Srl Connecté")); };
    if (!Await(connected, 1min))
        judge_->Accuse(QStringLiteral("never-connected"), display->toPlainText());
    const auto idle = [this] {
        return program_->ChargeWindow().Running() || program_->DischargeWindow().Running() ||
               program_->CapacityWindow().Running() || program_->Link().line.Idle();
    };
    if (!ended() && !Await(idle, 30s))
        judge_->Accuse(QStringLiteral("waits-for-ever"), QStringLiteral("after a new connection"));
    judge_->LookForGrowth(clock_.Due());
}
