#include "line.h"

#include "com.h"

#include <algorithm>

Line::Line(QObject *parent) : QObject(parent)
{
    silent_.setSingleShot(true);
    silent_.setTimerType(Qt::PreciseTimer);
    connect(&silent_, &QTimer::timeout, this, &Line::Decide);
}

Line::Turn::Turn(Line &line, HandlerNumber handler) : line_(&line), handler_(handler)
{
}

Line::Turn::Turn(Turn &&other) noexcept : line_(std::exchange(other.line_, nullptr)), handler_(other.handler_)
{
}

Line::Turn::~Turn()
{
    if (line_)
        line_->Leave(handler_);
}

Line::BeginAwaiter::BeginAwaiter(Line &line, Overtaking overtaking) : line_(line), overtaking_(overtaking)
{
}

Line::BeginAwaiter::~BeginAwaiter()
{
    std::erase(line_.waiting_, this);
}

Line::Turn Line::BeginAwaiter::await_resume()
{
    if (!granted_)
        throw PortClosed();
    return Turn(line_, handler_);
}

bool Line::TakeNow(BeginAwaiter &awaiter)
{
    if (state_ == State::Closed)
        return true; // await_resume throws
    const BeginAwaiter *rival = Youngest();
    if (Free() && (!rival || rival->handler_ < awaiter.handler_)) {
        Enter(awaiter);
        return true;
    }
    waiting_.push_back(&awaiter);
    DecideSoon();
    return false;
}

bool Line::Free() const
{
    if (state_ != State::Usable)
        return false;
    return underWay_.empty() ||
           (underWay_.back().overtaking == Overtaking::Allowed && underWay_.back().silence.hasExpired(patience_ - 1));
}

Line::BeginAwaiter *Line::Youngest() const
{
    const auto youngest = std::ranges::max_element(waiting_, {}, &BeginAwaiter::handler_);
    return youngest == waiting_.end() ? nullptr : *youngest;
}

void Line::Enter(BeginAwaiter &awaiter)
{
    awaiter.granted_ = true;
    underWay_.push_back({awaiter.handler_, awaiter.overtaking_, {}});
    underWay_.back().silence.start();
}

void Line::Leave(HandlerNumber handler)
{
    std::erase_if(underWay_, [handler](const Exchange &exchange) { return exchange.handler == handler; });
    if (!waiting_.empty())
        DecideSoon();
    if (!underWay_.empty())
        Q_EMIT ReaderChanged();
}

void Line::DecideSoon()
{
    // Later, so that a handler that has just ended an exchange can ask for its next one first.
    if (!std::exchange(deciding_, true))
        QMetaObject::invokeMethod(this, &Line::Decide, Qt::QueuedConnection);
}

void Line::Decide()
{
    deciding_ = false;
    BeginAwaiter *next = Youngest();
    if (!next)
        return;
    if (state_ == State::Closed || Free()) {
        std::erase(waiting_, next);
        if (state_ != State::Closed)
            Enter(*next);
        if (!waiting_.empty())
            DecideSoon();
        next->waiter_.resume();
    } else if (state_ == State::Usable && underWay_.back().overtaking == Overtaking::Allowed) {
        silent_.start(std::max(1, patience_ - static_cast<int>(underWay_.back().silence.elapsed())));
    }
}

void Line::SetState(State state)
{
    state_ = state;
    DecideSoon();
}

HandlerNumber Line::Reader() const
{
    return underWay_.empty() ? 0 : underWay_.back().handler;
}

qint64 Line::Silence() const
{
    return underWay_.empty() ? 0 : underWay_.back().silence.elapsed();
}

void Line::AllowOvertaking(HandlerNumber handler)
{
    for (Exchange &exchange : underWay_)
        if (exchange.handler == handler)
            exchange.overtaking = Overtaking::Allowed;
    DecideSoon();
}

void Line::Heard()
{
    if (!underWay_.empty())
        underWay_.back().silence.start();
}
