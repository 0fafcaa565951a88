// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "base/flag.h"
#include "base/handlers.h"
#include "exchanges.h"

#include <QObject>

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <vector>

/// The one keeper of the board's outputs: who has switched something on, with which writes it is off again, and whether
/// it is. "Off" is wanted until it is so: while nothing disturbs them the writes of an end are all that is sent; after
/// anything that leaves a doubt the switch lines are read, and what is not off is written again, through closed ports,
/// lost adapters and silent boards, until the board has said twice that it is. An acknowledgement proves nothing: any
/// byte passes for one.
class Outputs : public QObject
{
    Q_OBJECT

public:
    Outputs(Exchanges &line, const Session &session);
    ~Outputs() override;

    /// A register write.
    struct Write
    {
        quint8 reg;
        quint8 value;
        bool operator==(const Write &) const = default;
    };
    using Writes = std::vector<Write>;

    /// Something that switches outputs on: a charge, a discharge, a calibration with a current. It outlives the window
    /// that began it for as long as it is on.
    struct Run
    {
        Writes off;              ///< with these all of it is off
        Writes wanted;           ///< those of them that nobody has switched otherwise since it was over
        bool on = false;         ///< something was switched on for it and is not known to be off
        bool over = false;       ///< it was ended: nothing is switched on for it any more
        bool superseded = false; ///< another run has taken its place: nothing at all is sent for it any more
        bool left = false;       ///< the user has left it on: nobody has to see its end any more
        QString what{};          ///< what the board does while it is on, in French: "charge"
        QString note{};          ///< the file in which is told what else than its user or its rule has ended it
    };
    using RunPtr = std::shared_ptr<Run>;

    /// A run that is off again with these writes. It takes the place of `former`, if that is given, with all that this
    /// has left on.
    RunPtr Begin(Writes off, const RunPtr &former = {});

    /// One write of a run and its acknowledgement. Once the run is over, a write that contradicts its end is not sent;
    /// nor is one that `wanted` calls off when the line is ours. Throws PortClosed.
    Task<void> Send(RunPtr run, quint8 reg, quint8 value, std::function<bool()> wanted = {});

    /// Ends a run with these writes, each with its acknowledgement; goes on when the board was told. When the line is
    /// kept by others or an answer is missing, what is left goes out at once, unanswered. On a closed port the end
    /// stays wanted, and PortClosed is thrown.
    Task<void> End(RunPtr run, Writes writes);

    /// The same at once, without a wait for anything.
    void EndNow(const RunPtr &run, const Writes &writes);
    /// The same for all that this program has to see off.
    void EndWatchedNow();

    /// Ends what is watched and was not ended yet, behind what is queued.
    void EndRest();

    /// A step that was under way when its run was ended is over: it may have left something undone.
    void StepOver(const RunPtr &run);

    /// Writes that go out in the order in which they were asked for, whichever window asks: what a window leaves behind
    /// never follows what the next one sets up. Each goes out once the one before it is answered or the board has been
    /// silent for a while. `done` is called once the last of them is answered. No run: they switch nothing that has to
    /// go off again.
    void Queue(const RunPtr &run, const Writes &writes, std::function<void()> done = {});

    /// Ends a run with writes that go out in that order.
    void QueueEnd(const RunPtr &run, const Writes &writes);

    /// The user leaves a run (or none) as it is: what is on stays on, and nobody has to see its end.
    void Leave(const RunPtr &run);
    /// The same for all that was not ended.
    void LeaveAll();

    /// What was left on is somebody else's from now on: no write of a run that was left goes out any more that would
    /// switch it on.
    void EndLeft();

    /// What is on and has to be seen off by this program.
    struct Watched
    {
        Writes off;   ///< with these it is off; none: nothing is on
        QString what; ///< what the board does, if that is one thing
        QString note; ///< of the newest run of them
        bool operator==(const Watched &) const = default;
    };
    const Watched &WhatIsWatched() const { return watched_; }

    /// Somebody else has switched off all that was watched, because this program stood still: its runs are over, and it
    /// is looked whether they are off.
    void SwitchedOffByOthers();

    /// To be called before anything is switched on, in case that has happened.
    void BeforeSwitchingOn(std::function<void()> look) { look_ = std::move(look); }

