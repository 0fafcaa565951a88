// SPDX-License-Identifier: GPL-3.0-or-later
#include "outputs.h"

#include "command.h"

#include <algorithm>

namespace {
constexpr auto others = 25ms;   // those who may be overtaken have been when the line's patience and this are over
constexpr auto longest = 300ms; // that anybody waits for what is to be off
constexpr auto leaving = 3s;    // that an end of the session waits for what is unconfirmed
constexpr auto again = 1s;      // a board that says nothing is told again...
constexpr auto seldom = 5s;     // ...and after a while less often
constexpr int manyTries = 10;

/// The bit of the switch port that is set while a line is cut; 0 for registers that it does not show.
quint8 CutBit(quint8 reg)
{
    switch (reg) {
    case command::CutDischarge:
        return 1;
    case command::CutCharge:
        return 2;
    case command::CutPower:
        return 4;
    default:
        return 0;
    }
}

bool IsSo(const Outputs::Write &write, quint8 lines)
{
    return ((lines & CutBit(write.reg)) != 0) == (write.value == 0);
}

/// Whether the switch port shows anything of these.
bool IsReadable(const Outputs::Writes &writes)
{
    return std::ranges::any_of(writes, [](const Outputs::Write &write) { return CutBit(write.reg) != 0; });
}

std::optional<Question> Once(int number, const Outputs::Write &write)
{
    if (number > 0)
        return std::nullopt;
    return Question{Request(write.reg, write.value), Reply::Acknowledge()};
}
} // namespace

/// An end that is being told to the board.
struct Outputs::Ending
{
    Ending(RunPtr itsRun, Writes itsWrites, int itsDisturbances)
        : run(std::move(itsRun)), writes(std::move(itsWrites)), disturbances(itsDisturbances)
    {
    }

    const RunPtr run;
    const Writes writes;
    const int disturbances; ///< of the line when it began
    size_t begun = 0;       ///< writes that have had the line
    size_t answered = 0;    ///< of those; the next one waits for the line
    bool insisted = false;  ///< the rest was sent unanswered
    bool closed = false;    ///< the port was
    Stopwatch waited;       ///< for the line or the answer
    Stopwatch lasted;
    Flag told;
    std::optional<Alarm> look;
};

Outputs::Outputs(Exchanges &line, const Session &session)
    : line_(line)
    , session_(session)
    , handlers_([](std::exception_ptr thrown) { std::rethrow_exception(thrown); }) // they see to all that can be thrown
{
    connect(&line_, &Exchanges::Usable, this, [this] {
        for (const EndingPtr &ending : endings_) {
            ending->waited.Restart();
            ending->look->Start(Exchanges::patience + others);
        }
        News();
    });
    connect(&line_, &Exchanges::Unusable, this, [this] {
        queueSilent_.Stop(); // what was under way goes out again
        for (const EndingPtr &ending : endings_)
            Want(ending->run);
    });
}

Outputs::~Outputs()
{
    handlers_.Drop();
}

/// Those who wait look again; later, because this may be told in the middle of an exchange, and they may close the
/// port.
void Outputs::News()
{
    QMetaObject::invokeMethod(this, [this] { news_.Wake(); }, Qt::QueuedConnection);
}

// ---- runs

bool Outputs::Contradicts(const Write &write, const Writes &off)
{
    return std::ranges::any_of(
        off, [&write](const Write &wanted) { return wanted.reg == write.reg && wanted.value != write.value; });
}

/// Whether a write of a run must not be sent any more.
bool Outputs::Void(const RunPtr &run, const Write &write)
{
    if (look_ && run && Contradicts(write, run->off))
        look_();
    return run && (run->superseded || (run->over && Contradicts(write, run->off)));
}

Outputs::RunPtr Outputs::Begin(Writes off, const RunPtr &former)
{
    const auto run = std::make_shared<Run>();
    run->off = std::move(off);
    run->wanted = run->off;
    std::erase_if(runs_, [](const std::weak_ptr<Run> &each) { return each.expired(); });
    runs_.push_back(run);
    if (former) {
        former->superseded = former->over = true;
        run->on = former->on || std::ranges::count(wanted_, former) > 0;
        if (std::erase(wanted_, former) > 0)
            Q_EMIT UnconfirmedChanged(Unconfirmed());
        LookAtWatched();
    }
    return run;
}

