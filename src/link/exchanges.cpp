// SPDX-License-Identifier: GPL-3.0-or-later
#include "exchanges.h"

#include <algorithm>
#include <limits>

namespace {
constexpr auto longestDrain = 1s; // a board that streams is never quiet
constexpr int mostTrials = 4;     // of a board that is slow, not late
} // namespace

Exchanges::Exchanges(Com &com, Session &session)
    : com_(com), session_(session), quiet_([this] {
        draining_ = false;
        if (std::exchange(clearing_, false))
            Believe();
        Decide();
    })
{
    connect(&com_, &Com::Received, this, &Exchanges::Listen);
}

// ---- askers

Exchanges::Asker::Asker(Exchanges &itsTable, Conversation itsConversation, bool itHolds, bool itIsLast)
    : table(itsTable), conversation(std::move(itsConversation)), holds(itHolds), last(itIsLast)
{
}

Exchanges::Asker::~Asker()
{
    table.Forget(*this);
}

void Exchanges::Asker::Restart()
{
    data.clear();
    number = 0;
    touched = false;
}

/// A handler is gone; the answer that it is owed still comes, and is nobody else's.
void Exchanges::Forget(Asker &asker)
{
    std::erase(waiting_, &asker);
    for (Owed &owed : owed_)
        if (owed.asker == &asker)
            owed.asker = nullptr;
    Arm();
}

Exchanges::Asker *Exchanges::Newest(bool alsoPatient) const
{
    Asker *newest = nullptr;
    const auto age = [](const Asker *asker) {
        return asker->urgent ? std::numeric_limits<HandlerNumber>::max() : asker->last ? 0 : asker->handler;
    };
    for (Asker *asker : waiting_)
        if (!asker->answered && (alsoPatient || !asker->patient) && !HasToWait(*asker) &&
            (!newest || age(asker) > age(newest)))
            newest = asker;
    return newest;
}

bool Exchanges::Free() const
{
    return state_ == State::Usable && owed_.empty() && !draining_ && !held_;
}

/// A board that streams takes nothing for a question; those who hold the line know how to talk to it.
bool Exchanges::HasToWait(const Asker &asker) const
{
    return session_.BoardStreams && !asker.holds && state_ != State::Closed;
}

/// True when the asker need not wait: it was called off, or the port is closed.
bool Exchanges::BeginNow(Asker &asker)
{
    if (state_ == State::Closed) {
        asker.closed = true;
        return true;
    }
    const Asker *rival = Newest(true);
    if (HasToWait(asker)) {
        waiting_.push_back(&asker);
        DecideSoon();
        return false;
    }
    if (Free() && !asker.last && (!rival || rival->handler < asker.handler))
        return Grant(asker);
    if (Free() && asker.last && !rival)
        return Grant(asker);
    waiting_.push_back(&asker);
    if (held_)
        Q_EMIT Wanted();
    else
        DecideSoon();
    return false;
}

/// Lets an asker have what it wants; true when it need not wait any more.
bool Exchanges::Grant(Asker &asker)
{
    if (owed_.empty())
        com_.KeepNewest(0); // what waits is nobody's
    if (asker.holds) {
        held_ = true;
        return true;
    }
    if (std::exchange(asker.conversation.drained, false)) {
        waiting_.push_back(&asker);
        Drain(quiet);
        return false;
    }
    asker.patient = false;
    const std::optional<Question> question = asker.conversation.next(0);
    if (!question)
        return true;
    SendQuestion(asker, *question);
    return false;
}

void Exchanges::SendQuestion(Asker &asker, const Question &question)
{
    Append({.asker = &asker,
            .question = question,
            .done = {},
            .framed = false,
            .data = {},
            .spare = question.reply.spare,
            .sent = {}});
}

void Exchanges::Append(Owed owed)
{
    const Reply &reply = owed.question.reply;
    owed.framed = !reply.until || (!reply.clearFirst && session_.RxByte == *reply.until);
    const QByteArray request = owed.question.request;
    if (!owed_.empty()) {
        company_ = true;
        overtaken_ |= std::ranges::any_of(owed_, &Owed::IsAwaited);
    }
    owed.sent = Clock::Current().Now();
    owed_.push_back(std::move(owed));
    heard_.Restart();
    com_.Output(request);
    Arm();
}

