#include "server.h"

#include "files.h"
#include "memory_file.h"
#include "numbers.h"
#include "status_text.h"

#include <array>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <ctime>
#include <iostream>
#include <limits>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <system_error>

namespace Board {

namespace {

constexpr double statusInterval = 0.2;    // s between two writings of the status file, at least
constexpr double memoryInterval = 0.2;    // the same for the memory file
constexpr std::size_t mostWaiting = 8192; // bytes on their way to a PC that does not read
constexpr int mostRecordsAtOnce = 64;
constexpr unsigned long timerSlack = 1000; // ns; the usual 50 µs would show at 9600 baud
constexpr std::uint64_t faultSeedOffset = 0xFA17;

double Clock()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

Memories::Content Remembered(const Options &options)
{
    std::optional<Memories::Content> content;
    if (!options.memoryFile.empty())
        content = LoadMemories(options.memoryFile);
    return content ? *content : BirthContent(options.device.pack);
}

int SignalDescriptor()
{
    sigset_t set;
    sigemptyset(&set);
    for (const int number : {SIGTERM, SIGINT, SIGUSR1})
        sigaddset(&set, number);
    sigprocmask(SIG_BLOCK, &set, nullptr);
    const int descriptor = signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (descriptor < 0)
        throw std::system_error(errno, std::generic_category(), "signalfd");
    return descriptor;
}

timespec Duration(double seconds)
{
    const double whole = std::floor(seconds);
    return {static_cast<time_t>(whole), static_cast<long>((seconds - whole) * 1e9)};
}

} // namespace

Server::Server(const Options &options)
    : options_(options)
    , zero_(Clock())
    , board_(options.device, Remembered(options), options.streamType)
    , faults_(options.faults, options.device.seed + faultSeedOffset)
    , trace_(options.traceFile)
    , signals_(SignalDescriptor())
{
    std::signal(SIGPIPE, SIG_IGN);
    prctl(PR_SET_TIMERSLACK, timerSlack, 0, 0, 0);
    if (!options_.link.empty())
        link_.emplace(options_.link, line_.Path());
    if (!options_.memoryFile.empty())
        SaveMemories(options_.memoryFile, board_.Stored().Image());
    KeepStatus(Seconds());
}

double Server::Seconds() const
{
    return Clock() - zero_;
}

void Server::Run()
{
    while (!stopped_) {
        Wait();
        Work();
    }
    const double end = std::numeric_limits<double>::infinity();
    KeepMemories(end);
    Touch();
    KeepStatus(end);
}

std::optional<double> Server::NextMoment() const
{
    std::optional<double> next;
    const auto consider = [&next](std::optional<double> moment) {
        if (moment && (!next || *moment < *next))
            next = moment;
    };
    consider(incoming_.Next());
    if (!blocked_)
        consider(outgoing_.Next());
    consider(nextRecord_);
    if (statusWanted_ && !options_.statusFile.empty())
        consider(statusAgain_);
    if (board_.Stored().Writes() != savedWrites_ && !options_.memoryFile.empty())
        consider(saveAgain_);
    return next;
}

void Server::Wait()
{
    const short lineEvents = static_cast<short>(blocked_ ? POLLIN | POLLOUT : POLLIN);
    std::array<pollfd, 4> watched{{{signals_.Number(), POLLIN, 0},
                                   {line_.VisitorsNumber(), POLLIN, 0},
                                   {line_.Number(), lineEvents, 0},
                                   {options_.untilStdinCloses ? STDIN_FILENO : -1, POLLIN, 0}}};
    const std::optional<double> next = NextMoment();
    const timespec left = Duration(next ? std::max(0.0, *next - Seconds()) : 0);
    if (ppoll(watched.data(), watched.size(), next ? &left : nullptr, nullptr) <= 0)
        return;
    if (watched[0].revents != 0)
        TakeSignal();
    if ((watched[2].revents & POLLOUT) != 0)
        blocked_ = false;
    if ((watched[2].revents & POLLIN) != 0)
        TakeBytes();
    // After the bytes are taken and before they are answered: whoever sent them has been noted by then, and the answers
    // are not thrown away with what was there before.
    if (watched[1].revents != 0 || !incoming_.Empty())
        TakeVisitors();
    if (watched[3].revents != 0)
        TakeStandardInput();
}

void Server::TakeSignal()
{
    signalfd_siginfo signal{};
    while (read(signals_.Number(), &signal, sizeof signal) == sizeof signal) {
        if (signal.ssi_signo == SIGUSR1)
            ToggleButton(1);
        else
            stopped_ = true;
    }
}

void Server::ToggleButton(int number)
{
    Device &device = board_.Hardware();
    device.PressButton(number, !device.Pressed(number));
    Touch();
}

void Server::TakeStandardInput()
{
    std::array<char, 512> buffer;
    const ssize_t count = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    if (count <= 0) {
        stopped_ = true;
        return;
    }
    control_.append(buffer.data(), static_cast<std::size_t>(count));
    for (std::size_t end = control_.find('\n'); end != std::string::npos; end = control_.find('\n')) {
        TakeControlLine(std::string_view(control_).substr(0, end));
        control_.erase(0, end + 1);
    }
    if (control_.size() > buffer.size())
        control_.clear();
}

void Server::TakeControlLine(std::string_view line)
{
    const std::size_t blank = std::min(line.find(' '), line.size());
    const std::string_view verb = line.substr(0, blank);
    const std::string_view argument = line.substr(std::min(blank + 1, line.size()));
    const auto value = ParseNumber<double>(argument);
    Device &device = board_.Hardware();
    device.AdvanceTo(Simulated(Seconds()));
    if (verb == "button" && value && *value >= 1 && *value <= Device::buttonCount)
        ToggleButton(static_cast<int>(*value));
    else if (verb == "volts" && argument == "pack")
        device.ConnectSupply(0);
    else if (verb == "volts" && value && *value > 0 && *value <= 40)
        device.ConnectSupply(*value);
    else if (verb == "ambient" && value && *value >= -20 && *value <= 150)
        device.SetAmbient(*value);
    else
        std::cerr << "virtual-board : commande refusée : " << line << '\n';
    Touch();
}

void Server::TakeVisitors()
{
    if (!line_.NoteVisitors())
        return;
    outgoing_.Clear();
    blocked_ = false;
}

void Server::TakeBytes()
{
    scratch_.clear();
    line_.Read(scratch_);
    const double now = Seconds();
    trace_.Note(now, "in", scratch_.data(), scratch_.size());
    const double byteSeconds = options_.pace ? line_.ByteSeconds() : 0;
    for (const std::uint8_t byte : scratch_)
        incoming_.Add(byte, now, byteSeconds);
}

void Server::Work()
{
    const double now = Seconds();
    while (incoming_.Next() && *incoming_.Next() <= now) {
        const double arrived = *incoming_.Next();
        const std::uint8_t byte = incoming_.At(0);
        incoming_.Drop(1);
        Hear(byte, arrived);
    }
    SendRecords(now);
    Transmit(now);
    KeepStatus(now);
    KeepMemories(now);
}

void Server::Hear(std::uint8_t byte, double seconds)
{
    if (Silent(seconds))
        return;
    Bytes heard;
    faults_.Hear(byte, heard);
    for (const std::uint8_t each : heard) {
        const unsigned long before = board_.Commands();
        Bytes reply;
        board_.Take(Simulated(seconds), each, reply);
        Send(reply, seconds);
        if (board_.Commands() != before) {
            Touch();
            Suffer(seconds);
        }
    }
    if (board_.Streaming() && !nextRecord_)
        nextRecord_ = seconds + RecordInterval();
    else if (!board_.Streaming())
        nextRecord_.reset();
}

void Server::Suffer(double seconds)
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
void Server::SendRecords(double now)
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

void Server::Send(const Bytes &bytes, double seconds)
{
    if (bytes.empty() || outgoing_.Size() > mostWaiting)
        return;
    const double byteSeconds = options_.pace ? line_.ByteSeconds() : 0;
    for (const std::uint8_t byte : bytes) {
        delayed_.clear();
        faults_.Send(byte, delayed_);
        for (const Faults::Delayed &each : delayed_)
            outgoing_.Add(each.byte, seconds + each.seconds, byteSeconds);
    }
}

void Server::Transmit(double now)
{
    if (blocked_)
        return;
    const std::size_t ready = outgoing_.Arrived(now);
    if (ready == 0)
        return;
    scratch_.clear();
    for (std::size_t i = 0; i < ready; ++i)
        scratch_.push_back(outgoing_.At(i));
    const std::size_t sent = line_.Write(scratch_.data(), ready);
    trace_.Note(now, "out", scratch_.data(), sent);
    outgoing_.Drop(sent);
    blocked_ = sent < ready;
}

void Server::KeepStatus(double now)
{
    if (!statusWanted_ || options_.statusFile.empty() || now < statusAgain_)
        return;
    ReplaceFile(options_.statusFile, StatusText(board_));
    statusWanted_ = false;
    statusAgain_ = Seconds() + statusInterval;
}

void Server::KeepMemories(double now)
{
    if (board_.Stored().Writes() == savedWrites_ || options_.memoryFile.empty() || now < saveAgain_)
        return;
    SaveMemories(options_.memoryFile, board_.Stored().Image());
    savedWrites_ = board_.Stored().Writes();
    saveAgain_ = Seconds() + memoryInterval;
}

} // namespace Board
