// SPDX-License-Identifier: GPL-3.0-or-later
#include "shrink.h"

#include <QElapsedTimer>

namespace {
constexpr qint64 patienceMs = 20'000; // of real time
}

Outcome Shrink(const Order &order, const Outcome &story)
{
    QElapsedTimer spent;
    spent.start();
    Outcome shortest = story;
    // Ever smaller pieces are left out, as long as the rest still goes wrong in the same way.
    for (size_t piece = story.acts.size() / 2; piece > 0; piece /= 2)
        for (size_t from = 0; from < shortest.acts.size() && spent.elapsed() < patienceMs;) {
            std::vector<Act> fewer = shortest.acts;
            const auto begin = fewer.begin() + static_cast<std::ptrdiff_t>(from);
            fewer.erase(begin, begin + static_cast<std::ptrdiff_t>(std::min(piece, fewer.size() - from)));
            Outcome outcome = World(order).Replay(fewer, story.length);
            if (outcome.violation && outcome.violation->name == story.violation->name)
                shortest = std::move(outcome);
            else
                from += piece;
        }
    return shortest;
}
