// SPDX-License-Identifier: GPL-3.0-or-later
// voltaire-guard: switches the board off when the program that has switched it on is dead or stands still. It is small
// on purpose: it knows no windows, opens no port and keeps no state of its own. The program gives it the open port, the
// writes that are to go out, and a beat a second; its death is the end of the socket. Signals that end a program are
// blocked when the guard is started.

#include "protocol.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <syslog.h>
#include <termios.h>
#include <unistd.h>

namespace {
constexpr unsigned char escape = 27;
constexpr int pauseMs = 50; // at 9600 baud four writes take thirteen milliseconds
constexpr int stuckMs = 1000;

const char *const died = "le programme s'est terminé sans arrêter ce qu'il avait mis en marche";
const char *const stoodStill = "le programme n'a pas réagi pendant dix secondes";

class Guard
{
public:
    int Run();

private:
    bool Receive();
    void TakePort(int descriptor);
    void SwitchOff(const char *why);
    bool Send() const;
    void Drain() const;
    void Tell(const std::string &text) const;

    int port_ = -1;
    std::vector<unsigned char> writes_; ///< as they go out; empty while nothing is on
    std::string note_;
};

bool Ready(int descriptor, short events, int timeoutMs)
{
    pollfd state{descriptor, events, 0};
    return poll(&state, 1, timeoutMs) > 0;
}

/// The descriptor that came with a message, or -1.
int DescriptorOf(msghdr &message)
{
    const cmsghdr *extra = CMSG_FIRSTHDR(&message);
    if (!extra || extra->cmsg_level != SOL_SOCKET || extra->cmsg_type != SCM_RIGHTS)
        return -1;
    int descriptor = -1;
    std::copy_n(CMSG_DATA(extra), sizeof descriptor, reinterpret_cast<unsigned char *>(&descriptor));
    return descriptor;
}

int Guard::Run()
{
    for (;;) {
        if (!Ready(guard::socket, POLLIN, writes_.empty() ? -1 : guard::patienceMs)) {
            const char fired = guard::Fired; // first: it may wake up at any moment
            send(guard::socket, &fired, 1, MSG_NOSIGNAL | MSG_DONTWAIT);
            SwitchOff(stoodStill);
            Drain(); // what the board answered is no answer to anything that the program has asked
            return 0;
        }
        if (!Receive()) {
            if (!writes_.empty())
                SwitchOff(died);
            return 0;
        }
    }
}

/// Takes a message; false when there will be no more.
bool Guard::Receive()
{
    std::array<unsigned char, guard::longest> bytes{};
    alignas(cmsghdr) std::array<unsigned char, CMSG_SPACE(sizeof(int))> extra{};
    iovec part{bytes.data(), bytes.size()};
    msghdr message{};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = extra.data();
    message.msg_controllen = extra.size();
    const ssize_t length = recvmsg(guard::socket, &message, MSG_CMSG_CLOEXEC);
    if (length <= 0)
        return false;
    if (bytes[0] == guard::Port)
        TakePort(DescriptorOf(message));
    if (bytes[0] == guard::Watch && length >= 2) {
        const std::ptrdiff_t note = 2 + std::ptrdiff_t{2} * bytes[1];
        writes_.clear();
        for (auto write = bytes.begin() + 2; write != bytes.begin() + note; write += 2)
            writes_.insert(writes_.end(), {escape, write[0], write[1]});
        note_.assign(bytes.begin() + note, bytes.begin() + length);
    }
    return true;
}

void Guard::TakePort(int descriptor)
{
    if (port_ >= 0)
        close(port_);
    port_ = descriptor;
}

/// Twice: a half-sent request may swallow the first of it.
void Guard::SwitchOff(const char *why)
{
    bool sent = false;
    if (port_ >= 0) {
        termios mode{};
        if (tcgetattr(port_, &mode) == 0) {
            cfsetspeed(&mode, B9600);
            tcsetattr(port_, TCSANOW, &mode);
        }
        sent = Send();
        poll(nullptr, 0, pauseMs);
        sent = Send() && sent;
    }
    Tell(std::string("Coupé par la surveillance de secours : ") + why +
         (sent ? "" : ". La carte n'a pas pu être jointe : débranchez la batterie"));
}

bool Guard::Send() const
{
    size_t sent = 0;
    while (sent < writes_.size() && Ready(port_, POLLOUT, stuckMs)) {
        const ssize_t more = write(port_, writes_.data() + sent, writes_.size() - sent);
        if (more <= 0)
            return false;
        sent += static_cast<size_t>(more);
    }
    return sent == writes_.size();
}

void Guard::Drain() const
{
    poll(nullptr, 0, pauseMs);
    if (port_ >= 0)
        tcflush(port_, TCIFLUSH);
}

void Guard::Tell(const std::string &text) const
{
    openlog("voltaire-guard", LOG_PID, LOG_USER);
    syslog(LOG_WARNING, "%s", text.c_str());
    if (FILE *note = std::fopen(note_.c_str(), "a")) {
        const std::time_t now = std::time(nullptr);
        std::array<char, 32> time{};
        std::strftime(time.data(), time.size(), "%Y-%m-%d %H:%M:%S", std::localtime(&now));
        std::fprintf(note, "%s  %s\n", time.data(), text.c_str());
        std::fclose(note);
    }
}
} // namespace

int main()
{
    if (chdir("/") != 0)
        return 1;
    return Guard().Run();
}
