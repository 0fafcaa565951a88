// SPDX-License-Identifier: GPL-3.0-or-later
#include "replay.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Board {

namespace {

constexpr std::uint8_t greeting = 85;

// So many requests that the PC leaves out are followed. Further ahead the same request is another one: a run asks the
// same again and again, six requests and more apart.
constexpr std::ptrdiff_t mostLeftOut = 3;

std::string Text(const Bytes &request)
{
    std::string text;
    for (const std::uint8_t byte : request) {
        if (!text.empty())
            text += ' ';
        text += std::to_string(byte);
    }
    return text;
}

} // namespace

Replay::Replay(ReplayScript script, bool booster, std::function<void(const std::string &)> say)
    : script_(std::move(script)), splitter_(booster), say_(std::move(say))
{
}

Replay::Answer Replay::Take(std::uint8_t byte)
{
    const std::optional<Bytes> request = splitter_.Take(byte);
    if (!request)
        return {};
    return {Find(*request), *request == Bytes{greeting}};
}

const std::vector<ReplayScript::Byte> *Replay::Find(const Bytes &request)
{
    static const std::vector<ReplayScript::Byte> nothing;
    const auto is = [&request](const ReplayScript::Step &step) { return step.request == request; };
    const auto begin = script_.steps.begin();
    const auto next = begin + static_cast<std::ptrdiff_t>(next_);
    const bool over = next == script_.steps.end();
    if (!over && is(*next)) {
        ++next_;
        return &next->answer;
    }

    const std::string asks = "le programme demande « " + Text(request) + " »";
    if (!over)
        say_("ligne " + std::to_string(next->line) + " de la trace, « " + Text(next->request) + " » : " + asks);
    else if (!std::exchange(overSaid_, true))
        say_("la trace est finie : " + asks);

    const auto reach = next + std::min<std::ptrdiff_t>(script_.steps.end() - next, mostLeftOut + 1);
    if (const auto found = std::find_if(next, reach, is); found != reach) {
        next_ = static_cast<std::size_t>(found - begin) + 1;
        return &found->answer;
    }
    const auto former = std::find_if(std::make_reverse_iterator(next), script_.steps.rend(), is);
    return former == script_.steps.rend() ? &nothing : &former->answer;
}

} // namespace Board
