// SPDX-License-Identifier: GPL-3.0-or-later
#include "profile.h"

#include "base/errors.h"
#include "base/number.h"

#include <algorithm>

namespace profile {
namespace {
struct Place
{
    QByteArray Fields::*field;
    int width;
};

/// The fields in the order of the parameter text.
constexpr Place places[] = {
    {&Fields::flags, 3}, {&Fields::type, 1},    {&Fields::cells, 2},  {&Fields::charge, 3}, {&Fields::discharge, 3},
    {&Fields::hours, 2}, {&Fields::minutes, 2}, {&Fields::cycles, 2}, {&Fields::volts, 3},
};

bool IsDigit(char character)
{
    return character >= '0' && character <= '9';
}

/// The digits that a block has of each field behind the flags, and where they stand.
struct Group
{
    int inBlock;
    int inText;
    int width;
};
constexpr Group groups[] = {
    {1, 3, 1},   // type
    {2, 4, 2},   // cells
    {4, 6, 3},   // charge
    {7, 9, 3},   // discharge
    {10, 13, 1}, // hours: ones
    {11, 14, 1}, // minutes: tens
    {12, 17, 1}, // cycles: ones
    {13, 18, 3}, // volts
};

/// Writes the number that some bytes begin with, behind blanks, so that it ends where they would; zeros stay in front.
void PutNumber(QByteArray &text, qsizetype position, QByteArrayView bytes)
{
    const auto begin = std::ranges::find_if_not(bytes, [](char character) { return character == ' '; });
    const auto end = std::find_if_not(begin, bytes.end(), IsDigit);
    std::copy(begin, end, text.begin() + position + (bytes.size() - (end - begin)));
}

/// The board's program works with these numbers: each must fit what it keeps it in.
void CheckNumbers(const Fields &fields, const QString &where)
{
    const int charge = fields.charge.toInt();
    const int discharge = fields.discharge.toInt();
    const int minutes = fields.minutes.toInt();
    for (const int value : {fields.flags.toInt(), fields.type.toInt(), fields.cells.toInt(), charge / 256, charge % 256,
                            discharge / 256, discharge % 256, minutes > 59 ? 0 : minutes})
        number::ToByte(value, where);
}
} // namespace

Fields Fields::Of(const QByteArray &text)
{
    QByteArray digits = text.leftJustified(textLength, '0', true);
    std::ranges::replace_if(digits, [](char character) { return !IsDigit(character); }, '0');
    Fields fields;
    qsizetype position = 0;
    for (const auto &[field, width] : places) {
        fields.*field = digits.mid(position, width);
        position += width;
    }
    return fields;
}

QByteArray Fields::Text() const
{
    QByteArray text;
    for (const Place &place : places)
        text += this->*place.field;
    return text;
}

QByteArray ParameterBlock(const QByteArray &text, const QString &where)
{
    const auto isForeign = [](char character) { return !IsDigit(character) && character != ' '; };
    if (std::ranges::any_of(text.first(std::min<qsizetype>(text.size(), textLength)), isForeign))
        throw TypeMismatch(where);
    const Fields fields = Fields::Of(text);
    CheckNumbers(fields, where);
    return QByteArray(1, static_cast<char>(fields.flags.toInt())) + fields.type + fields.cells + fields.charge +
           fields.discharge + fields.hours.last(1) + fields.minutes.first(1) + fields.cycles.last(1) + fields.volts;
}

QByteArray Padded(const QByteArray &text)
{
    return text.leftJustified(nameLength, ' ', true);
}

QByteArray ParameterText(const QByteArray &block)
{
    QByteArray text(textLength, '0');
    const QByteArray flags = QByteArray::number(static_cast<quint8>(block.at(0)));
    PutNumber(text, 3 - flags.size(), flags);
    for (const Group &group : groups)
        PutNumber(text, group.inText, QByteArrayView(block).sliced(group.inBlock, group.width));
    return text;
}
} // namespace profile
