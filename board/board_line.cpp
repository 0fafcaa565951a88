// SPDX-License-Identifier: GPL-3.0-or-later
#include "board_line.h"

#include "numbers.h"

#include <algorithm>
#include <iostream>
#include <limits>

namespace Board {

namespace {

constexpr std::size_t mostWaiting = 8192; // bytes on their way to a PC that does not read
constexpr int mostRecordsAtOnce = 64;
constexpr std::uint64_t faultSeedOffset = 0xFA17;

} // namespace

BoardLine::BoardLine(const Options &options, const Memories::Content &content, Time time)
    : options_(options)
    , board_(options.device, content, options.streamType)
    , faults_(options.faults, options.device.seed + faultSeedOffset)
{
    const auto say = [](const std::string &text) { std::cerr << "virtual-board : " << text << '\n'; };
    const bool booster = options.device.booster;
    if (!options.replayFile.empty())
        replay_.emplace(ReplayScript::Read(options.replayFile, booster), booster, say);
    if (time == Time::OfTheWire)
        wireTime_.emplace(options.timeScale);
}

/// Of a moment at which nothing is heard.
double BoardLine::Simulated(double seconds) const
{
    if (!wireTime_)
        return seconds * options_.timeScale;
    return board_.Streaming() ? wireTime_->Flowing(seconds) : wireTime_->Now();
}

double BoardLine::SimulatedWhenHeard(double seconds, std::uint8_t byte)
{
    if (!wireTime_)
        return Simulated(seconds);
    if (board_.Streaming())
        wireTime_->Flow(seconds);
    else
        wireTime_->Hear(seconds, byte, WireByte(), board_.BetweenRequests(), LineBits());
    return wireTime_->Now();
}

/// Of the lines that let a current flow.
unsigned BoardLine::LineBits() const
{
    const Lines &lines = board_.Hardware().Switches();
    return (lines.charge ? 1u : 0u) | (lines.discharge ? 2u : 0u) | (lines.power ? 4u : 0u);
}

void BoardLine::Receive(double seconds, const Bytes &bytes)
{
    for (const std::uint8_t byte : bytes)
        incoming_.Add(byte, seconds, ByteSeconds());
}

void BoardLine::AdvanceTo(double seconds)
{
    while (incoming_.Next() && *incoming_.Next() <= seconds) {
        const double arrived = *incoming_.Next();
        const std::uint8_t byte = incoming_.First();
        incoming_.Drop(1);
        if (replay_)
            HearReplayed(byte, arrived);
        else
            Hear(byte, arrived);
    }
    SendRecords(seconds);
}

std::optional<double> BoardLine::NextMoment() const
{
    return Sooner(incoming_.Next(), nextRecord_);
}

bool BoardLine::Obey(double seconds, std::string_view order)
{
    const std::size_t blank = std::min(order.find(' '), order.size());
    const std::string_view verb = order.substr(0, blank);
    const std::string_view argument = order.substr(std::min(blank + 1, order.size()));
    const auto value = ParseNumber<double>(argument);
    Device &device = board_.Hardware();
    if (wireTime_)
        wireTime_->Look(seconds);
    device.AdvanceTo(Simulated(seconds));
    ++changes_;
    if (verb == "button" && value && *value >= 1 && *value <= Device::buttonCount)
        ToggleButton(static_cast<int>(*value));
    else if (verb == "volts" && argument == "pack")
        device.ConnectSupply(0);
    else if (verb == "volts" && value && *value > 0 && *value <= 40)
        device.ConnectSupply(*value);
    else if (verb == "ambient" && value && *value >= -20 && *value <= 150)
        device.SetAmbient(*value);
    else
        return false;
    return true;
}

void BoardLine::ToggleButton(int number)
{
    Device &device = board_.Hardware();
    device.PressButton(number, !device.Pressed(number));
    ++changes_;
}

void BoardLine::Hear(std::uint8_t byte, double seconds)
{
    if (Silent(seconds))
        return;
    Bytes heard;
    faults_.Hear(byte, heard);
    for (const std::uint8_t each : heard) {
        const unsigned long before = board_.Commands();
        Bytes reply;
        board_.Take(SimulatedWhenHeard(seconds, each), each, reply);
        if (wireTime_ && !reply.empty())
            wireTime_->Answer(seconds, reply.size(), WireByte());
        Send(reply, seconds);
        if (board_.Commands() != before) {
            ++changes_;
            if (listener_)
                listener_(board_.LastRequest(), reply);
            Suffer(seconds);
        }
    }
    if (board_.Streaming() && !nextRecord_)
        nextRecord_ = seconds + RecordInterval();
    else if (!board_.Streaming())
        nextRecord_.reset();
}

void BoardLine::HearReplayed(std::uint8_t byte, double seconds)
{
    const Replay::Answer answer = replay_->Take(byte);
    if (answer.greeting) {
        if (answer.bytes == greeted_ && !outgoing_.Empty())
            return; // a PC that could not wait: the board of then took its time
        greeted_ = answer.bytes;
        outgoing_.Clear();
    }
    if (answer.bytes)
        for (const ReplayScript::Byte &each : *answer.bytes)
            outgoing_.Add(each.byte, seconds + each.after / options_.timeScale, ByteSeconds());
}

void BoardLine::Suffer(double seconds)
{
    switch (faults_.AfterCommand()) {
    case Faults::Event::None:
        return;
    case Faults::Event::Silence:
        silentUntil_ =
            faults_.SilenceSeconds() > 0 ? seconds + faults_.SilenceSeconds() : std::numeric_limits<double>::infinity();
        break;
    case Faults::Event::Restart:
        outgoing_.Clear();
        board_.Restart(Simulated(seconds));
        break;
    }
}

// A line that is still busy with a record leaves out the next one.
void BoardLine::SendRecords(double now)
{
    for (int count = 0; nextRecord_ && *nextRecord_ <= now; ++count) {
        const double due = *nextRecord_;
        nextRecord_ = due + RecordInterval();
        if (count == mostRecordsAtOnce) {
            nextRecord_ = now + RecordInterval();
            return;
        }
        if (Silent(due) || (options_.pace && !outgoing_.Empty()))
            continue;
        Bytes record;
        board_.AppendRecord(Simulated(due), record);
        Send(record, due);
    }
}

void BoardLine::Send(const Bytes &bytes, double seconds)
{
    if (bytes.empty() || outgoing_.Size() > mostWaiting)
        return;
    for (const std::uint8_t byte : bytes) {
        delayed_.clear();
        faults_.Send(byte, delayed_);
        for (const Faults::Delayed &each : delayed_)
            outgoing_.Add(each.byte, seconds + each.seconds, ByteSeconds());
    }
}

} // namespace Board
