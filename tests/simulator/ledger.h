// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "link/request.h"

#include <deque>

/// What the board has done lately, and what it answered: the truth that the program's readings are held against.
class Ledger
{
public:
    void Note(const QByteArray &request, const QByteArray &reply);

    /// Whether the board has sent these data bytes as its answer to this very question, and this answer was not taken
    /// by anybody yet. It is now.
    bool Claim(const Question &question, const QByteArray &data);

private:
    struct Done
    {
        QByteArray request;
        QByteArray reply;
        bool claimed;
    };
    std::deque<Done> done_;
};
