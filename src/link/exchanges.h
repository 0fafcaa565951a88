// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "base/task.h"
#include "com.h"
#include "request.h"
#include "session.h"

#include <QObject>

#include <deque>
#include <functional>
#include <optional>
#include <vector>

/// Who may talk to the board, and whose the bytes are that it sends.
///
/// The board answers in the order in which it is asked, and its answers carry no name. So a table keeps what is owed to
/// whom, in the order of the requests, and every byte that arrives belongs to the oldest that is not complete.
///
/// 1. While nothing is owed, the newest handler that wants the line gets it, so that a click goes before the step that
///    it interrupted; one that asks for its next exchange at once keeps the line ahead of older ones. What waits in the
///    input then is nobody's and is dropped before the request goes out.
/// 2. When the board has been silent for `patience`, and the system's input was looked at and is empty, the newest
///    waiting request goes out behind what is owed. An answer of which a part had come is damaged: its asker asks
///    again later. From then on answers are held back until all that is owed has come: only then is it sure whose they
///    are.
/// 3. With more than one answer owed and a second without a byte, one was lost: all of it is void, the line is drained
///    and whoever is still wanted asks again, the newest first. A single one is waited for without end.
///    An answer that was given up may have been late, not lost, and come before that to what is asked again. So the
///    first sign of life of the board is thrown away with all that follows it at once, and it is asked once more.
/// 4. What must not be interrupted is begun with Overtaking::Refused, and keeps the line until it is complete.
class Exchanges : public QObject
{
    Q_OBJECT

public:
    // Properties of the wire: none of them is scaled with time.
    static constexpr auto patience = 250ms; ///< a board that is silent for so long may be overtaken
    static constexpr auto lost = 1s;        ///< what has not come after that was lost
    static constexpr auto quiet = 50ms;     ///< after so much quiet no old answer is on its way any more, as a rule

    enum class Overtaking
    {
        Allowed,
        Refused
    };

    Exchanges(Com &com, Session &session);

    /// What a handler asks for: one request after the other, with nobody's in between. `next` gives request number 0,
    /// 1, ... when it may go out, and nothing once there are no more, or when they are called off. They begin again at
    /// 0 when an answer was lost or damaged.
    struct Conversation
    {
        std::function<std::optional<Question>(int number)> next;
        Overtaking overtaking = Overtaking::Allowed;
        std::function<bool()> wanted = {}; ///< while it says no, Overtaking::Refused does not count
        bool drained = false;              ///< begins on a line that was quiet for a moment
    };

private:
    /// A handler that asks or wants to hold the line; lives in its coroutine.
    struct Asker
    {
        Asker(Exchanges &itsTable, Conversation itsConversation, bool holds, bool last);
        Asker(const Asker &) = delete;
        Asker &operator=(const Asker &) = delete;
        ~Asker();

        void Restart();

        Exchanges &table;
        Conversation conversation; ///< empty for one that holds the line
        const bool holds;
        const bool last;     ///< goes behind all others...
        bool urgent = false; ///< ...but not when those have been overtaken for it
        HandlerNumber handler = 0;
        std::coroutine_handle<> waiter;
        QByteArray data;
        int number = 0;
        bool touched = false;  ///< a byte of an answer has come
        bool patient = false;  ///< was overtaken with a part of its answer: waits until nothing is owed
        bool answered = false; ///< has its answer, and goes on in a moment
        bool closed = false;   ///< the port is closed, nothing was asked
    };

    /// What one awaits who asks or wants to hold the line.
    class Awaiter
    {
    public:
        bool await_ready() const noexcept { return false; }
        template <class Promise>
        bool await_suspend(std::coroutine_handle<Promise> waiter)
        {
            asker_.handler = waiter.promise().handler;
            asker_.waiter = waiter;
            return !asker_.table.BeginNow(asker_);
        }

    protected:
        Awaiter(Exchanges &table, Conversation conversation, bool holds, bool last)
            : asker_(table, std::move(conversation), holds, last)
        {
        }
        /// The asker that has waited; throws PortClosed when it waited in vain.
        const Asker &Done() const
        {
            if (asker_.closed)
                throw PortClosed();
            return asker_;
        }

    private:
        Asker asker_;
    };

public:
    class [[nodiscard]] Answer : public Awaiter
    {
    public:
        Answer(Exchanges &table, Conversation conversation) : Awaiter(table, std::move(conversation), false, false) {}
        QByteArray await_resume() const { return Done().data; }
    };

    /// The data bytes of all answers, in order. Throws PortClosed once the port is closed for good.
    Answer Ask(Conversation conversation) { return Answer(*this, std::move(conversation)); }

    /// The line for oneself, to read and write Com directly; given back when it is destroyed. It outlasts closings of
    /// the port.
    class Hold
    {
    public:
        Hold(Hold &&other) noexcept : table_(std::exchange(other.table_, nullptr)) {}
        Hold(const Hold &) = delete;
        Hold &operator=(const Hold &) = delete;
        Hold &operator=(Hold &&) = delete;
        ~Hold()
        {
            if (table_)
                table_->EndHold();
        }

    private:
        friend class Exchanges;
        explicit Hold(Exchanges *table) : table_(table) {}
        Exchanges *table_;
    };

    class [[nodiscard]] HoldAwaiter : public Awaiter
    {
    public:
        HoldAwaiter(Exchanges &table, bool last) : Awaiter(table, {}, true, last) {}
        Hold await_resume() const { return Hold(&Done().table); }
    };

