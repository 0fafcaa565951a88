// SPDX-License-Identifier: GPL-3.0-or-later
#include "enterer.h"

#include "base/clock.h"
#include "guard/guardian.h"
#include "oldlog.h"
#include "words.h"

#include <algorithm>

namespace {
RunEntry::End EndOf(const RunEnd &end)
{
    switch (end.how) {
    case RunEnd::How::Rule:
        return RunEntry::End::Rule;
    case RunEnd::How::Stop:
        return RunEntry::End::Stop;
    case RunEnd::How::Cause:
        return end.why == Guardian::cause ? RunEntry::End::Guard : RunEntry::End::Cause;
    case RunEnd::How::Error:
        return RunEntry::End::Error;
    case RunEnd::How::Left:
        return RunEntry::End::Left;
    case RunEnd::How::Restart:
        return RunEntry::End::Restart;
    }
    return RunEntry::End::Unknown;
}
} // namespace

Enterer::Enterer(Logbook &book, const RunNews &news, PackBox &packs) : book_(book), news_(news), packs_(packs)
{
    connect(&news, &RunNews::Began, this, &Enterer::Begin);
    connect(&news, &RunNews::LogMoved, this, &Enterer::FollowLog);
    connect(&news, &RunNews::PhaseBegan, this, [this] { sum_.EndPhase(); });
    connect(&news, &RunNews::Measured, this, &Enterer::Take);
    connect(&news, &RunNews::Over, this, &Enterer::Close);
    connect(&packs, &PackBox::Changed, this, &Enterer::ChangePack);
    connect(&packs, &PackBox::Opened, this, &Enterer::ShowKnown);
    connect(&book, &Logbook::Changed, this, &Enterer::ShowKnown);
    connect(&book, &Logbook::TroubleChanged, this, [this] { packs_.Warn(book_.Trouble()); });
    connect(&book, &Logbook::PackRenamed, this, [this](const QString &former, const QString &name) {
        if (packs_.Pack() == former)
            packs_.SetPack(name);
    });
}

Enterer::~Enterer()
{
    if (news_.On())
        Close({RunEnd::How::Left, {}});
    EnterPosted();
}

void Enterer::Begin()
{
    sum_ = {};
    now_ = 0;
    run_ = {};
    run_.id = RunEntry::NewId();
    run_.kind = news_.What();
    run_.began = Clock::Current().LocalTime();
    run_.settings = news_.Settings();
    run_.pack = packs_.Pack();
    Post();
}

/// What was measured before there was a log is in no log: it is entered now, and a log is added to it if need be.
void Enterer::FollowLog()
{
    if (run_.log.isEmpty()) {
        run_.figures = sum_.Figures();
        run_.figures.seconds = news_.Seconds();
    }
    run_.log = news_.Log();
    Post();
}

void Enterer::Take(const RunPoint &point)
{
    sum_.Add(point);
    now_ = point.milliampereHours;
    ShowProgress();
}

void Enterer::Close(const RunEnd &end)
{
    run_.ended = Clock::Current().LocalTime();
    run_.end = EndOf(end);
    run_.why = end.why;
    if (run_.end == RunEntry::End::Rule)
        sum_.EndPhase();
    run_.figures = sum_.Figures();
    run_.figures.seconds = news_.Seconds();
    Post();
}

void Enterer::ChangePack()
{
    if (news_.On()) {
        run_.pack = packs_.Pack();
        Post();
    }
    ShowWords();
}

void Enterer::Post()
{
    const auto same = std::ranges::find(posted_, run_.id, &RunEntry::id);
    if (same != posted_.end())
        *same = run_;
    else
        posted_.push_back(run_);
    QMetaObject::invokeMethod(this, &Enterer::EnterPosted, Qt::QueuedConnection);
}

void Enterer::EnterPosted()
{
    for (RunEntry &run : std::exchange(posted_, {})) {
        if (run.end != RunEntry::End::On)
            run.digest = oldlog::Digest(run.log);
        book_.Enter(run);
    }
}

// ---- what "Accu" says

void Enterer::ShowKnown()
{
    if (!packs_.isVisible())
        return;
    QStringList names;
    try {
        for (const Pack &pack : book_.Packs())
            names.append(pack.name);
    } catch (const DatabaseError &error) {
        packs_.Warn(error.Text());
        return;
    }
    packs_.SetKnown(names);
    packs_.Warn(book_.Trouble());
    ShowWords();
}

void Enterer::ShowWords()
{
    last_.reset();
    nominal_ = 0;
    const QString name = packs_.Pack();
    try {
        if (const std::optional<Pack> pack = name.isEmpty() ? std::nullopt : book_.FindPack(name)) {
            last_ = book_.Last(news_.What(), name);
            nominal_ = pack->nominal;
        }
    } catch (const DatabaseError &) {
        // it says nothing of this pack, and the trouble is said elsewhere
    }
    ShowProgress();
}

void Enterer::ShowProgress()
{
    packs_.Say(words::Progress(last_, nominal_, news_.On() ? std::optional(now_) : std::nullopt));
}
