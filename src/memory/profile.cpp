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

/// The number that some bytes begin with, behind blanks; zeros in front fill it up to their count.
QByteArray NumberIn(const QByteArray &bytes)
{
    const auto begin = std::ranges::find_if_not(bytes, [](char character) { return character == ' '; });
    const auto end = std::find_if_not(begin, bytes.end(), IsDigit);
    return QByteArray(begin, end - begin).rightJustified(bytes.size(), '0');
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
    Fields fields;
    fields.flags = QByteArray::number(static_cast<quint8>(block.at(0))).rightJustified(3, '0');
    fields.type = NumberIn(block.mid(1, 1));
    fields.cells = NumberIn(block.mid(2, 2));
    fields.charge = NumberIn(block.mid(4, 3));
    fields.discharge = NumberIn(block.mid(7, 3));
    fields.hours = '0' + NumberIn(block.mid(10, 1));
    fields.minutes = NumberIn(block.mid(11, 1)) + '0';
    fields.cycles = '0' + NumberIn(block.mid(12, 1));
    fields.volts = NumberIn(block.mid(13, 3));
    return fields.Text();
}
} // namespace profile
