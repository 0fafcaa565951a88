// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "activity.h"
#include "boardeeproms.h"
#include "com.h"
#include "exchanges.h"
#include "handshake.h"
#include "outputs.h"
#include "session.h"
#include "silence.h"

#include <functional>

/// The shared module of all windows: the one port, the exchanges on it, the outputs that are switched through it, the
/// connection, and what all share.
class Codebas : public QObject, public Session
{
    Q_OBJECT

public:
    /// `timer1` and `timer2` are the main window's: they pace the handshake.
    Codebas(Com &com, Timer &timer1, Timer &timer2);

    /// The settings of the line for commands and for the monitor's stream.
    static inline const QString ordinarySettings = QStringLiteral("9600,n,8,1");
    static inline const QString streamSettings = QStringLiteral("19200,n,8,1");

    Com &com;
    Exchanges line{com, *this};
    Silence silence{com, line};
    Outputs outputs{line, *this};
    Activity::All activities;
    Handshake handshake;
    BoardEeproms eeproms{line, *this, handshake};

    /// Configures the port ("9600,n,8,1", port 1, no handshaking, binary, byte by byte, RTS and DTR on); does not open
    /// it.
    void InitSerialPort();

    /// Configures the port as InitSerialPort does, with other settings.
    void ConfigurePort(const QString &settings);

    /// Opens the port if it is closed; throws PortError.
    void OpenPort();

    /// Closes the port, once what is to be switched off has been sent and what was sent has left: exchanges under way
    /// start again when it is open next, or fail with PortClosed if it stays closed.
    Task<void> ClosePort();

    /// Sends one byte; throws PortClosed.
    void SendByte(quint8 byte);

    /// Ends the session: the board goes on by itself, and streams, until it is greeted. Throws PortClosed.
    void EndSession();
    /// The board has answered a greeting.
    void SessionBegun();

    /// One exchange: sends the request when the line is ours and gives the bytes of the reply. `wanted`, asked at that
    /// moment, may still call it off: then nothing is sent and the reply is empty.
    Task<QByteArray> Exchange(QByteArray request, Reply reply, std::function<bool()> wanted = {},
                              Exchanges::Overtaking overtaking = Exchanges::Overtaking::Allowed);

    /// The same with a request that is made when the line is ours, once; an empty one calls the exchange off.
    Task<QByteArray> Exchange(std::function<QByteArray()> request, Reply reply);

    /// Asks the same several times in a row, with nobody's requests in between, as long as `wanted` says so; the bytes
    /// of all replies.
    Task<QByteArray> Repeat(int times, QByteArray request, Reply reply, std::function<bool()> wanted,
                            Exchanges::Overtaking overtaking);

Q_SIGNALS:
    /// The port was closed or lost; it may be open again when events run next.
    void PortCut();
    void BoardStreamsChanged();
};
