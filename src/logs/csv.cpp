// SPDX-License-Identifier: GPL-3.0-or-later
#include "csv.h"

#include "base/number.h"

#include <QByteArrayList>

#include <functional>

namespace csv {
namespace {
/// What is in a field of a record; empty for a log that does not hold it.
using Value = std::function<double(size_t record)>;

Value Measured(const Log &log, const char *name, double scale = 1)
{
    const std::vector<double> &values = log.Find(QLatin1String(name))->values;
    return [&values, scale](size_t record) { return scale * values[record]; };
}

struct Values
{
    Value current, voltage, capacity, temperature;
};

Values ValuesOf(const Log &log)
{
    constexpr double perMilliampereHour = 0.001;
    switch (log.kind) {
    case Log::Kind::Charge:
        return {Measured(log, "ICHRG"), Measured(log, "VBAT"), Measured(log, "CAPACITE", perMilliampereHour),
                Measured(log, "TEMPER")};
    case Log::Kind::Discharge:
        return {Measured(log, "ICHRG", -1), Measured(log, "VBAT"), Measured(log, "CAPACITE", -perMilliampereHour),
                Measured(log, "TEMPER")};
    case Log::Kind::Capacity:
        return {[&log, in = Measured(log, "ICHRG"), out = Measured(log, "IDECHRG", -1)](size_t record) {
                    return log.StepOf(record) == 1 ? out(record) : in(record);
                },
                Measured(log, "VBAT"),
                [in = Measured(log, "TOTALCHARGE", perMilliampereHour),
                 out = Measured(log, "TOTALDECHARGE", perMilliampereHour)](size_t record) {
                    return in(record)-out(record);
                },
                Measured(log, "TEMPER")};
    case Log::Kind::Monitor:
        break;
    }
    return {};
}
} // namespace

QByteArray Of(const Log &log)
{
    const Values values = ValuesOf(log);
    std::vector<Value> fields = {[&log](size_t record) { return log.seconds[record]; },
                                 [&log](size_t record) { return log.StepOf(record); },
                                 [](size_t) { return 1; },
                                 values.current,
                                 values.voltage,
                                 values.capacity,
                                 values.temperature};
    QByteArrayList head;
    for (const char *name : names)
        head.append(name);
    if (log.kind == Log::Kind::Monitor)
        for (const Log::Column &column : log.columns) {
            head.append(column.name.toUtf8());
            fields.emplace_back([&column](size_t record) { return column.values[record]; });
        }

    QByteArray text = head.join(',') + '\n';
    for (size_t record = 0; record < log.Records(); ++record) {
        char before = 0;
        for (const Value &field : fields) {
            if (before)
                text += before;
            if (field)
                text += number::Plain(field(record)).toLatin1();
            before = ',';
        }
        text += '\n';
    }
    return text;
}
} // namespace csv
