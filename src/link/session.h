// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtGlobal>

#include <array>

/// What all windows know of the board and of each other.
struct Session
{
    quint8 RxByte = 0;    ///< the last byte that was read, 0 when there was none to read
    qint16 RxCount = 0;   ///< bytes that still waited behind it
    quint8 AbortWait = 0; ///< 1 once Timer1 has ticked: the next attempt of a greeting is due
    quint8 Timer2Flg = 0; ///< 1 once Timer2 has ticked
    int LinkState = 0;    ///< 1 once the greeting has succeeded

    /// Images of the on-chip EEPROMs of both microcontrollers.
    std::array<quint8, 257> MasterEeprom{};
    std::array<quint8, 257> SlaveEeprom{};

    int EepromSel = 0; ///< whose on-chip memories the tools work on: 1 the master's, else the slave's

    int ReconnectOnActivate = 1; ///< 1: the next activation of the main window runs the handshake
    bool LinkDropped = false;    ///< true from a disconnection to the next connection
    float MainLeft = 0;          ///< where the main window was when it opened a window
    float MainTop = 0;

    /// Whether the monitor keeps the line for its stream: nothing can be begun then that the program has to watch.
    bool Streaming = false;

    /// Whether the board was told to go on by itself: it streams and hears nothing but a greeting.
    bool BoardStreams = false;
};
