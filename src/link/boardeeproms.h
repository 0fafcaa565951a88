// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "exchanges.h"
#include "handshake.h"

#include <QObject>

#include <map>

/// What the on-chip EEPROMs of the board hold as far as the program knows: what the connection has loaded, and every
/// byte that was written or read since, by whichever window. The session's images are what is converted with, and some
/// of what is written comes into them with the next connection only.
class BoardEeproms : public QObject
{
    Q_OBJECT

public:
    BoardEeproms(const Exchanges &line, const Session &session, const Handshake &handshake);

    quint8 Master(quint8 address) const { return Byte(master_, session_.MasterEeprom, address); }
    quint8 Slave(quint8 address) const { return Byte(slave_, session_.SlaveEeprom, address); }

Q_SIGNALS:
    /// A byte was written or read, or the connection has loaded them.
    void Changed();

private:
    using Image = std::array<quint8, 257>;
    using Since = std::map<quint8, quint8>;

    static quint8 Byte(const Since &since, const Image &image, quint8 address);
    void Answered(const Question &question, const QByteArray &data);

    const Session &session_;
    Since master_, slave_; ///< by address, what has passed since the connection
};
