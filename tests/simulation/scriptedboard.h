// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "answers.h"
#include "memoryport.h"

#include "base/clock.h"

#include <deque>

/// The board's end of a memory port, driven by a test. It answers a millisecond after it was asked.
class ScriptedBoard : public QObject, public Answers
{
    Q_OBJECT

public:
    explicit ScriptedBoard(MemoryPort &port);

    /// Sends bytes to the program now.
    void Send(const QByteArray &bytes) { port_.Deliver(bytes); }

    /// From now on the answers come so much later than their requests.
    void SetDelay(Clock::Duration delay) { delay_ = delay; }

    /// Speed that the program has set, in baud.
    int Speed() const { return port_.Settings().baud; }
    int StopBits() const { return port_.Settings().stopBits; }

    void Unplug() { port_.Unplug(); }
    void Plug() { port_.Plug(); }

private:
    void Reply(const QByteArray &bytes) override;
    void Deliver();

    MemoryPort &port_;
    Clock::Duration delay_ = 1ms;
    std::deque<std::pair<Clock::Duration, QByteArray>> answers_; ///< with the moments at which they arrive
    Alarm arrival_{[this] { Deliver(); }};
};
