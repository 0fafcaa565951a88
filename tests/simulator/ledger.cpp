// SPDX-License-Identifier: GPL-3.0-or-later
#include "ledger.h"

namespace {
constexpr size_t memory = 400; // commands; several seconds of the busiest window

/// The bytes of a reply that its asker is given.
QByteArray DataOf(const QByteArray &raw, const Reply &reply, bool framed)
{
    const qsizetype from = framed ? raw.indexOf(static_cast<char>(*reply.until)) + 1 : 0;
    return raw.mid(from, reply.length);
}
} // namespace

void Ledger::Note(const QByteArray &request, const QByteArray &reply)
{
    done_.push_back({request, reply, false});
    if (done_.size() > memory)
        done_.pop_front();
}

bool Ledger::Claim(const Question &question, const QByteArray &data)
{
    const Reply &reply = question.reply;
    for (auto done = done_.rbegin(); done != done_.rend(); ++done) {
        // A board without the booster takes its command to be shorter.
        if (done->claimed || !question.request.startsWith(done->request))
            continue;
        const bool same = (reply.until && DataOf(done->reply, reply, true) == data) ||
                          ((!reply.until || !reply.clearFirst) && DataOf(done->reply, reply, false) == data);
        if (!same)
            continue;
        done->claimed = true;
        return true;
    }
    return false;
}
