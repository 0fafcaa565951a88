// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "logs/log.h"

#include <QAbstractTableModel>

/// The numbers of a log: a row for each record; the time since the run began, what people look at first, and then all
/// other columns of the log.
class LogTable : public QAbstractTableModel
{
    Q_OBJECT

public:
    using QAbstractTableModel::QAbstractTableModel;

    /// Shows a log from its beginning; null for none. It has to live as long as it is shown.
    void Show(const Log *log);
    /// The log that is shown has more records now.
    void Grow();

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    const Log *log_ = nullptr;
    std::vector<const Log::Column *> columns_; ///< behind the time
    int rows_ = 0;
};
