// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtable.h"

#include "runs/runwords.h"
#include "words.h"

#include <QFileInfo>

#include <cmath>

namespace {
QString Rounded(const std::optional<double> &number, int decimals)
{
    return number ? QString::number(*number, 'f', decimals) : QString();
}

/// Nothing for none: what a charge has taken out is not worth a number.
QString Flowed(double number, int decimals)
{
    return number == 0 ? QString() : QString::number(number, 'f', decimals);
}

struct Column
{
    const char *head;
    QString (*text)(const RunEntry &run);
    bool number = false;
};

const Column columns[] = {
    {"Début", [](const RunEntry &run) { return run.began.toString(QStringLiteral("dd/MM/yyyy HH:mm")); }},
    {"Type", [](const RunEntry &run) { return words::Kind(run.kind); }},
    {"Accu", [](const RunEntry &run) { return run.pack; }},
    {"Durée", [](const RunEntry &run) { return runwords::Duration(run.figures.seconds); }, true},
    {"Chargé\nmAh", [](const RunEntry &run) { return Flowed(std::floor(run.figures.milliampereHoursIn), 0); }, true},
    {"Déchargé\nmAh", [](const RunEntry &run) { return Flowed(std::floor(run.figures.milliampereHoursOut), 0); }, true},
    {"Chargé\nWh", [](const RunEntry &run) { return Flowed(run.figures.wattHoursIn, 2); }, true},
    {"Déchargé\nWh", [](const RunEntry &run) { return Flowed(run.figures.wattHoursOut, 2); }, true},
    {"T max.\n°C", [](const RunEntry &run) { return Rounded(run.figures.highestTemperature, 0); }, true},
    {"V min.\nV", [](const RunEntry &run) { return Rounded(run.figures.lowestVolts, 2); }, true},
    {"V max.\nV", [](const RunEntry &run) { return Rounded(run.figures.highestVolts, 2); }, true},
    {"Résistance\nmΩ", [](const RunEntry &run) { return Rounded(run.figures.resistance, 0); }, true},
    {"Fin", [](const RunEntry &run) { return words::End(run); }},
    {"Réglages", [](const RunEntry &run) { return run.settings; }},
    {"Journal", [](const RunEntry &run) { return QFileInfo(run.log).fileName(); }},
};
constexpr int atOnce = 64; // rows that are read together
constexpr int logColumn = std::size(columns) - 1;
} // namespace

void RunTable::Show(const QStringList &ids)
{
    beginResetModel();
    ids_ = ids;
    read_.clear();
    endResetModel();
}

/// Those around it are read with it. Null when it cannot be read, or is gone.
const RunEntry *RunTable::RunAt(int row) const
{
    const QString &id = ids_[row];
    auto found = read_.find(id);
    if (found == read_.end()) {
        const QStringList around = ids_.mid(row - row % atOnce, atOnce);
        for (const QString &one : around)
            read_[one]; // whatever comes of it, it is asked for once
        try {
            for (RunEntry &run : book_.RunsOf(around))
                read_[run.id] = std::move(run);
        } catch (const DatabaseError &) {
            // the list says so when it is read the next time
        }
        found = read_.find(id);
    }
    return found->second.id.isEmpty() ? nullptr : &found->second;
}

int RunTable::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(ids_.size());
}

int RunTable::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(std::size(columns));
}

QVariant RunTable::data(const QModelIndex &index, int role) const
{
    const Column &column = columns[index.column()];
    if (role == Qt::TextAlignmentRole)
        return int((column.number ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter);
    if (role != Qt::DisplayRole && role != Qt::ToolTipRole)
        return {};
    const RunEntry *const run = RunAt(index.row());
    if (!run)
        return {};
    // The tool tip has what is cut off, and where the log is.
    return role == Qt::ToolTipRole && index.column() == logColumn ? run->log : column.text(*run);
}

QVariant RunTable::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return QString::fromUtf8(columns[section].head);
}
