// SPDX-License-Identifier: GPL-3.0-or-later
#include "server.h"

#include "files.h"
#include "memory_file.h"
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

constexpr double statusInterval = 0.2;     // s between two writings of the status file, at least
constexpr double memoryInterval = 0.2;     // the same for the memory file
constexpr unsigned long timerSlack = 1000; // ns; the usual 50 µs would show at 9600 baud

double Clock()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
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
    , board_(options, RememberedContent(options.memoryFile, options.device.pack), BoardLine::Time::OfTheWire)
    , trace_(options.traceFile)
    , signals_(SignalDescriptor())
{
    std::signal(SIGPIPE, SIG_IGN);
    prctl(PR_SET_TIMERSLACK, timerSlack, 0, 0, 0);
    if (!options_.link.empty())
        link_.emplace(options_.link, line_.Path());
    if (!options_.memoryFile.empty())
        SaveMemories(options_.memoryFile, Stored().Image());
    WriteStatus();
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
    KeepMemories(std::numeric_limits<double>::infinity());
    WriteStatus();
}

std::optional<double> Server::NextMoment() const
{
    std::optional<double> next = board_.NextMoment();
    if (!blocked_)
        next = Sooner(next, board_.Outgoing().Next());
    if (StatusIsOld())
        next = Sooner(next, statusAgain_);
    if (MemoriesAreOld())
        next = Sooner(next, saveAgain_);
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
    if (watched[1].revents != 0 || board_.Hearing())
        TakeVisitors();
    if (watched[3].revents != 0)
        TakeStandardInput();
}

void Server::TakeSignal()
{
    signalfd_siginfo signal{};
    while (read(signals_.Number(), &signal, sizeof signal) == sizeof signal) {
        if (signal.ssi_signo == SIGUSR1)
            board_.ToggleButton(1);
        else
            stopped_ = true;
    }
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
        const std::string_view order = std::string_view(control_).substr(0, end);
        if (!board_.Obey(Seconds(), order))
            std::cerr << "virtual-board : commande refusée : " << order << '\n';
        control_.erase(0, end + 1);
    }
    if (control_.size() > buffer.size())
        control_.clear();
}

void Server::TakeVisitors()
{
    if (!line_.NoteVisitors())
        return;
    board_.Outgoing().Clear();
    blocked_ = false;
}

// The PC may set the port to another speed at any time.
void Server::NoteSpeed()
{
    board_.SetByteSeconds(line_.ByteSeconds());
}

void Server::TakeBytes()
{
    scratch_.clear();
    line_.Read(scratch_);
    const double now = Seconds();
    trace_.Note(now, "in", scratch_.data(), scratch_.size());
    NoteSpeed();
    board_.Receive(now, scratch_);
}

void Server::Work()
{
    const double now = Seconds();
    NoteSpeed();
    board_.AdvanceTo(now);
    Transmit(now);
    KeepStatus(now);
    KeepMemories(now);
}

void Server::Transmit(double now)
{
    if (blocked_)
        return;
    scratch_.clear();
    board_.Outgoing().CopyArrived(now, scratch_);
    if (scratch_.empty())
        return;
    const std::size_t sent = line_.Write(scratch_.data(), scratch_.size());
    trace_.Note(now, "out", scratch_.data(), sent);
    board_.Outgoing().Drop(sent);
    blocked_ = sent < scratch_.size();
}

void Server::KeepStatus(double now)
{
    if (StatusIsOld() && now >= statusAgain_)
        WriteStatus();
}

void Server::WriteStatus()
{
    if (options_.statusFile.empty())
        return;
    ReplaceFile(options_.statusFile, StatusText(board_.Core()));
    shownChanges_ = board_.Changes();
    statusAgain_ = Seconds() + statusInterval;
}

void Server::KeepMemories(double now)
{
    if (!MemoriesAreOld() || now < saveAgain_)
        return;
    SaveMemories(options_.memoryFile, Stored().Image());
    savedWrites_ = Stored().Writes();
    saveAgain_ = Seconds() + memoryInterval;
}

} // namespace Board