/// A write goes out: what it switches is no longer wanted otherwise for others.
void Outputs::Note(const RunPtr &run, const Write &write)
{
    Told(write.reg, write.value);
    if (run && Contradicts(write, run->off)) {
        run->on = true;
        LookAtWatched();
    }
}

/// A window may have asked for it before somebody else was stopped, and it waits still: the stop has the last word.
bool Outputs::Void(const Queued &queued)
{
    const auto end = ended_.find(queued.write.reg);
    const bool overruled =
        end != ended_.end() && end->second.first != queued.write.value && end->second.second > queued.moment;
    return overruled || Void(queued.run, queued.write);
}

/// From here on the run switches nothing on, and what others switch is theirs.
void Outputs::Over(const RunPtr &run, const Writes &writes)
{
    ++moment_;
    const auto end = [this](const Writes &ends) {
        for (const Write &write : ends)
            ended_[write.reg] = {write.value, moment_};
    };
    if (!writes.empty())
        end(run->off); // also what this end need not switch
    end(writes);
    run->over = true;
    run->wanted = run->off; // once more, when it was over already and others have switched since
}

void Outputs::Told(quint8 reg, quint8 value)
{
    NoteLine(reg, value != 0);
    const Write write{reg, value};
    for (const std::weak_ptr<Run> &each : runs_)
        if (const RunPtr run = each.lock(); run && run->over && Contradicts(write, run->wanted))
            std::erase_if(run->wanted, [reg](const Write &wanted) { return wanted.reg == reg; });
    if (std::erase_if(wanted_, [](const RunPtr &run) { return !IsReadable(run->wanted); }) > 0) {
        Q_EMIT UnconfirmedChanged(Unconfirmed());
        News();
    }
    LookAtWatched();
}

Task<void> Outputs::Send(RunPtr run, quint8 reg, quint8 value, std::function<bool()> wanted)
{
    const Write write{reg, value};
    Exchanges::Conversation conversation;
    conversation.next = [this, run, write, wanted](int number) -> std::optional<Question> {
        if (number > 0 || Void(run, write) || (wanted && !wanted()))
            return std::nullopt;
        Note(run, write);
        return Once(number, write);
    };
    Exchanges::Answer answer = line_.Ask(std::move(conversation));
    co_await answer;
}

// ---- what is on

bool Outputs::IsOn(quint8 reg) const
{
    const auto line = lines_.find(reg);
    return line != lines_.end() && line->second;
}

std::optional<bool> Outputs::Known(quint8 reg) const
{
    return known_.contains(reg) ? std::optional(IsOn(reg)) : std::nullopt;
}

void Outputs::NoteLine(quint8 reg, bool on)
{
    if (CutBit(reg) == 0)
        return;
    const bool news = known_.insert(reg).second;
    if (std::exchange(lines_[reg], on) != on)
        Q_EMIT LinesChanged();
    if (news)
        Q_EMIT KnowledgeChanged();
}

void Outputs::LinesInDoubt()
{
    known_.clear();
    Q_EMIT KnowledgeChanged();
}

void Outputs::WereRead(quint8 lines)
{
    for (const quint8 reg : {command::CutCharge, command::CutDischarge, command::CutPower})
        NoteLine(reg, (lines & CutBit(reg)) == 0);
}

// ---- who has to see it off

bool Outputs::IsWatched(const Run &run)
{
    return run.on && !run.left && !run.superseded && (!run.over || IsReadable(run.wanted));
}

std::vector<Outputs::RunPtr> Outputs::WatchedRuns() const
{
    std::vector<RunPtr> watched;
    for (const std::weak_ptr<Run> &each : runs_)
        if (const RunPtr run = each.lock(); run && IsWatched(*run))
            watched.push_back(run);
    return watched;
}

void Outputs::LookAtWatched()
{
    Watched now;
    for (const RunPtr &run : WatchedRuns()) {
        now.what = now.off.empty() || now.what == run->what ? run->what : QString();
        for (const Write &write : run->over ? run->wanted : run->off)
            if (std::ranges::count(now.off, write) == 0)
                now.off.push_back(write);
        if (!run->note.isEmpty())
            now.note = run->note;
    }
    if (now == watched_)
        return;
    watched_ = now;
    Q_EMIT WatchedChanged();
}

void Outputs::Leave(const RunPtr &run)
{
    if (run)
        run->left = true;
    LookAtWatched();
}

