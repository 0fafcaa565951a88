// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include <optional>

/// The records that the board sends by itself: a line feed, then 29 bytes. Words come high byte first.
namespace stream {
constexpr quint8 lineFeed = 10;
constexpr int recordLength = 29; ///< without the line feed

/// The columns of a record in the order of their bytes.
enum class Column
{
    Prompt,
    Echantillon,
    Temps, ///< seconds, sent as hours, minutes, seconds
    Equals,
    VBat,
    Cour,
    Temper,
    Vdelta,
    Resist,
    Capacite,
    Type,
    CDV,
    Valim,
    Vdbl,
    Vmoy,
    Maxidv
};
constexpr int columns = 16;

struct Field
{
    Column column;
    int value;
};

/// Takes the bytes of one record and gives each column when its last byte is in.
class RecordDecoder
{
public:
    /// Throws Overflow for a word that does not fit signed 16 bits. Not to be called once the record is complete.
    std::optional<Field> Add(quint8 received);

    bool Complete() const { return column_ == columns; }

private:
    int column_ = 0;
    int byte_ = 0; ///< of the column
    int value_ = 0;
};

/// How a column is named at the head of the log.
QString ColumnName(Column column);
} // namespace stream
