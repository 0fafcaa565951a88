// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "link/request.h"

#include <QString>
#include <QStringList>

#include <deque>
#include <functional>

/// What the bytes on the line mean, in French, told as they go by. It reads the line as somebody who listens in does:
/// it knows the board's rules, but not what the program makes of an answer that is late or lost.
class Meaning
{
public:
    /// Bytes of the program, at so many microseconds; what they ask for.
    QString Sent(qint64 microseconds, const QByteArray &bytes);

    /// Bytes of the board; what they answer. "…" for a part of an answer.
    QString Received(qint64 microseconds, const QByteArray &bytes);

    /// The port was closed or lost: nothing of what is owed comes any more.
    void Cut();

private:
    /// A request whose answer is to come.
    struct Owed
    {
        QString what; ///< empty for a greeting
        Reply reply;
        std::function<QString(const QByteArray &)> shows; ///< of the bytes of the answer
        qint64 sent;
        bool framed; ///< the byte before the data has come, or there is none
        QByteArray data{};
    };

    QString Begin(quint8 byte, qint64 microseconds);
    QString Do(qint64 microseconds);
    QStringList DropLost(qint64 microseconds);
    QString Answer(quint8 byte);
    QString Record(quint8 byte);

    QByteArray request_; ///< as far as it has come, from its escape byte on
    int wanted_ = 0;     ///< bytes that it has when it is complete; 0 while its command is not known
    std::deque<Owed> owed_;
    qint64 heard_ = 0; ///< when the last byte of the board came
    bool streaming_ = false;
    QByteArray record_;
};