void Exchanges::SendUnanswered(const QByteArray &request, Reply reply, std::function<void(bool)> done)
{
    if (state_ != State::Usable || (session_.BoardStreams && !held_)) {
        if (done)
            done(false);
        return;
    }
    if (held_ || draining_) {
        com_.Output(request); // who holds the line reads it all, or leaves it to those behind him
        LeaveDoubt();
        if (draining_) {
            clearing_ = false;
            quiet_.Start(drainLength_);
        }
        if (done)
            done(false);
        return;
    }
    if (owed_.empty())
        com_.KeepNewest(0); // what waits is nobody's
    if (std::ranges::any_of(owed_, &Owed::IsAwaited)) {
        overtaken_ = true;
        ++disturbances_;
    }
    Append({.asker = nullptr,
            .question = {request, reply},
            .done = std::move(done),
            .framed = false,
            .data = {},
            .spare = 0,
            .sent = {}});
}

// ---- answers

void Exchanges::Owed::Take(quint8 byte)
{
    begun = true;
    if (!framed)
        framed = byte == *question.reply.until;
    else if (data.size() < question.reply.length)
        data.append(static_cast<char>(byte));
    else
        --spare;
}

bool Exchanges::Owed::IsUndisturbed() const
{
    return IsAwaited() && asker->conversation.overtaking == Overtaking::Refused &&
           (!asker->conversation.wanted || asker->conversation.wanted());
}

bool Exchanges::ReceiveByte()
{
    session_.RxByte = 0;
    if (session_.AbortWait != 0)
        return false;
    const QByteArray byte = com_.Input();
    if (byte.isEmpty())
        return false;
    session_.RxByte = static_cast<quint8>(byte.front());
    session_.RxCount = static_cast<qint16>(com_.InBufferCount());
    return true;
}

Exchanges::Owed *Exchanges::Oldest()
{
    const auto open = std::ranges::find_if(owed_, [](const Owed &owed) { return !owed.Complete(); });
    return open == owed_.end() ? nullptr : &*open;
}

/// Hands out what has arrived.
void Exchanges::Listen()
{
    if (draining_ && com_.InBufferCount() > 0) {
        DropInput();
        if (drainBegan_.Elapsed() < longestDrain)
            quiet_.Start(drainLength_);
    }
    if ((doubtful_ || probation_) && !held_ && !owed_.empty() && com_.InputWaits()) {
        const auto since = std::exchange(probation_, {});
        if (since && !doubtful_ && Clock::Current().Now() - owed_.front().sent >= quiet) {
            doubtful_ = true; // the board has become slow: this may be what was asked for before
            doubtSince_ = *since;
        }
        if (doubtful_) {
            LookAtTrial();
            return;
        }
        trials_ = 0;
    }
    while (!held_ && Oldest() && com_.InputWaits() && ReceiveByte()) {
        Owed &owed = *Oldest();
        heard_.Restart();
        if (owed.asker)
            owed.asker->touched = true;
        owed.Take(session_.RxByte);
        if (owed.Answered())
            prompt_ = Clock::Current().Now() - owed.sent < quiet;
        Settle();
    }
}

/// Gives answers to those who asked, as far as it is sure whose they are.
void Exchanges::Settle()
{
    if (overtaken_) {
        if (!Oldest())
            ReleaseAll();
        else
            Arm(); // what is owed now may be lost, where what was owed before was not to be disturbed
        return;
    }
    while (!owed_.empty() && owed_.front().Answered()) {
        Owed &front = owed_.front();
        Asker *const asker = std::exchange(front.asker, nullptr);
        if (asker) {
            asker->data += front.data;
            Q_EMIT Answered(front.question, front.data);
        }
        const auto done = std::exchange(front.done, {});
        const bool complete = front.Complete();
        if (complete)
            owed_.pop_front();
        if (owed_.empty())
            company_ = false;
        if (owed_.empty() && !waiting_.empty())
            DecideSoon(); // also behind an answer that nobody waited for
        Arm();
        if (done)
            done(true);
        if (asker)
            Release(*asker);
        if (!complete)
            break;
    }
}

