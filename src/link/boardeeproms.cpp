// SPDX-License-Identifier: GPL-3.0-or-later
#include "boardeeproms.h"

#include "command.h"

BoardEeproms::BoardEeproms(const Exchanges &line, const Session &session, const Handshake &handshake)
    : session_(session)
{
    connect(&line, &Exchanges::Answered, this, &BoardEeproms::Answered);
    connect(&handshake, &Handshake::Connected, this, [this] {
        master_.clear();
        slave_.clear();
        Q_EMIT Changed();
    });
}

quint8 BoardEeproms::Byte(const Since &since, const Image &image, quint8 address)
{
    const auto newer = since.find(address);
    return newer == since.end() ? image[address] : newer->second;
}

void BoardEeproms::Answered(const Question &question, const QByteArray &data)
{
    constexpr qsizetype write = 4, read = 3; // bytes of a request
    const QByteArray &request = question.request;
    if (request.size() != write && request.size() != read)
        return;
    const auto command = static_cast<quint8>(request[1]);
    const auto address = static_cast<quint8>(request[2]);
    const bool master = command == command::WriteMasterEeprom || command == command::ReadMasterEeprom;
    Since &since = master ? master_ : slave_;
    if (request.size() == write && (command == command::WriteMasterEeprom || command == command::WriteSlaveEeprom))
        since[address] = static_cast<quint8>(request[3]);
    else if (request.size() == read && !data.isEmpty() && (master || command == command::ReadSlaveEeprom))
        since[address] = static_cast<quint8>(data[0]);
    else
        return;
    Q_EMIT Changed();
}
