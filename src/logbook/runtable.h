// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "logbook.h"

#include <QAbstractTableModel>

#include <unordered_map>

/// The runs of the logbook: a row for each. What is known of them is read when somebody looks at them.
class RunTable : public QAbstractTableModel
{
    Q_OBJECT

public:
    explicit RunTable(Logbook &book) : book_(book) {}

    void Show(const QStringList &ids);
    /// By row.
    const QStringList &Ids() const { return ids_; }

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    const RunEntry *RunAt(int row) const;

    Logbook &book_;
    QStringList ids_;
    mutable std::unordered_map<QString, RunEntry> read_;
};
