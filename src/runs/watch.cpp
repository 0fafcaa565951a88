// SPDX-License-Identifier: GPL-3.0-or-later
#include "watch.h"

namespace {
constexpr auto silence = 10s;
constexpr auto stuck = 15s;
constexpr auto asleep = 1min;
} // namespace

Watch::Watch(Codebas &link, std::function<void()> alarm) : link_(link), stuck_(std::move(alarm))
{
}

void Watch::GotOn()
{
    silent_.Start(silence);
    stuck_.Start(stuck);
    gotOn_.Restart();
}

void Watch::Rest()
{
    silent_.Stop();
    stuck_.Stop();
}

bool Watch::HasSlept() const
{
    return gotOn_.Elapsed() > asleep;
}

void Watch::LookForSilence()
{
    silent_.Start(silence);
    if (link_.line.Silence() >= silence / 2) // or else somebody is being served
        link_.line.AskAgain();
}
