// SPDX-License-Identifier: GPL-3.0-or-later
#include "pty_line.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <system_error>
#include <termios.h>

namespace Board {

namespace {

constexpr double bitsPerByte = 10;

[[noreturn]] void Fail(const char *what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

int Checked(int result, const char *what)
{
    if (result < 0)
        Fail(what);
    return result;
}

double BitsPerSecond(speed_t speed)
{
    struct Speed
    {
        speed_t code;
        double bits;
    };
    static constexpr Speed speeds[] = {
        {B300, 300},       {B600, 600},       {B1200, 1200},     {B2400, 2400},   {B4800, 4800},
        {B9600, 9600},     {B19200, 19200},   {B38400, 38400},   {B57600, 57600}, {B115200, 115200},
        {B230400, 230400}, {B460800, 460800}, {B921600, 921600},
    };
    for (const Speed &known : speeds) {
        if (known.code == speed)
            return known.bits;
    }
    return 9600;
}

} // namespace

PtyLine::PtyLine() : board_(Checked(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC), "posix_openpt"))
{
    Checked(grantpt(board_.Number()), "grantpt");
    Checked(unlockpt(board_.Number()), "unlockpt");
    std::array<char, 128> name{};
    if (ptsname_r(board_.Number(), name.data(), name.size()) != 0)
        Fail("ptsname_r");
    path_ = name.data();
    port_ = Descriptor(Checked(open(path_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC), path_.c_str()));

    termios settings{};
    Checked(tcgetattr(port_.Number(), &settings), "tcgetattr");
    cfmakeraw(&settings);
    cfsetspeed(&settings, B9600);
    Checked(tcsetattr(port_.Number(), TCSANOW, &settings), "tcsetattr");

    visitors_ = Descriptor(Checked(inotify_init1(IN_NONBLOCK | IN_CLOEXEC), "inotify_init1"));
    Checked(inotify_add_watch(visitors_.Number(), path_.c_str(), IN_OPEN | IN_CLOSE), "inotify_add_watch");
}

// The kernel reports two programs that open the port at the same time as one. The count may then be too low while a
// program still has the port, so nothing but the throwing away may depend on it.
bool PtyLine::NoteVisitors()
{
    bool came = false;
    bool left = false;
    alignas(inotify_event) std::array<char, 4096> buffer;
    for (;;) {
        const ssize_t count = read(visitors_.Number(), buffer.data(), buffer.size());
        if (count <= 0)
            break;
        for (std::size_t at = 0; at < static_cast<std::size_t>(count);) {
            inotify_event event;
            std::memcpy(&event, buffer.data() + at, sizeof event);
            at += sizeof event + event.len;
            const int before = programs_;
            if ((event.mask & IN_OPEN) != 0)
                ++programs_;
            else if ((event.mask & IN_CLOSE) != 0)
                programs_ = std::max(0, programs_ - 1);
            came = came || (before == 0 && programs_ > 0);
            left = left || (before > 0 && programs_ == 0);
        }
    }
    if (left)
        Release();
    if (came || left)
        tcflush(port_.Number(), TCIFLUSH);
    return came || left;
}

// A program that was killed leaves the port as it was using it: for itself alone, or with echo, which would send the
// board its own bytes. Settings that are raw already are left alone: the next program may be about to change them.
void PtyLine::Release()
{
    ioctl(port_.Number(), TIOCNXCL);
    termios settings{};
    if (tcgetattr(port_.Number(), &settings) != 0)
        return;
    const bool raw = (settings.c_lflag & (ECHO | ICANON | ISIG | IEXTEN)) == 0 && (settings.c_oflag & OPOST) == 0 &&
                     (settings.c_iflag & (ICRNL | INLCR | IGNCR | IXON | ISTRIP)) == 0;
    if (raw)
        return;
    cfmakeraw(&settings);
    tcsetattr(port_.Number(), TCSANOW, &settings);
}

void PtyLine::Read(Bytes &bytes)
{
    std::array<std::uint8_t, 4096> buffer;
    const ssize_t count = read(board_.Number(), buffer.data(), buffer.size());
    if (count > 0)
        bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + count);
}

std::size_t PtyLine::Write(const std::uint8_t *bytes, std::size_t count)
{
    const ssize_t written = write(board_.Number(), bytes, count);
    return written > 0 ? static_cast<std::size_t>(written) : 0;
}

double PtyLine::ByteSeconds() const
{
    termios settings{};
    if (tcgetattr(port_.Number(), &settings) != 0)
        return bitsPerByte / 9600;
    return bitsPerByte / BitsPerSecond(cfgetospeed(&settings));
}

PortLink::PortLink(std::string link, std::string target) : link_(std::move(link)), target_(std::move(target))
{
    namespace fs = std::filesystem;
    const fs::file_status status = fs::symlink_status(link_);
    if (fs::exists(status) && !fs::is_symlink(status))
        throw std::runtime_error(link_ + " : existe déjà et n'est pas un lien symbolique");
    const std::string draft = link_ + ".new";
    std::error_code ignored;
    fs::remove(draft, ignored);
    fs::create_symlink(target_, draft);
    fs::rename(draft, link_);
}

PortLink::~PortLink()
{
    std::error_code error;
    if (std::filesystem::read_symlink(link_, error) == target_ && !error)
        std::filesystem::remove(link_, error);
}

} // namespace Board
