// SPDX-License-Identifier: GPL-3.0-or-later
#include "scriptedboard.h"

ScriptedBoard::ScriptedBoard(MemoryPort &port) : port_(port)
{
    connect(&port_, &MemoryPort::SentByProgram, this, [this](const QByteArray &bytes) { Take(bytes); });
}

void ScriptedBoard::Reply(const QByteArray &bytes)
{
    answers_.emplace_back(Clock::Current().Now() + delay_, bytes);
    if (!arrival_.IsSet())
        arrival_.Start(delay_);
}

void ScriptedBoard::Deliver()
{
    const auto now = Clock::Current().Now();
    while (!answers_.empty() && answers_.front().first <= now) {
        const QByteArray bytes = answers_.front().second;
        answers_.pop_front();
        port_.Deliver(bytes);
    }
    if (!answers_.empty())
        arrival_.Start(answers_.front().first - now);
}
