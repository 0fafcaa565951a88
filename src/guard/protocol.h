// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

/// What the program and its guard say to each other over a socket that keeps messages apart. The first byte says what a
/// message is.
namespace guard {
enum Message : char
{
    Beat = 'b',  ///< the program is alive
    Port = 'p',  ///< the port's open descriptor comes with it, or none: the port is closed
    Watch = 'w', ///< a byte with the number of writes, then register and value of each, then the path of the note
    Fired = 'f'  ///< from the guard: the program stood still, and what was on is switched off
};

constexpr int socket = 0;         ///< the guard's end, as a descriptor
constexpr int longest = 8192;     ///< bytes of a message
constexpr int patienceMs = 10000; ///< without a word from the program while something is on
} // namespace guard
