// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QByteArray>

#include <optional>

/// A request to the board: the escape byte 27, then the command byte and its parameters.
template <class... Byte>
QByteArray Request(Byte... bytes)
{
    const char request[] = {27, static_cast<char>(bytes)...};
    return QByteArray(request, sizeof request);
}

/// What the board sends back for a request.
struct Reply
{
    std::optional<quint8> until; ///< bytes are thrown away up to and with this one
    int length = 0;              ///< bytes that are read then
    bool clearFirst = true;      ///< else the last byte of the reply before counts too, if it is `until`
    int spare = 0;               ///< bytes behind these that nobody waits for

    /// 27, data bytes and one more that says nothing.
    static Reply Framed(int dataBytes) { return {.until = quint8(27), .length = dataBytes + 1}; }
    /// One byte, whatever it is.
    static Reply Acknowledge() { return {.until = std::nullopt, .length = 1}; }
    /// Bytes up to a 6: a memory write is done.
    static Reply Stored() { return {.until = quint8(6), .length = 0}; }
};

/// A request and what comes back for it.
struct Question
{
    QByteArray request;
    Reply reply;
};
