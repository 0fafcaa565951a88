// SPDX-License-Identifier: GPL-3.0-or-later
#include "chartrules.h"

using stream::Column;

void ChartRules::Restart()
{
    RecordIndex = 0;
    TenCount = 0;
    VbatSum = 0;
    CourSum = 0;
}

void ChartRules::BeginRecord()
{
    ++TenCount;
    ++RecordIndex;
}

void ChartRules::EndRecord()
{
    if (TenCount == 10)
        TenCount = 0;
}

void ChartRules::Take(const stream::Field &field, ChartTable &chart)
{
    const bool tenth = TenCount == 10;
    const auto mean = [](qint64 sum) { return static_cast<double>(sum) / 10; };
    switch (field.column) {
    case Column::Echantillon:
        if (tenth)
            chart.SetRowCount(ChartRow());
        break;
    case Column::VBat:
        VbatSum += field.value;
        if (tenth) {
            chart.SetCell(ChartRow(), 1, mean(VbatSum));
            VbatSum = 0;
        }
        break;
    case Column::Cour:
        CourSum += field.value;
        if (tenth && LastType == chargeType) {
            chart.SetCell(ChartRow(), 2, mean(CourSum));
            CourSum = 0;
        }
        break;
    case Column::Temper:
        if (tenth && LastType != chargeType)
            chart.SetCell(ChartRow(), 2, field.value);
        break;
    case Column::Capacite:
        if (tenth && LastType == chargeType)
            chart.SetCell(ChartRow(), 3, field.value);
        break;
    case Column::Type:
        LastType = field.value;
        LabelsSwitched = LabelsSwitched || LastType == chargeType;
        break;
    case Column::Vmoy:
        if (tenth && LastType != chargeType)
            chart.SetCell(ChartRow(), 3, field.value);
        break;
    default:
        break;
    }
}
