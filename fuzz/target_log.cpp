// SPDX-License-Identifier: GPL-3.0-or-later
// A log that somebody opens: its records are those that a reading of the whole text finds, in whatever pieces it comes;
// their times never fall back, and each has its line in the export.

#include "check.h"
#include "logs/csv.h"
#include "logs/logreader.h"

#include <QByteArrayList>
#include <QString>

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

namespace {
constexpr qsizetype longestLine = 4096;

struct Contents
{
    std::vector<std::vector<double>> records;
    size_t unreadable = 0;
    bool log = false;
};

enum class Kind
{
    Charge,
    Discharge,
    Capacity,
    Monitor,
    None
};

Kind KindOf(QByteArray header)
{
    if (header.startsWith("\xEF\xBB\xBF"))
        header.remove(0, 3);
    if (header == "DUREE:VALIMCAD:VDBLCAD:DVaverage:VALIM:DVFLAG:CDVDT:TEMPER:ICHRGCAD:VBATCAD:VDELTACAD:ICHRG:VBAT:"
                  "VDELTA:CAPACITE:TEMPS")
        return Kind::Charge;
    if (header == "DUREE:VALIMCAD:VDBLCAD:TEMPCAD:VALIM:VDBL:TEMPER:IDCHRGCAD:VDELTACAD:ICHRG:VBAT:CAPACITE:TEMPS")
        return Kind::Discharge;
    if (header == "DUREE:TEMPER:ICHRG:IDECHRG:TOTALCHARGE:TOTALDECHARGE:VBAT:VUNIT:VDELTA:RESISTANCE:TEMPS")
        return Kind::Capacity;
    header.replace("\xC3\xA9", "\xE9");
    if (header == "Prompt,Echantillon,Temps,=,VBat,Cour,Temper,Vdelta,Resist,Capacit\xE9,Type,CDV,Valim,Vdbl,Vmoy,"
                  "Maxidv")
        return Kind::Monitor;
    return Kind::None;
}

std::optional<double> NumberOf(QByteArray field)
{
    while (field.startsWith(' '))
        field.remove(0, 1);
    while (field.endsWith(' '))
        field.chop(1);
    field.replace(',', '.');
    if (field.isEmpty() || field.size() > 40 || !std::ranges::all_of(field, [](char c) {
            return (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '+' || c == 'e' || c == 'E';
        }))
        return std::nullopt;
    if (field.startsWith('+'))
        return std::nullopt;
    bool isNumber = false;
    const double value = field.toDouble(&isNumber);
    if (!isNumber || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<std::vector<double>> RecordOf(const QByteArray &line, Kind kind)
{
    constexpr qsizetype monitorFields = 15;
    QByteArrayList fields = line.split(kind == Kind::Monitor ? ',' : ':');
    qsizetype count = kind == Kind::Charge ? 16 : kind == Kind::Discharge ? 13 : 11;
    if (kind == Kind::Monitor) {
        fields = fields.mid(std::max<qsizetype>(0, fields.size() - monitorFields));
        if (fields.size() != monitorFields || fields.takeAt(2) != "=")
            return std::nullopt;
        count = monitorFields - 1;
    }
    if (line.size() > longestLine || fields.size() != count)
        return std::nullopt;
    std::vector<double> record;
    for (const QByteArray &field : fields) {
        const std::optional<double> value = NumberOf(field);
        if (!value)
            return std::nullopt;
        record.push_back(*value);
    }
    return record;
}

QByteArray WithoutReturn(QByteArray line)
{
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

Contents ReadWhole(const QByteArray &text)
{
    Contents contents;
    QByteArrayList lines = text.split('\n');
    lines.removeLast(); // whose end is not there
    if (lines.isEmpty())
        return contents;
    const Kind kind = KindOf(WithoutReturn(lines.takeFirst()));
    contents.log = kind != Kind::None;
    for (const QByteArray &ended : lines) {
        const QByteArray line = WithoutReturn(ended);
        if (!contents.log || line.isEmpty())
            continue;
        if (kind == Kind::Capacity && (line[0] == '*' || line[0] == '='))
            continue;
        if (const auto record = RecordOf(line, kind))
            contents.records.push_back(*record);
        else
            ++contents.unreadable;
    }
    return contents;
}

void CheckAgainst(const Contents &expected, const LogReader &reader)
{
    const Log *const log = reader.Contents();
    Check(expected.log == (log != nullptr));
    if (!log)
        return;
    Check(reader.Unreadable() == expected.unreadable);
    Check(log->Records() == expected.records.size());
    for (const Log::Column &column : log->columns) {
        Check(column.values.size() == log->Records());
        if (column.name == QLatin1String("CAPACITE") || column.name.startsWith(QLatin1String("TOTAL")))
            continue; // put right, or in another unit
        const auto index = static_cast<size_t>(&column - log->columns.data());
        for (size_t record = 0; record < log->Records(); ++record)
            Check(column.values[record] == expected.records[record][index]);
    }
    Check(std::ranges::is_sorted(log->steps) && log->steps.front() == 0 && log->steps.back() <= log->Records());
    Check(csv::Of(*log).count('\n') == static_cast<qsizetype>(log->Records()) + 1);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const Contents expected = ReadWhole(text);
    const std::string_view whole(text.constData(), size);

    LogReader atOnce;
    atOnce.Take(whole);
    CheckAgainst(expected, atOnce);

    LogReader inPieces;
    for (size_t at = 0, piece = 1; at < size; at += piece, piece = piece * 7 % 61 + 1)
        inPieces.Take(whole.substr(at, piece));
    CheckAgainst(expected, inPieces);
    if (atOnce.Contents())
        Check(atOnce.Contents()->seconds == inPieces.Contents()->seconds);
    return 0;
}
