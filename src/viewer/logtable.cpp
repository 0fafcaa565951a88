// SPDX-License-Identifier: GPL-3.0-or-later
#include "logtable.h"

#include "overlay.h"

void LogTable::Show(const Log *log)
{
    beginResetModel();
    log_ = log;
    rows_ = log ? static_cast<int>(log->Records()) : 0;
    columns_.clear();
    for (const bool usual : {true, false})
        for (size_t i = 0; log && i < log->columns.size(); ++i)
            if (Overlay::IsUsual(log->columns[i].label) == usual)
                columns_.push_back(&log->columns[i]);
    endResetModel();
}

void LogTable::Grow()
{
    const int rows = static_cast<int>(log_->Records());
    if (rows == rows_)
        return;
    beginInsertRows({}, rows_, rows - 1);
    rows_ = rows;
    endInsertRows();
}

int LogTable::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : rows_;
}

int LogTable::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() || !log_ ? 0 : 1 + static_cast<int>(columns_.size());
}

QVariant LogTable::data(const QModelIndex &index, int role) const
{
    if (role == Qt::TextAlignmentRole)
        return int(Qt::AlignRight | Qt::AlignVCenter);
    if (role != Qt::DisplayRole || !log_)
        return {};
    const auto row = static_cast<size_t>(index.row());
    const auto column = static_cast<size_t>(index.column());
    constexpr int digits = 7; // more is not measured
    return QString::number(column == 0 ? log_->seconds[row] : columns_[column - 1]->values[row], 'g', digits);
}

QVariant LogTable::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || !log_)
        return QAbstractTableModel::headerData(section, orientation, role);
    if (section == 0)
        return role == Qt::DisplayRole ? QVariant(QStringLiteral("Temps\ns")) : QVariant();
    const Log::Column &column = *columns_[static_cast<size_t>(section) - 1];
    if (role == Qt::DisplayRole)
        return QVariant(column.name + u'\n' + column.unit);
    return role == Qt::ToolTipRole ? QVariant(column.label) : QVariant();
}
