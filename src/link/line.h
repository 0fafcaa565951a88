#pragma once

#include "base/task.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

#include <coroutine>
#include <vector>

/// Who may talk on the line. An exchange is everything from the escape byte to the last reply byte; a handler holds a
/// Turn while its exchange lasts.
///
/// 1. One exchange at a time.
/// 2. When the line comes free, the youngest handler that wants it gets it, so that a click goes before the step that
///    it interrupted; a handler that asks for its next exchange at once keeps the line ahead of older ones.
/// 3. When the exchange under way has received nothing for Patience(), the youngest waiting handler goes ahead; the
///    silent exchange stays where it is and reads on when it is the youngest reader again.
/// 4. An exchange that was begun with Overtaking::Refused is never overtaken.
class Line : public QObject
{
    Q_OBJECT

public:
    enum class Overtaking
    {
        Allowed,
        Refused
    };

    /// Milliseconds of silence after which an exchange is overtaken. A property of the wire: they are not scaled.
    static constexpr int usualPatience = 250;
    int Patience() const { return patience_; }
    void SetPatience(int milliseconds) { patience_ = milliseconds; }

    explicit Line(QObject *parent = nullptr);

    /// The right to talk, given back when it is destroyed.
    class Turn
    {
    public:
        Turn(Turn &&other) noexcept;
        Turn(const Turn &) = delete;
        Turn &operator=(const Turn &) = delete;
        Turn &operator=(Turn &&) = delete;
        ~Turn();

    private:
        friend class Line;
        Turn(Line &line, HandlerNumber handler);
        Line *line_;
        HandlerNumber handler_;
    };

    class [[nodiscard]] BeginAwaiter
    {
    public:
        BeginAwaiter(Line &line, Overtaking overtaking);
        BeginAwaiter(const BeginAwaiter &) = delete;
        BeginAwaiter &operator=(const BeginAwaiter &) = delete;
        ~BeginAwaiter();

        bool await_ready() const noexcept { return false; }
        template <class Promise>
        bool await_suspend(std::coroutine_handle<Promise> waiter)
        {
            handler_ = waiter.promise().handler;
            waiter_ = waiter;
            return !line_.TakeNow(*this);
        }
        Turn await_resume();

    private:
        friend class Line;
        Line &line_;
        Overtaking overtaking_;
        HandlerNumber handler_ = 0;
        std::coroutine_handle<> waiter_;
        bool granted_ = false;
    };

    /// Waits for the line; throws PortClosed once the line is closed.
    BeginAwaiter Begin(Overtaking overtaking = Overtaking::Allowed) { return BeginAwaiter(*this, overtaking); }

    /// A usable line gives turns; an unusable one keeps everybody waiting; a closed one refuses them with PortClosed.
    enum class State
    {
        Closed,
        Unusable,
        Usable
    };
    void SetState(State state);

    /// The handler whose exchange is under way and gets the bytes that arrive; 0 when there is none.
    HandlerNumber Reader() const;

    /// Milliseconds since the exchange under way began or last received a byte; 0 when there is none.
    qint64 Silence() const;

    /// The exchange that this handler has begun, if it is under way, may be overtaken from now on.
    void AllowOvertaking(HandlerNumber handler);

    /// A byte arrived for the exchange under way: its silence begins anew.
    void Heard();

Q_SIGNALS:
    /// An exchange ended: another one may be the reader now.
    void ReaderChanged();

private:
    struct Exchange
    {
        HandlerNumber handler;
        Overtaking overtaking;
        QElapsedTimer silence;
    };

    bool TakeNow(BeginAwaiter &awaiter);
    bool Free() const;
    BeginAwaiter *Youngest() const;
    void Enter(BeginAwaiter &awaiter);
    void Leave(HandlerNumber handler);
    void Decide();
    void DecideSoon();

    State state_ = State::Closed;
    std::vector<Exchange> underWay_; // the last one is the reader, those before it were overtaken
    std::vector<BeginAwaiter *> waiting_;
    QTimer silent_;
    int patience_ = usualPatience;
    bool deciding_ = false;
};