/// All that was owed has come: each answer is that of its request. The newest go on first.
void Exchanges::ReleaseAll()
{
    const std::deque<Owed> complete = std::exchange(owed_, {});
    overtaken_ = company_ = false;
    std::vector<Asker *> askers;
    for (const Owed &owed : complete)
        if (owed.asker) {
            owed.asker->data += owed.data;
            owed.asker->answered = true;
            askers.push_back(owed.asker);
            Q_EMIT Answered(owed.question, owed.data);
        }
    // They wait for that moment among the others, where one that is dropped by another's doing is forgotten.
    waiting_.insert(waiting_.end(), askers.begin(), askers.end());
    for (const Owed &owed : complete)
        if (owed.done)
            owed.done(true);
    for (;;) {
        Asker *newest = nullptr;
        for (Asker *asker : waiting_)
            if (asker->answered && (!newest || asker->handler > newest->handler))
                newest = asker;
        if (!newest)
            break;
        std::erase(waiting_, newest);
        newest->answered = false;
        Release(*newest);
    }
    DecideSoon();
}

/// An answer is complete: the next request, or the handler goes on.
void Exchanges::Release(Asker &asker)
{
    if (state_ != State::Usable) { // the port was closed by one that went on before this one
        asker.Restart();
        waiting_.push_back(&asker);
        return;
    }
    if (const std::optional<Question> next = asker.conversation.next(++asker.number)) {
        SendQuestion(asker, *next);
        return;
    }
    if (!waiting_.empty())
        DecideSoon();
    asker.waiter.resume();
}

// ---- silence and loss

/// Sets the alarms by what is owed.
void Exchanges::Arm()
{
    const auto left = [this](Clock::Duration limit) {
        return std::max<Clock::Duration>(limit - heard_.Elapsed(), 1ms);
    };
    if (waiting_.empty() || owed_.empty() || IsUndisturbed())
        silent_.Stop();
    else
        silent_.Start(left(patience));
    const bool alone = !company_ && std::ranges::any_of(owed_, &Owed::IsAwaited);
    if (owed_.empty() || alone || owed_.front().IsUndisturbed())
        lost_.Stop();
    else
        lost_.Start(left(lost));
}

void Exchanges::Look()
{
    Listen(); // what has arrived in the meantime breaks the silence
    if (owed_.empty() || waiting_.empty())
        return;
    if (heard_.Elapsed() < patience)
        Arm();
    else if (!IsUndisturbed())
        Overtake();
}

bool Exchanges::IsUndisturbed() const
{
    return std::ranges::any_of(owed_, &Owed::IsUndisturbed);
}

void Exchanges::Overtake()
{
    if (std::ranges::all_of(owed_, &Owed::IsLeftover)) {
        owed_.clear();
        company_ = false;
        Decide();
        return;
    }
    Asker *const next = Newest(false);
    if (!next)
        return;
    if (next->holds) {
        next->urgent = true;
        VoidAll();
        return;
    }
    std::erase(waiting_, next);
    const std::optional<Question> question = next->conversation.next(0);
    if (!question) {
        Arm();
        next->waiter.resume();
        return;
    }
    ++disturbances_;
    overtaken_ = true;
    for (Owed &owed : owed_) {
        if (!owed.IsAwaited() || !owed.asker->touched)
            continue;
        Asker *const damaged = std::exchange(owed.asker, nullptr);
        damaged->Restart();
        damaged->patient = true;
        waiting_.push_back(damaged);
    }
    SendQuestion(*next, *question);
}

void Exchanges::LookForLoss()
{
    Listen();
    if (owed_.empty())
        return;
    if (heard_.Elapsed() < lost)
        Arm();
    else
        VoidAll();
}

/// Nobody can tell any more whose the next bytes are: what was asked for was lost, or is late and still comes.
void Exchanges::VoidAll()
{
    ++disturbances_;
    LeaveDoubt();
    AskLater(quiet);
}

void Exchanges::LeaveDoubt()
{
    if (!std::exchange(doubtful_, true))
        doubtSince_ = owed_.empty() ? Clock::Current().Now() : owed_.front().sent;
}

