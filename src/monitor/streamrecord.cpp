// SPDX-License-Identifier: GPL-3.0-or-later
#include "streamrecord.h"

#include "base/number.h"

namespace stream {
namespace {
constexpr int prompt = 1, byte = 1, word = 2, clock = 3, unused = 1;

struct
{
    int length;
    const char *name;
} constexpr layout[columns] = {
    {prompt, "Prompt"}, {word, "Echantillon"}, {clock, "Temps"}, {unused, "="},      {word, "VBat"}, {word, "Cour"},
    {word, "Temper"},   {word, "Vdelta"},      {word, "Resist"}, {word, "Capacité"}, {byte, "Type"}, {byte, "CDV"},
    {word, "Valim"},    {word, "Vdbl"},        {word, "Vmoy"},   {word, "Maxidv"},
};
} // namespace

std::optional<Field> RecordDecoder::Add(quint8 received)
{
    const int length = layout[column_].length;
    value_ = value_ * (length == clock ? 60 : 256) + received;
    if (++byte_ < length)
        return std::nullopt;
    const Field field{static_cast<Column>(column_), value_};
    ++column_;
    byte_ = 0;
    value_ = 0;
    if (length == word)
        number::ToInt16(field.value, ColumnName(field.column));
    return field;
}

QString ColumnName(Column column)
{
    return QString::fromUtf8(layout[static_cast<int>(column)].name);
}
} // namespace stream
