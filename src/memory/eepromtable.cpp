// SPDX-License-Identifier: GPL-3.0-or-later
#include "eepromtable.h"

#include "base/number.h"
#include "profile.h"

#include <algorithm>

namespace {
constexpr int lineLength = 16;
constexpr int lines = EepromSize / lineLength;
const QByteArray lineEnd = "\r\n";

QByteArray Joined(const QByteArrayList &entries)
{
    return entries.join(lineEnd) + lineEnd;
}

/// Cuts a file into entries of these lengths, if it consists of them and line ends only.
QByteArrayList ByPosition(const QByteArray &content, const QList<qsizetype> &lengths)
{
    QByteArrayList entries;
    qsizetype position = 0;
    for (const qsizetype length : lengths) {
        if (content.mid(position + length, lineEnd.size()) != lineEnd)
            return {};
        entries.append(content.mid(position, length));
        position += length + lineEnd.size();
    }
    return position == content.size() ? entries : QByteArrayList();
}

QByteArrayList ByLines(const QByteArray &content)
{
    const QByteArray end = content.contains(lineEnd) ? lineEnd : QByteArray("\n");
    QByteArrayList entries;
    qsizetype begin = 0;
    for (qsizetype next = content.indexOf(end); next >= 0; next = content.indexOf(end, begin)) {
        entries.append(content.mid(begin, next - begin));
        begin = next + end.size();
    }
    if (begin < content.size())
        entries.append(content.mid(begin));
    return entries;
}

/// The entries of a file. Bytes from an EEPROM may look like line ends: a file of a full table is read by position.
QByteArrayList Split(const QByteArray &content, const QList<qsizetype> &fullTable)
{
    const QByteArrayList entries = ByPosition(content, fullTable);
    return entries.isEmpty() ? ByLines(content) : entries;
}

bool IsParameterText(const QByteArray &line)
{
    return line.size() >= profile::textLength && std::ranges::all_of(line, [](char c) { return c >= '0' && c <= '9'; });
}

/// Names and parameter texts take turns behind the header: where the first parameter text stands tells.
bool HasHeaderTwice(const QByteArrayList &fileLines)
{
    if (IsParameterText(fileLines.value(2)))
        return false;
    return IsParameterText(fileLines.value(3)) || (fileLines.size() > 1 && fileLines[0] == fileLines[1]);
}
} // namespace

// ---- EEPROM 1

Image::Image()
{
    for (size_t i = 0; i < entries_.size(); ++i)
        entries_[i] = "mesg " + number::Str(static_cast<double>(i)).toLatin1();
}

void Image::Read(const QByteArray &memory)
{
    for (int i = 0; i < lines; ++i)
        entries_[static_cast<size_t>(i)] = memory.mid(qsizetype(i) * lineLength, lineLength);
}

QByteArray Image::Memory() const
{
    QByteArray memory;
    for (int i = 0; i < lines; ++i)
        memory += profile::Padded(entries_[static_cast<size_t>(i)]);
    return memory;
}

QByteArray Image::Save() const
{
    return Joined(QByteArrayList(entries_.begin(), entries_.begin() + lines));
}

int Image::Load(const QByteArray &content)
{
    const QByteArrayList fileLines = Split(content, QList<qsizetype>(lines, lineLength));
    for (int i = 0; i < lines; ++i)
        entries_[static_cast<size_t>(i)] = fileLines.value(i, " ").left(lineLength);
    return std::max(0, lines - static_cast<int>(fileLines.size()));
}

// ---- EEPROM 2

Profiles::Profiles()
{
    constexpr size_t limit = EepromSize / profile::recordLength;
    for (size_t i = 0; i <= limit; i += 2) {
        entries_[i] = "----------------";
        entries_[i + 1] = "000000000000000000000000";
    }
}

void Profiles::Read(const QByteArray &memory)
{
    entries_.fill({});
    for (int number = 0; number <= count; ++number) {
        const QByteArray record = memory.mid(qsizetype(number) * profile::recordLength, profile::recordLength);
        entries_[NameEntry(number)] = record.first(profile::nameLength);
        entries_[NameEntry(number) + 1] = profile::ParameterText(record.mid(profile::nameLength));
        records_[static_cast<size_t>(number)] = record;
    }
}

void Profiles::Set(int number, const QByteArray &name, const QByteArray &text)
{
    entries_[NameEntry(number)] = name;
    entries_[NameEntry(number) + 1] = text;
    records_[static_cast<size_t>(number)].clear();
}

QByteArray Profiles::Record(int number) const
{
    if (AsRead(number))
        return records_[static_cast<size_t>(number)];
    const QString where =
        QStringLiteral("profil %1 (« %2 »)").arg(number).arg(QString::fromLatin1(Name(number)).simplified());
    return profile::Padded(Name(number)) + profile::ParameterBlock(Text(number), where);
}

QByteArray Profiles::RecordsMemory() const
{
    QByteArray memory;
    for (int number = 1; number <= count; ++number)
        memory += Record(number);
    return memory;
}

QByteArray Profiles::Save() const
{
    QByteArrayList fileLines{Header(), Header()};
    for (int number = 1; number <= count; ++number)
        fileLines << Name(number) << Text(number);
    return Joined(fileLines);
}

int Profiles::Load(const QByteArray &content)
{
    QList<qsizetype> fullTable{headerLength, headerLength};
    for (int number = 1; number <= count; ++number)
        fullTable << profile::nameLength << profile::textLength;
    QByteArrayList fileLines = Split(content, fullTable);
    if (HasHeaderTwice(fileLines))
        fileLines.removeAt(1);
    SetHeader(fileLines.value(0, " "));
    for (int number = 1; number <= count; ++number) {
        const qsizetype name = 2 * qsizetype(number) - 1;
        Set(number, fileLines.value(name, " ").left(profile::nameLength), fileLines.value(name + 1, "0"));
    }
    return std::max(0, 1 + 2 * count - static_cast<int>(fileLines.size()));
}