    /// Whether a switch line was let through when it was last switched or read; false before that.
    bool IsOn(quint8 reg) const;
    /// The same while it is certain; nothing where the line was neither switched nor read since it was in doubt.
    std::optional<bool> Known(quint8 reg) const;
    /// The switch port (command 31) was read.
    void WereRead(quint8 lines);
    /// The board was out of sight: nobody knows what it has done with its lines.
    void LinesInDoubt();

    /// A line was switched by hand: what was wanted of it is void.
    void Told(quint8 reg, quint8 value);

    /// Whether something of a run that was ended is not known to be off.
    bool Unconfirmed() const { return !wanted_.empty(); }

    /// Waits until what is to be off has reached the board; no longer than a third of a second, and then it has been
    /// sent unanswered. For whoever takes the line or closes the port.
    Task<void> Settled();

    /// The same for whoever ends the session: waits also, for some seconds, until what is unconfirmed is known to be
    /// off.
    Task<void> Confirmed();

Q_SIGNALS:
    void UnconfirmedChanged(bool unconfirmed);
    void WatchedChanged();
    void LinesChanged();
    /// A line is known that was not, or no longer.
    void KnowledgeChanged();
    /// A write of the queue could not be sent, and why.
    void QueueFailed(const QString &text);

private:
    struct Ending;
    using EndingPtr = std::shared_ptr<Ending>;

    struct Queued
    {
        Write write;
        RunPtr run;
        bool ends;        ///< it is the last of a run's end
        int disturbances; ///< of the line when it was asked for
        int moment;       ///< when that was, among the ends
        std::function<void()> done;
    };

    void News();
    static bool Contradicts(const Write &write, const Writes &off);
    void Over(const RunPtr &run, const Writes &writes);
    bool Void(const RunPtr &run, const Write &write);
    bool Void(const Queued &queued);
    static bool IsWatched(const Run &run);
    std::vector<RunPtr> WatchedRuns() const;
    void LookAtWatched();
    void NoteLine(quint8 reg, bool on);
    void Note(const RunPtr &run, const Write &write);

    Task<void> SendEnd(EndingPtr ending);
    void Look(const EndingPtr &ending);
    void Insist(const EndingPtr &ending, size_t from);
    void SendNow(const RunPtr &run, const Writes &writes);
    void EndedWell(const RunPtr &run);

    void Push(const RunPtr &run, const Writes &writes, bool ends, std::function<void()> done);
    void NextQueued();
    void QueueIsSilent();
    void FlushQueue();
    Task<void> SendQueued(Queued queued, int number);
    bool Settling() const;
    Task<void> Await(std::function<bool()> pending, Clock::Duration limit);

    void Want(const RunPtr &run);
    Task<void> Confirm();
    Task<quint8> ReadLines();
    Task<void> Acknowledged(Write write);
    Writes Missing(quint8 lines) const;
    void TellAgain();

    Exchanges &line_;
    const Session &session_;
    std::vector<std::weak_ptr<Run>> runs_; ///< those that somebody still has, the oldest first
    std::map<quint8, bool> lines_;         ///< as they were switched or read last
    std::set<quint8> known_;               ///< those of them that are certain
    Watched watched_;
    std::function<void()> look_;
    std::vector<RunPtr> wanted_;     ///< ended, and not known to be off
    std::vector<EndingPtr> endings_; ///< under way
    int unacknowledged_ = 0;         ///< writes of ends whose acknowledgement is still to come
    std::deque<Queued> queue_;
    bool queueBusy_ = false;
    int queueBegun_ = 0;
    int moment_ = 0;                                 ///< grows with each end
    std::map<quint8, std::pair<quint8, int>> ended_; ///< by register, the value of its newest end and when that was
    std::map<quint8, int> newestQueued_;             ///< by register, which of the writes that were begun is the newest
    RunPtr queueEnds_;                               ///< the run whose end the write under way completes
    bool confirming_ = false;
    int tries_ = 0; ///< of telling a board that says nothing
    Flag news_;
    Alarm queueSilent_{[this] { QueueIsSilent(); }};
    Alarm again_{[this] { TellAgain(); }};
    Handlers handlers_;
};
