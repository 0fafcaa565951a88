// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QList>
#include <QRegularExpression>
#include <QString>

#include <map>
#include <optional>

/// HEX files read the long way round, a line of text after the other: what the readers are held against.
namespace literalhex {
struct Contents
{
    std::map<int, int> cells; ///< by word address (slave) or byte address (master)
    int lastAddress = 0;
};

inline int HexToByte(const QString &text, int position)
{
    return text.mid(position - 1, 2).toInt(nullptr, 16);
}

inline QStringList Lines(const QByteArray &file)
{
    static const QRegularExpression ends(QStringLiteral("\r\n|\r|\n"));
    return QString::fromLatin1(file).split(ends);
}

/// Header and as many data bytes as it announces, then the checksum or what is left of it.
inline bool WellFormed(const QString &line)
{
    static const QRegularExpression header(QStringLiteral("^:[0-9A-F]{8}"));
    if (!header.match(line).hasMatch())
        return false;
    const int count = HexToByte(line, 2);
    const QRegularExpression whole(QStringLiteral("^:[0-9A-F]{%1}").arg(8 + 2 * count));
    if (!whole.match(line).hasMatch())
        return false;
    const QString checksum = line.mid(9 + 2 * count, 2);
    static const QRegularExpression twoDigits(QStringLiteral("^[0-9A-F]{2}$"));
    return checksum.size() < 2 || twoDigits.match(checksum).hasMatch();
}

/// Nothing when the file is to be refused.
inline std::optional<Contents> Slave(const QByteArray &file)
{
    Contents contents;
    for (const QString &line : Lines(file)) {
        if (!line.startsWith(u':'))
            continue;
        if (line.mid(7, 2) == QLatin1String("01"))
            break;
        if (!WellFormed(line) || HexToByte(line, 2) % 2 != 0)
            return std::nullopt;
        const QString record = line.mid(1);
        int count = HexToByte(record, 1);
        int word = (HexToByte(record, 3) * 256 + HexToByte(record, 5)) / 2;
        int position = 9;
        while (count != 0 && word < 8192) {
            const int value = HexToByte(record, position) + HexToByte(record, position + 2) * 256;
            if (value >= 32768)
                return std::nullopt;
            contents.cells[word] = value;
            count -= 2;
            ++word;
            contents.lastAddress = std::max(contents.lastAddress, word);
            position += 4;
        }
    }
    return contents.cells.empty() ? std::nullopt : std::optional(contents);
}

inline std::optional<Contents> Master(const QByteArray &file)
{
    Contents contents;
    QString bank;
    for (const QString &line : Lines(file)) {
        if (!line.startsWith(u':'))
            continue;
        const QString type = line.mid(7, 2);
        if (type == QLatin1String("01"))
            break;
        if (!WellFormed(line))
            return std::nullopt;
        const int count = HexToByte(line, 2);
        const bool configuration = !bank.isEmpty() && !bank.startsWith(QLatin1String("0000"));
        if (count % 2 != 0 && !configuration)
            return std::nullopt;
        if (type == QLatin1String("04"))
            bank = line.mid(9, 4) + u'.';
        if (type != QLatin1String("00") || !bank.startsWith(QLatin1String("0000")))
            continue;
        int address = HexToByte(line, 4) * 256 + HexToByte(line, 6);
        if (address + count > 32768)
            return std::nullopt;
        for (int i = 0, position = 10; i < count; i += 2, position += 4, address += 2) {
            contents.cells[address] = HexToByte(line, position);
            contents.cells[address + 1] = HexToByte(line, position + 2);
        }
    }
    return contents;
}

/// Whether a memory is what the contents say, and `erased` where they say nothing.
template <class Memory>
bool Matches(const Memory &memory, const Contents &contents, int erased)
{
    auto cell = contents.cells.begin();
    for (int address = 0; address < static_cast<int>(memory.size()); ++address) {
        const bool given = cell != contents.cells.end() && cell->first == address;
        if (memory[static_cast<size_t>(address)] != (given ? cell->second : erased))
            return false;
        if (given)
            ++cell;
    }
    return cell == contents.cells.end();
}
} // namespace literalhex
