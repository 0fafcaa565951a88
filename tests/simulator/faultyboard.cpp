// SPDX-License-Identifier: GPL-3.0-or-later
#include "faultyboard.h"

void FaultyBoard::Trouble()
{
    trouble_ = Clock::Current().Now();
}

void FaultyBoard::Invented()
{
    Trouble();
    invention_ = trouble_;
    ++inventions_;
}

void FaultyBoard::BeginLife()
{
    if (!late_.empty() || thaw_.IsSet())
        Invented();
}

void FaultyBoard::BeSilent(Clock::Duration length)
{
    silent_ = length == Clock::Duration::zero();
    silentUntil_ = Clock::Current().Now() + length;
    Trouble();
}

bool FaultyBoard::Silent() const
{
    return silent_ || Clock::Current().Now() < silentUntil_;
}

void FaultyBoard::FreezeAfter(int bytes, Clock::Duration length)
{
    freezeAfter_ = bytes;
    freezeLength_ = length;
    Arrive({});
}

/// Bytes are at the program's end, unless the board has frozen by then.
void FaultyBoard::Arrive(const QByteArray &bytes)
{
    if (freezeAfter_ && *freezeAfter_ <= bytes.size() && !thaw_.IsSet()) {
        const qsizetype left = *std::exchange(freezeAfter_, {});
        SimulatedBoard::ToProgram(bytes.first(left));
        heldToProgram_ = bytes.mid(left);
        thaw_.Start(freezeLength_);
        Trouble();
    } else if (thaw_.IsSet()) {
        heldToProgram_ += bytes;
        Trouble();
    } else {
        if (freezeAfter_)
            *freezeAfter_ -= static_cast<int>(bytes.size());
        SimulatedBoard::ToProgram(bytes);
    }
}

void FaultyBoard::Thaw()
{
    Trouble();
    SimulatedBoard::ToProgram(std::exchange(heldToProgram_, {}));
    SimulatedBoard::ToBoard(std::exchange(heldToBoard_, {}));
}

void FaultyBoard::Heal()
{
    freezeAfter_.reset();
    if (thaw_.IsSet()) {
        thaw_.Stop();
        Thaw();
    }
    if (Silent() || !late_.empty())
        Trouble();
    toBoard_ = toProgram_ = {};
    delay_ = {};
    cut_ = silent_ = false;
    silentUntil_ = {};
}

QByteArray FaultyBoard::Strike(InWait &faults, QByteArray bytes)
{
    if (std::exchange(faults.lose, false)) {
        bytes.remove(0, 1);
        Trouble();
    }
    if (!faults.add.isEmpty()) {
        bytes.prepend(std::exchange(faults.add, {}));
        Invented();
    }
    if (faults.turn && !bytes.isEmpty()) {
        const int which = *faults.turn;
        faults.turn.reset();
        char &byte = bytes[which / 8 % bytes.size()];
        byte = static_cast<char>(byte ^ 1 << which % 8);
        Invented();
    }
    return bytes;
}

void FaultyBoard::ToBoard(const QByteArray &bytes)
{
    if (Silent()) {
        Trouble();
        return;
    }
    if (std::exchange(garbled_, false))
        invention_ = Clock::Current().Now(); // however late: the end of what it took for a request
    const bool loses = toBoard_.lose;
    garbled_ = loses || !toBoard_.add.isEmpty() || toBoard_.turn;
    const QByteArray left = Strike(toBoard_, bytes);
    if (loses && left.contains(char(85)))
        Invented(); // without its escape byte it is heard as a greeting, and answered as one
    if (thaw_.IsSet()) {
        heldToBoard_ += left;
        Trouble();
    } else
        SimulatedBoard::ToBoard(left);
}

void FaultyBoard::ToProgram(const QByteArray &bytes)
{
    if (Silent()) {
        Trouble();
        return;
    }
    QByteArray left = Strike(toProgram_, bytes);
    if (std::exchange(cut_, false)) {
        left.truncate((left.size() + 1) / 2);
        Trouble();
    }
    const auto now = Clock::Current().Now();
    const Clock::Duration due = now + std::exchange(delay_, Clock::Duration::zero());
    if (due == now && late_.empty()) {
        Arrive(left);
        return;
    }
    Trouble();
    late_.emplace_back(late_.empty() ? due : std::max(due, late_.back().first), left);
    if (!arrival_.IsSet())
        arrival_.Start(late_.front().first - now);
}

void FaultyBoard::Deliver()
{
    const auto now = Clock::Current().Now();
    while (!late_.empty() && late_.front().first <= now) {
        const QByteArray bytes = late_.front().second;
        late_.pop_front();
        Trouble();
        Arrive(bytes);
    }
    if (!late_.empty())
        arrival_.Start(late_.front().first - now);
}
