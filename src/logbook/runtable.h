#pragma once

#include "runentry.h"

#include <QAbstractTableModel>

#include <vector>

/// The runs of the logbook: a row for each.
class RunTable : public QAbstractTableModel
{
    Q_OBJECT

public:
    using QAbstractTableModel::QAbstractTableModel;

    void Show(std::vector<RunEntry> runs);
    const std::vector<RunEntry> &Runs() const { return runs_; }

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

private:
    std::vector<RunEntry> runs_;
};