void Outputs::LeaveAll()
{
    for (const std::weak_ptr<Run> &each : runs_)
        if (const RunPtr run = each.lock(); run && !run->over)
            run->left = true;
    LookAtWatched();
}

void Outputs::EndLeft()
{
    for (const std::weak_ptr<Run> &each : runs_)
        if (const RunPtr run = each.lock(); run && run->left)
            Over(run, run->off);
}

void Outputs::SwitchedOffByOthers()
{
    const std::vector<RunPtr> ended = WatchedRuns();
    for (const RunPtr &run : ended)
        Over(run, run->off);
    // Later: somebody may have the line at this moment.
    QMetaObject::invokeMethod(
        this,
        [this, ended] {
            for (const RunPtr &run : ended)
                Want(run);
        },
        Qt::QueuedConnection);
}

// ---- ends

Task<void> Outputs::End(RunPtr run, Writes writes)
{
    Over(run, writes);
    const auto ending = std::make_shared<Ending>(run, std::move(writes), line_.Disturbances());
    ending->look.emplace([this, weak = std::weak_ptr(ending)] {
        if (const EndingPtr living = weak.lock())
            Look(living);
    });
    endings_.push_back(ending);
    ending->look->Start(Exchanges::patience + others);
    if (!line_.IsUsable())
        Want(run); // in doubt until it can be told
    handlers_.Start(SendEnd(ending));
    co_await ending->told;
    if (ending->closed)
        throw PortClosed();
}

Task<void> Outputs::SendEnd(EndingPtr ending)
{
    try {
        for (size_t i = 0; i < ending->writes.size() && !ending->insisted; ++i) {
            Exchanges::Conversation conversation;
            conversation.next = [this, ending, i](int number) -> std::optional<Question> {
                if (ending->insisted || ending->run->superseded)
                    return std::nullopt;
                const Write &write = ending->writes[i];
                if (number == 0) {
                    ending->begun = i + 1;
                    ending->waited.Restart();
                    ending->look->Start(others);
                    Note(ending->run, write);
                }
                return Once(number, write);
            };
            Exchanges::Answer answer = line_.Ask(std::move(conversation));
            co_await answer;
            ++ending->answered;
            ending->look->Start(
                std::max<Clock::Duration>(Exchanges::patience + others - ending->lasted.Elapsed(), 1ms));
        }
    } catch (const PortClosed &) {
        ending->closed = !ending->insisted;
        ending->insisted = true;
    }
    ending->look->Stop();
    std::erase(endings_, ending);
    const bool disturbed = ending->disturbances != line_.Disturbances();
    if (ending->closed || (disturbed && !ending->insisted))
        Want(ending->run);
    else if (!ending->insisted) // else it was wanted then, and may be off by now
        EndedWell(ending->run);
    ending->told.Set();
    News();
}

/// An end that does not get on is sent without waiting any more: as it is when the line is doubtful or kept by
/// somebody, all of it once more when its own answer was lost.
void Outputs::Look(const EndingPtr &ending)
{
    if (!line_.IsUsable())
        return; // a lost device is waited for
    const bool silent = ending->waited.Elapsed() >= Exchanges::lost;
    if (ending->begun == ending->answered || line_.Doubtful())
        Insist(ending, ending->begun);
    else if (silent)
        Insist(ending, 0);
    else
        ending->look->Start(Exchanges::lost - ending->waited.Elapsed());
}

void Outputs::Insist(const EndingPtr &ending, size_t from)
{
    if (std::exchange(ending->insisted, true))
        return;
    ending->look->Stop();
    SendNow(ending->run, Writes(ending->writes.begin() + static_cast<std::ptrdiff_t>(from), ending->writes.end()));
    std::erase(endings_, ending);
    Want(ending->run);
    ending->told.Set();
    News();
}

void Outputs::EndNow(const RunPtr &run, const Writes &writes)
{
    Over(run, writes);
    std::erase_if(queue_, [&run](const Queued &queued) { return queued.run == run; });
    SendNow(run, writes);
}

void Outputs::EndRest()
{
    for (const RunPtr &run : WatchedRuns())
        if (!run->over)
            QueueEnd(run, run->off);
}

void Outputs::EndWatchedNow()
{
    for (const RunPtr &run : WatchedRuns())
        EndNow(run, Writes(run->over ? run->wanted : run->off));
}

