// SPDX-License-Identifier: GPL-3.0-or-later
#include "faults.h"

#include "numbers.h"

#include <algorithm>

namespace Board {

namespace {

using Kind = FaultRule::Kind;

constexpr double defaultLateness = 300; // ms

std::optional<Kind> ParseKind(std::string_view name)
{
    if (name == "lost")
        return Kind::Lost;
    if (name == "added")
        return Kind::Added;
    if (name == "late")
        return Kind::Late;
    if (name == "silence")
        return Kind::Silence;
    if (name == "restart")
        return Kind::Restart;
    return std::nullopt;
}

bool ParseDirection(FaultRule &rule, std::string_view value)
{
    if (value != "in" && value != "out" && value != "both")
        return false;
    rule.toBoard = value != "out";
    rule.fromBoard = value != "in";
    return true;
}

bool ParseSetting(FaultRule &rule, std::string_view key, std::string_view value)
{
    const bool aboutBytes = rule.kind == Kind::Lost || rule.kind == Kind::Added;
    const bool lasts = rule.kind == Kind::Late || rule.kind == Kind::Silence;
    if (key == "p") {
        const auto probability = ParseNumber<double>(value);
        if (!probability || !(*probability >= 0 && *probability <= 1))
            return false;
        rule.probability = *probability;
    } else if (key == "at") {
        const auto number = ParseNumber<unsigned long>(value);
        if (!number || *number == 0)
            return false;
        rule.at = *number;
    } else if (key == "ms" && lasts) {
        const auto milliseconds = ParseNumber<double>(value);
        if (!milliseconds || !(*milliseconds > 0 && *milliseconds <= 1e9))
            return false;
        rule.milliseconds = *milliseconds;
    } else if (key == "dir" && aboutBytes) {
        return ParseDirection(rule, value);
    } else {
        return false;
    }
    return true;
}

} // namespace

std::optional<FaultRule> ParseFault(std::string_view text)
{
    const std::size_t colon = std::min(text.find(':'), text.size());
    const auto kind = ParseKind(text.substr(0, colon));
    if (!kind || colon == text.size())
        return std::nullopt;
    FaultRule rule;
    rule.kind = *kind;
    if (rule.kind == Kind::Late)
        rule.milliseconds = defaultLateness;
    std::string_view rest = text.substr(colon + 1);
    while (!rest.empty()) {
        const std::size_t comma = std::min(rest.find(','), rest.size());
        const std::string_view setting = rest.substr(0, comma);
        const std::size_t equals = setting.find('=');
        if (equals == std::string_view::npos ||
            !ParseSetting(rule, setting.substr(0, equals), setting.substr(equals + 1)))
            return std::nullopt;
        rest.remove_prefix(std::min(comma + 1, rest.size()));
    }
    if (rule.probability == 0 && rule.at == 0)
        return std::nullopt;
    return rule;
}

bool Faults::Strikes(const FaultRule &rule, unsigned long number)
{
    const bool byChance = rule.probability > 0 && random_.Uniform() < rule.probability;
    return byChance || rule.at == number;
}

void Faults::Hear(std::uint8_t byte, Bytes &heard)
{
    ++heard_;
    bool lost = false;
    bool added = false;
    for (const FaultRule &rule : rules_) {
        if (!rule.toBoard)
            continue;
        if (rule.kind == Kind::Lost && Strikes(rule, heard_))
            lost = true;
        else if (rule.kind == Kind::Added && Strikes(rule, heard_))
            added = true;
    }
    if (!lost)
        heard.push_back(byte);
    if (added)
        heard.push_back(static_cast<std::uint8_t>(random_.Next()));
}

void Faults::Send(std::uint8_t byte, std::vector<Delayed> &sent)
{
    ++sent_;
    bool lost = false;
    bool added = false;
    double seconds = 0;
    for (const FaultRule &rule : rules_) {
        if (!rule.fromBoard)
            continue;
        if (rule.kind == Kind::Lost && Strikes(rule, sent_))
            lost = true;
        else if (rule.kind == Kind::Added && Strikes(rule, sent_))
            added = true;
        else if (rule.kind == Kind::Late && Strikes(rule, sent_))
            seconds += rule.milliseconds / 1000;
    }
    if (!lost)
        sent.push_back({byte, seconds});
    if (added)
        sent.push_back({static_cast<std::uint8_t>(random_.Next()), 0});
}

Faults::Event Faults::AfterCommand()
{
    ++commands_;
    Event event = Event::None;
    for (const FaultRule &rule : rules_) {
        if (rule.kind == Kind::Silence && Strikes(rule, commands_)) {
            silenceSeconds_ = rule.milliseconds / 1000;
            event = Event::Silence;
        } else if (rule.kind == Kind::Restart && Strikes(rule, commands_)) {
            event = Event::Restart;
        }
    }
    return event;
}

} // namespace Board