    enum class Place
    {
        Newest, ///< by the number of the handler, as everybody
        Last    ///< behind all who wait
    };
    /// Waits for the line; throws PortClosed once the port is closed. On a drained line, with nothing owed.
    HoldAwaiter TakeLine(Place place = Place::Newest) { return HoldAwaiter(*this, place == Place::Last); }

    /// Whether somebody waits for whom the line could be; Wanted() is emitted when that begins while it is held.
    bool IsWanted() const { return Newest(true) != nullptr; }
    bool IsHeld() const { return held_; }

    /// Sends a request whose answer nobody waits for, at once, whoever has the line; its answer is kept apart from
    /// those of others. `done` is told whether it has come undisturbed. Nothing is sent while the line cannot be used.
    void SendUnanswered(const QByteArray &request, Reply reply, std::function<void(bool answered)> done = {});

    /// A usable line takes requests; a lost one keeps everybody waiting; a closed one refuses them with PortClosed.
    enum class State
    {
        Closed,
        Lost,
        Usable
    };
    /// The port was closed, lost or opened. What is owed is void, and asked again when the line is usable.
    void SetState(State state);
    bool IsUsable() const { return state_ == State::Usable; }

    /// All that is owed is void and asked again, after what may still come has gone by.
    void AskAgain();

    /// Who holds the line leaves answers behind that may still come.
    void LeaveDoubt();
    /// Who holds the line has heard out all that may still have been on its way.
    void HeardOut()
    {
        doubtful_ = false;
        probation_.reset();
        trials_ = 0;
    }

    /// Something that was wanted may not be any more, or the board listens that did not.
    void Reconsider()
    {
        Arm();
        DecideSoon();
    }

    /// Whether somebody is being answered who must not be interrupted.
    bool IsUndisturbed() const;

    /// Whether it is uncertain at the moment whose the answers are that come.
    bool Doubtful() const { return overtaken_ || clearing_; }

    /// Whether the board owes an answer.
    bool IsOwed() const { return !owed_.empty(); }

    /// Whether nothing is owed and nobody waits.
    bool Idle() const { return owed_.empty() && waiting_.empty() && !draining_ && !held_; }

    /// How long the board has owed an answer without a byte; zero when it owes none.
    Clock::Duration Silence() const { return owed_.empty() ? Clock::Duration::zero() : heard_.Elapsed(); }

    /// How often it was uncertain so far whether all that was asked has reached the board: grows with each overtaking,
    /// each answer that was lost, each closing in mid-exchange.
    int Disturbances() const { return disturbances_; }

    /// Takes a byte of the input into RxByte if one waits; not while AbortWait is set. RxByte is 0 when there was none.
    bool ReceiveByte();

Q_SIGNALS:
    /// Somebody waits while the line is held.
    void Wanted();
    /// Somebody waits while the board streams: nobody but who greets it gets the line.
    void SessionWanted();
    /// The line can be used, or can no longer.
    void Usable();
    void Unusable();
    /// Somebody's question is answered with these data bytes.
    void Answered(const Question &question, const QByteArray &data);

private:
    struct Owed
    {
        Asker *asker; ///< null when nobody waits for it
        Question question;
        std::function<void(bool)> done;
        bool framed;
        QByteArray data;
        int spare;
        Clock::Duration sent;
        bool begun = false; ///< a byte of it has come

        bool Answered() const { return framed && data.size() >= question.reply.length; }
        bool Complete() const { return Answered() && spare == 0; }
        bool IsLeftover() const { return Answered() && spare > 0; }
        bool IsAwaited() const { return asker != nullptr && !Complete(); }
        bool IsUndisturbed() const;
        void Take(quint8 byte);
    };

    bool BeginNow(Asker &asker);
    bool Free() const;
    bool HasToWait(const Asker &asker) const;
    Asker *Newest(bool alsoPatient) const;
    bool Grant(Asker &asker);
    void SendQuestion(Asker &asker, const Question &question);
    void Append(Owed owed);
    Owed *Oldest();
    void Listen();
    void Settle();
    void ReleaseAll();
    void Release(Asker &asker);
    void Look();
    void Overtake();
    void LookForLoss();
    void VoidAll();
    void LookAtTrial();
    void Believe();
    void AskLater(Clock::Duration quietFor);
    void DropInput();
    void Drain(Clock::Duration length);
    void EndHold();
    void Decide();
    void DecideSoon();
    void Arm();
    void Forget(Asker &asker);

    Com &com_;
    Session &session_;
    State state_ = State::Closed;
    std::deque<Owed> owed_; ///< in the order of the requests
    std::vector<Asker *> waiting_;
    bool held_ = false;
    bool overtaken_ = false; ///< answers are held back until all that is owed has come
    bool company_ = false;   ///< some request was sent while another answer was owed
    bool draining_ = false;
    bool answerDue_ = false;                   ///< to what was owed when the port was closed or lost...
    Clock::Duration cut_{};                    ///< ...which was then
    std::optional<Clock::Duration> probation_; ///< when the first was asked for of what has come if the board is prompt
    bool prompt_ = true;                       ///< the last answer came at once
    bool clearing_ = false;                    ///< that sign has come, and what follows it is drained
    int unheard_ = 0;                          ///< bytes that are due before the drain behind it is over
    int trials_ = 0;
    Clock::Duration doubtSince_{}; ///< when the first of those was asked for that were given up
    bool doubtful_ = false; ///< answers that were given up may still come: the next answer is only a sign of life
    bool deciding_ = false;
    int disturbances_ = 0;
    Stopwatch heard_;
    Stopwatch drainBegan_;
    Clock::Duration drainLength_ = quiet;
    Alarm silent_{[this] { Look(); }};
    Alarm lost_{[this] { LookForLoss(); }};
    Alarm quiet_;
};
