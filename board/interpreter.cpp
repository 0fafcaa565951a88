// SPDX-License-Identifier: GPL-3.0-or-later
#include "interpreter.h"

#include "parameters.h"

#include <algorithm>

namespace Board {

namespace {

constexpr std::uint8_t escape = 27;
constexpr std::uint8_t greeting = 85;
constexpr std::uint8_t greetingAgain = 170;
constexpr std::uint8_t acknowledge = 6;
constexpr std::uint8_t trailer = 0; // ends every reply that carries values
constexpr std::uint8_t busGood = 0;
constexpr std::uint8_t slaveAnswers = 6;
constexpr std::uint8_t slaveSilent = 3;
constexpr std::uint8_t nobodyOnTheBus = 0xFF; // what a read of an absent slave gives

} // namespace

void Interpreter::Restart()
{
    state_ = State::Between;
    streaming_ = false;
}

void Interpreter::Take(std::uint8_t byte, Bytes &reply)
{
    switch (state_) {
    case State::Between:
    case State::Greeted:
        TakeBetween(byte, reply);
        return;
    case State::Escaped:
        if (byte == escape)
            return;
        command_ = byte;
        wanted_ = ParameterCount(byte, device_.Booster());
        taken_ = 0;
        state_ = State::Parameters;
        break;
    case State::Parameters:
        parameters_[taken_++] = byte;
        break;
    }
    if (taken_ < wanted_)
        return;
    state_ = State::Between;
    ++commands_;
    if (!streaming_)
        Do(reply);
}

Bytes Interpreter::LastRequest() const
{
    Bytes request(2 + taken_);
    request[0] = escape;
    request[1] = command_;
    std::copy_n(parameters_.begin(), taken_, request.begin() + 2);
    return request;
}

void Interpreter::TakeBetween(std::uint8_t byte, Bytes &reply)
{
    const bool greeted = state_ == State::Greeted;
    state_ = State::Between;
    if (byte == greeting) {
        streaming_ = false;
        state_ = State::Greeted;
        reply.push_back(escape);
    } else if (byte == greetingAgain && greeted) {
        reply.push_back(greeting);
    } else if (byte == escape) {
        state_ = State::Escaped;
    }
}

std::size_t Interpreter::Address(std::size_t first) const
{
    return static_cast<std::size_t>(parameters_[first]) * 256 + parameters_[first + 1];
}

void Interpreter::Read(Bytes &reply, std::uint8_t value) const
{
    reply.insert(reply.end(), {escape, value, trailer});
}

void Interpreter::ReadWord(Bytes &reply, int value) const
{
    reply.insert(reply.end(),
                 {escape, static_cast<std::uint8_t>(value / 256), static_cast<std::uint8_t>(value % 256), trailer});
}

void Interpreter::DoLine(std::uint8_t value)
{
    const bool on = value != 0;
    Lines &lines = device_.Switches();
    switch (command_) {
    case 15:
        lines.charge = on;
        break;
    case 16:
        lines.discharge = on;
        break;
    case 17:
        lines.power = on;
        break;
    default:
        lines.ground = on;
        break;
    }
}

void Interpreter::DoDoubler()
{
    device_.CutDoubler(parameters_[0] != 0);
    if (device_.Booster())
        device_.SetBooster(parameters_[1], static_cast<int>(Address(2)));
}

void Interpreter::Do(Bytes &reply)
{
    const std::uint8_t first = parameters_[0];
    const bool slave = device_.Slave();
    switch (command_) {
    case 0:
        break;
    case 1:
        reply.insert(reply.end(), {escape, busGood, busGood, slave ? slaveAnswers : slaveSilent, trailer});
        return;
    case 3:
        streaming_ = true;
        return;
    case 5:
    case 6:
    case 7:
    case 8:
    case 9:
    case 10:
    case 11:
    case 12:
    case 13:
        ReadWord(reply, device_.ReadChannel(command_));
        return;
    case 15:
    case 16:
    case 17:
    case 18:
        DoLine(first);
        break;
    case 19:
    case 20:
    case 21:
    case 22:
        device_.Set(command_, first);
        break;
    case 23:
        device_.SetLed(first != 0);
        break;
    case 24:
        device_.Beep(first);
        break;
    case 25:
        device_.SetFan(first != 0);
        break;
    case 26:
        Read(reply, device_.ButtonPort());
        return;
    case 28:
        Read(reply, device_.OutputPort());
        return;
    case 31:
        Read(reply, device_.LinePort());
        return;
    case 37:
        Read(reply, memories_.Master(first));
        return;
    case 38:
        Read(reply, slave ? memories_.Slave(first) : nobodyOnTheBus);
        return;
    case 39:
        memories_.WriteMaster(first, parameters_[1]);
        break;
    case 40:
        if (slave)
            memories_.WriteSlave(first, parameters_[1]);
        break;
    case 41: {
        const int seconds = device_.ClockSeconds();
        reply.insert(reply.end(),
                     {escape, static_cast<std::uint8_t>(seconds / 3600), static_cast<std::uint8_t>(seconds / 60 % 60),
                      static_cast<std::uint8_t>(seconds % 60), trailer});
        return;
    }
    case 42:
        device_.SetClock(first, parameters_[1], parameters_[2]);
        break;
    case 45:
        ReadWord(reply, memories_.MasterFlashWord(Address(0)));
        return;
    case 46:
        ReadWord(reply, slave ? memories_.SlaveFlashWord(Address(0)) : Memories::erasedWord);
        return;
    case 47: {
        std::array<std::uint8_t, Memories::flashBlock> block;
        std::copy_n(parameters_.begin() + 2, block.size(), block.begin());
        memories_.WriteMasterFlash(Address(0), block);
        break;
    }
    case 48:
        if (slave)
            memories_.WriteSlaveFlash(Address(0), static_cast<std::uint16_t>(Address(2)));
        break;
    case 49:
        Read(reply, memories_.External(first, Address(1)));
        return;
    case 50:
        memories_.WriteExternal(first, Address(1), parameters_[3]);
        break;
    case 51:
        DoDoubler();
        break;
    default:
        return;
    }
    reply.push_back(acknowledge);
}

} // namespace Board