void Outputs::SendNow(const RunPtr &run, const Writes &writes)
{
    if (run->superseded)
        return;
    const int before = line_.Disturbances();
    for (const Write &write : writes) {
        const bool last = &write == &writes.back();
        ++unacknowledged_;
        Note(run, write);
        line_.SendUnanswered(Request(write.reg, write.value), Reply::Acknowledge(),
                             [this, run, last, before](bool answered) {
                                 --unacknowledged_;
                                 if (!answered || line_.Disturbances() != before)
                                     Want(run);
                                 else if (last)
                                     EndedWell(run);
                                 News();
                             });
    }
}

/// Told without any disturbance: it is off.
void Outputs::EndedWell(const RunPtr &run)
{
    if (std::ranges::count(wanted_, run) == 0)
        run->on = false;
    LookAtWatched();
}

void Outputs::StepOver(const RunPtr &run)
{
    if (run->over)
        Want(run);
}

// ---- the queue

void Outputs::Queue(const RunPtr &run, const Writes &writes, std::function<void()> done)
{
    Push(run, writes, false, std::move(done));
}

void Outputs::QueueEnd(const RunPtr &run, const Writes &writes)
{
    Over(run, {}); // its writes have their place among the others
    Push(run, writes, true, {});
}

void Outputs::Push(const RunPtr &run, const Writes &writes, bool ends, std::function<void()> done)
{
    for (const Write &write : writes)
        queue_.push_back({write, run, false, line_.Disturbances(), moment_, {}});
    queue_.back().ends = ends;
    queue_.back().done = std::move(done);
    if (!queueBusy_)
        NextQueued();
}

void Outputs::NextQueued()
{
    queueSilent_.Stop();
    queueEnds_ = nullptr;
    queueBusy_ = !queue_.empty();
    if (!queueBusy_) {
        News();
        return;
    }
    const Queued next = queue_.front();
    queue_.pop_front();
    handlers_.Start(SendQueued(next, ++queueBegun_));
}

/// The answer may be lost: nobody behind it waits any longer.
void Outputs::QueueIsSilent()
{
    if (queueEnds_)
        Want(queueEnds_);
    ++queueBegun_;
    NextQueued();
}

Task<void> Outputs::SendQueued(Queued queued, int number)
{
    Exchanges::Conversation conversation;
    conversation.next = [this, queued, number](int part) -> std::optional<Question> {
        if (part > 0 || Void(queued))
            return std::nullopt;
        int &newest = newestQueued_[queued.write.reg];
        if (number < newest)
            return std::nullopt; // asked again after a newer one: the board keeps that
        newest = number;
        if (number == queueBegun_) { // on the line: from here on the board is expected to answer
            queueSilent_.Start(Exchanges::patience);
            queueEnds_ = queued.ends ? queued.run : nullptr;
        }
        Note(queued.run, queued.write);
        return Once(part, queued.write);
    };
    try {
        Exchanges::Answer answer = line_.Ask(std::move(conversation));
        co_await answer;
    } catch (const PortClosed &error) {
        queue_.push_front(queued);
        for (const Queued &unsent : std::exchange(queue_, {}))
            if (unsent.run && unsent.run->over)
                Want(unsent.run);
        NextQueued();
        Q_EMIT QueueFailed(error.Text());
        co_return;
    }
    if (queued.done)
        queued.done();
    if (number != queueBegun_)
        co_return; // the queue has gone on without this answer, and an end is wanted
    if (queued.ends && queued.disturbances != line_.Disturbances())
        Want(queued.run);
    else if (queued.ends)
        EndedWell(queued.run);
    NextQueued();
}

/// Somebody takes the line: what is left goes out now.
void Outputs::FlushQueue()
{
    if (queueEnds_)
        Want(queueEnds_); // its last write is out, and its answer may never come
    for (const Queued &queued : std::exchange(queue_, {})) {
        if (Void(queued))
            continue;
        Note(queued.run, queued.write);
        line_.SendUnanswered(Request(queued.write.reg, queued.write.value), Reply::Acknowledge());
        if (queued.ends)
            Want(queued.run);
    }
    ++queueBegun_;
    NextQueued();
}

bool Outputs::Settling() const
{
    return !endings_.empty() || unacknowledged_ > 0 || queueBusy_;
}