/// The board speaks again. It answers in order, and what follows is no later than this: once it has paused for as long,
/// and has said no less than what was asked last, everything has come that was late. When it was prompt besides, what
/// comes then answers what is asked then.
void Exchanges::LookAtTrial()
{
    clearing_ = true;
    unheard_ = 0;
    for (const Owed &owed : owed_)
        unheard_ += owed.question.reply.length + (owed.framed ? 0 : 1);
    prompt_ = Clock::Current().Now() - owed_.front().sent < quiet;
    AskLater(std::clamp<Clock::Duration>(Clock::Current().Now() - doubtSince_, quiet, longestDrain));
}

/// What was late has come, if the board is prompt and stays so. One that is always slow is not late.
void Exchanges::Believe()
{
    if (prompt_ && unheard_ <= 0) {
        doubtful_ = false;
        probation_ = doubtSince_;
    } else if (++trials_ == mostTrials) {
        HeardOut();
    }
}

/// Whoever is owed an answer asks again once the line has been quiet for so long.
void Exchanges::AskLater(Clock::Duration quietFor)
{
    const std::deque<Owed> voided = std::exchange(owed_, {});
    overtaken_ = company_ = false;
    for (const Owed &owed : voided)
        if (owed.asker) {
            owed.asker->Restart();
            waiting_.push_back(owed.asker);
        }
    for (Asker *asker : waiting_)
        asker->patient = false;
    Arm();
    if (state_ == State::Usable)
        Drain(quietFor);
    for (const Owed &owed : voided)
        if (owed.done)
            owed.done(false);
}

void Exchanges::DropInput()
{
    unheard_ -= com_.InBufferCount();
    com_.KeepNewest(0);
}

void Exchanges::Drain(Clock::Duration length)
{
    DropInput();
    draining_ = true;
    drainBegan_.Restart();
    drainLength_ = length;
    quiet_.Start(length);
}

void Exchanges::AskAgain()
{
    if (!owed_.empty())
        VoidAll();
}

// ---- whose turn it is

void Exchanges::EndHold()
{
    held_ = false;
    DecideSoon();
}

void Exchanges::DecideSoon()
{
    // Later, so that a handler that has just ended an exchange can ask for its next one first.
    if (!std::exchange(deciding_, true))
        QMetaObject::invokeMethod(
            this,
            [this] {
                deciding_ = false;
                Decide();
            },
            Qt::QueuedConnection);
}

void Exchanges::Decide()
{
    if (waiting_.empty())
        return;
    if (state_ != State::Closed && !Free()) {
        Arm();
        return;
    }
    Asker *const next = Newest(true);
    if (!next) {
        Q_EMIT SessionWanted();
        return;
    }
    std::erase(waiting_, next);
    next->closed = state_ == State::Closed;
    if (!waiting_.empty())
        DecideSoon();
    if (next->closed || Grant(*next))
        next->waiter.resume();
}

void Exchanges::SetState(State state)
{
    const bool wasUsable = state_ == State::Usable;
    state_ = state;
    if (state == State::Usable) {
        if (!wasUsable && std::exchange(answerDue_, false)) {
            if (Clock::Current().Now() - cut_ >= quiet) {
                LeaveDoubt(); // the board had more time to become late than a closing and opening takes
                doubtSince_ = std::min(doubtSince_, cut_);
            }
            Drain(quiet);
        }
        Q_EMIT Usable();
    } else {
        answerDue_ |= std::exchange(draining_, false);
        clearing_ = false;
        quiet_.Stop();
        if (!owed_.empty()) {
            answerDue_ = true;
            cut_ = Clock::Current().Now();
            ++disturbances_;
            const bool cutShort = std::ranges::any_of(owed_, &Owed::begun);
            if (state == State::Lost || !prompt_ || overtaken_ || cutShort || Silence() >= quiet)
                LeaveDoubt();     // what a board owes that goes away may come when it is back, however late
            else if (!probation_) // the answers are here once the line has been quiet for a moment
                probation_ = owed_.front().sent;
            AskLater(quiet);
        }
        Q_EMIT Unusable();
    }
    DecideSoon();
}
