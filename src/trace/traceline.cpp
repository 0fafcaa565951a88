// SPDX-License-Identifier: GPL-3.0-or-later
#include "traceline.h"

#include "base/errors.h"

#include <QByteArrayList>

namespace {
constexpr int timeWidth = 12;
constexpr int bytesWidth = 20; // most requests and answers are shorter, and their meanings stand in line

const QByteArray request = QByteArrayLiteral("\xE2\x86\x92"); // →
const QByteArray answer = QByteArrayLiteral("\xE2\x86\x90");  // ←

[[noreturn]] void Refuse(const QString &what, const QByteArray &token)
{
    throw Error(QStringLiteral("%1 « %2 »").arg(what, QString::fromUtf8(token.left(20))));
}

/// Whole microseconds, or seconds with six decimals.
qint64 TimeOf(const QByteArray &token)
{
    const qsizetype point = token.indexOf('.');
    QByteArray digits = token;
    if (point >= 0)
        digits.remove(point, 1);
    bool isNumber = false;
    const qint64 time = digits.toLongLong(&isNumber);
    if (!isNumber || time < 0 || (point >= 0 && token.size() - point != 7))
        Refuse(QStringLiteral("temps"), token);
    return time;
}

TraceLine::Kind KindOf(const QByteArray &token)
{
    if (token == ">" || token == "in") // what comes in at the board
        return TraceLine::Kind::Sent;
    if (token == "<" || token == "out")
        return TraceLine::Kind::Received;
    if (token == "=")
        return TraceLine::Kind::Event;
    Refuse(QStringLiteral("sens"), token);
}
} // namespace

const QByteArray &TraceLine::Title()
{
    static const QByteArray title = QByteArrayLiteral("# Voltaire : trace de la liaison, format 1");
    return title;
}

QByteArray TraceLine::Text() const
{
    if (kind == Kind::Remark)
        return text.toUtf8() + '\n';
    QByteArray line = QByteArray::number(microseconds).rightJustified(timeWidth);
    if (kind == Kind::Event)
        return line + " = " + text.toUtf8() + '\n';
    QByteArray numbers;
    for (const char byte : bytes)
        numbers += ' ' + QByteArray::number(static_cast<quint8>(byte));
    line += (kind == Kind::Sent ? " >" : " <") + (text.isEmpty() ? numbers : numbers.leftJustified(bytesWidth));
    if (!text.isEmpty())
        line += ' ' + (kind == Kind::Sent ? request : answer) + ' ' + text.toUtf8();
    return line + '\n';
}

TraceLine ReadTraceLine(const QByteArray &line)
{
    if (line.startsWith('#'))
        return {TraceLine::Kind::Remark, 0, {}, QString::fromUtf8(line)};
    const QByteArrayList tokens = line.simplified().split(' ');
    if (tokens.size() < 2)
        Refuse(QStringLiteral("ce n'est pas une ligne de trace :"), line);
    TraceLine read{KindOf(tokens[1]), TimeOf(tokens[0])};
    if (read.kind == TraceLine::Kind::Event) {
        read.text = QString::fromUtf8(line.mid(line.indexOf('=') + 1).trimmed());
        return read;
    }
    for (const QByteArray &token : tokens.mid(2)) {
        if (token == request || token == answer)
            break;
        bool isNumber = false;
        const uint byte = token.toUInt(&isNumber);
        if (!isNumber || byte > 255)
            Refuse(QStringLiteral("octet"), token);
        read.bytes.append(static_cast<char>(byte));
    }
    if (read.bytes.isEmpty())
        throw Error(QStringLiteral("il manque les octets"));
    return read;
}