Task<void> Outputs::Await(std::function<bool()> pending, Clock::Duration limit)
{
    const Stopwatch waited;
    Alarm end([this] { News(); });
    end.Start(limit);
    while (pending() && line_.IsUsable() && waited.Elapsed() < limit)
        co_await news_;
}

Task<void> Outputs::Confirmed()
{
    Task<void> settled = Settled();
    co_await settled;
    Task<void> confirmed = Await([this] { return Unconfirmed() && !session_.Streaming && !line_.IsHeld(); }, leaving);
    co_await confirmed;
}

Task<void> Outputs::Settled()
{
    Task<void> settled = Await([this] { return Settling(); }, longest);
    co_await settled;
    const auto endings = endings_;
    for (const EndingPtr &ending : endings)
        Insist(ending, ending->begun);
    if (queueBusy_)
        FlushQueue();
}

// ---- until it is off

void Outputs::Want(const RunPtr &run)
{
    if (run->superseded || !IsReadable(run->wanted))
        return;
    tries_ = 0;
    if (std::ranges::count(wanted_, run) == 0) {
        wanted_.push_back(run);
        Q_EMIT UnconfirmedChanged(true);
    }
    if (!confirming_)
        handlers_.Start(Confirm());
}

Task<void> Outputs::Confirm()
{
    confirming_ = true;
    again_.Start(again);
    bool written = false;
    while (!wanted_.empty()) {
        if (!line_.IsUsable() || session_.Streaming || !endings_.empty()) { // what is still to be told goes first
            co_await news_;
            continue;
        }
        try {
            const quint8 lines = co_await ReadLines();
            const quint8 asBefore = co_await ReadLines();
            if (lines != asBefore)
                continue;
            WereRead(lines);
            std::erase_if(wanted_, [lines](const RunPtr &run) {
                const bool off = std::ranges::all_of(
                    run->wanted, [lines](const Write &write) { return CutBit(write.reg) == 0 || IsSo(write, lines); });
                run->on = !off;
                return off;
            });
            LookAtWatched();
            Q_EMIT UnconfirmedChanged(Unconfirmed());
            News();
            if (std::exchange(written, true) && !wanted_.empty()) { // it does not do as it is told
                Delay pause(again);
                co_await pause;
            }
            for (const Write &write : Missing(lines))
                co_await Acknowledged(write);
        } catch (const PortClosed &) {
            continue; // until it is open again
        }
    }
    again_.Stop();
    confirming_ = false;
}

/// The switch port, on a line that was quiet for a moment.
Task<quint8> Outputs::ReadLines()
{
    Exchanges::Conversation conversation;
    conversation.drained = true;
    conversation.next = [](int number) -> std::optional<Question> {
        if (number > 0)
            return std::nullopt;
        return Question{Request(command::SwitchPort), Reply::Framed(1)};
    };
    Exchanges::Answer answer = line_.Ask(std::move(conversation));
    const QByteArray reply = co_await answer;
    co_return static_cast<quint8>(reply.at(0));
}

Task<void> Outputs::Acknowledged(Write write)
{
    Exchanges::Conversation conversation;
    conversation.next = [this, write](int number) -> std::optional<Question> {
        const auto wants = [&write](const RunPtr &run) { return std::ranges::count(run->wanted, write) > 0; };
        if (std::ranges::none_of(wanted_, wants))
            return std::nullopt; // it was switched by somebody else meanwhile
        return Once(number, write);
    };
    Exchanges::Answer answer = line_.Ask(std::move(conversation));
    co_await answer;
}

/// The writes that make off what is not; those that the port does not show go with the others of their run.
Outputs::Writes Outputs::Missing(quint8 lines) const
{
    Writes missing;
    for (const RunPtr &run : wanted_)
        for (const Write &write : run->wanted)
            if ((CutBit(write.reg) == 0 || !IsSo(write, lines)) && std::ranges::count(missing, write) == 0)
                missing.push_back(write);
    return missing;
}

/// A board that has said nothing since may not have heard either.
void Outputs::TellAgain()
{
    again_.Start(++tries_ < manyTries ? again : seldom);
    if (session_.Streaming || line_.IsHeld() || !endings_.empty() || line_.Silence() < Exchanges::patience)
        return;
    for (const RunPtr &run : wanted_)
        for (const Write &write : run->wanted)
            line_.SendUnanswered(Request(write.reg, write.value), Reply::Acknowledge());
    if (!line_.IsUndisturbed())
        line_.AskAgain();
}
