// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "descriptor.h"
#include "interpreter.h"

#include <cstddef>
#include <string>

namespace Board {

/// The board's end of a serial line made of a pseudo-terminal. The far end is kept open here too, raw and without
/// echo, so that programs may open, close and reopen it as they like. As on a real line, what was sent while nobody had
/// the port open is lost, and so is what the last one to close it had not read.
class PtyLine
{
public:
    /// Throws std::system_error.
    PtyLine();

    const std::string &Path() const { return path_; }

    /// Readable when bytes have come, writable when there is room for more.
    int Number() const { return board_.Number(); }
    /// Readable when a program has opened or closed the port.
    int VisitorsNumber() const { return visitors_.Number(); }

    /// Takes note of programs that came and went. When the last one has left or a first one has come, what is still
    /// unread is thrown away and the result is true. To be called before the bytes of a newcomer are answered.
    bool NoteVisitors();

    /// Appends what has come.
    void Read(Bytes &bytes);
    /// Writes what there is room for and returns how many bytes that was.
    std::size_t Write(const std::uint8_t *bytes, std::size_t count);

    /// Time on the wire of one byte at the speed the port is set to now: start bit, 8 data bits and stop bit.
    double ByteSeconds() const;

private:
    void Release();

    Descriptor board_;
    Descriptor port_;
    Descriptor visitors_;
    std::string path_;
    int programs_ = 0;
};

/// A symbolic link to the port for as long as the object lives. Throws std::runtime_error, in French, when something
/// that is not a symbolic link is in the way.
class PortLink
{
public:
    PortLink(std::string link, std::string target);
    ~PortLink();
    PortLink(const PortLink &) = delete;
    PortLink &operator=(const PortLink &) = delete;

private:
    std::string link_;
    std::string target_;
};

} // namespace Board
