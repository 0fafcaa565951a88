// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "act.h"
#include "dice.h"
#include "faultyboard.h"
#include "hands.h"
#include "judge.h"

#include "simulation/simulatedclock.h"

#include <QTemporaryDir>

#include <deque>

class QEventLoop;

/// What a story is to be like.
struct Order
{
    quint64 seed = 1;
    Clock::Duration length = 1h;
    QString window; ///< the operator works mostly there; empty: everywhere
    QString fault;  ///< only faults of this kind, or "none"; empty: all
    bool paint = false;
};

/// How a story went.
struct Outcome
{
    std::optional<Violation> violation;
    std::vector<Act> acts;
    QStringList wire;   ///< the last bytes on the line, with their moments
    quint64 digest = 0; ///< of all bytes on the line and their moments
    Clock::Duration length{};
    Counts counts;

    /// The story for its reader.
    QString Text() const;
};

/// The world around the program for the length of one story: a clock, a board, a folder, an operator, and faults. The
/// same order gives the same story, to the byte.
class World
{
public:
    static const QStringList &FaultKinds();

    explicit World(const Order &order);
    ~World();

    /// Lets chance decide what happens.
    Outcome Explore();
    /// Lets happen what has happened before, in a story of that length.
    Outcome Replay(const std::vector<Act> &acts, Clock::Duration length);

private:
    using Script = std::function<std::optional<Act>()>;

    Outcome Tell(Script when, Script what);
    void Live();
    void Drive(const QEventLoop &life);
    void Happen(const Act &act);
    void Strike(const Act &fault);
    Act ChooseFault();
    Clock::Duration ChooseWait();
    void Heal();
    void HealFaults();
    bool Await(const std::function<bool()> &holds, Clock::Duration limit);
    void NoteWire(const char *way, const QByteArray &bytes);
    Clock::Duration Age() const { return clock_.Now() - born_; }

    const Order order_;
    SimulatedClock clock_;
    const Clock::Duration born_ = clock_.Now();
    QTemporaryDir folder_;
    Dice dice_;
    Hands hands_;
    FaultyBoard board_;
    bool unplugged_ = false;
    bool killed_ = false;
    bool over_ = false;
    Clock::Duration end_{};
    int acts_ = 0;
    Script when_, what_;
    Outcome outcome_;
    Main *program_ = nullptr;
    MemoryPort *port_ = nullptr;
    Judge *judge_ = nullptr;
    const QEventLoop *life_ = nullptr;
};
