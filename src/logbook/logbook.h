// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "database.h"
#include "runentry.h"

#include <QFile>
#include <QObject>

#include <map>
#include <memory>
#include <vector>

/// The logbook: every run, and the packs that they were made with, in `voltaire.db` of the drive's folder. What enters
/// runs never throws and never waits: what the file does not take now is kept and tried again whenever there is
/// something else to enter or to read. What the user asks for throws DatabaseError. A damaged file is set aside under
/// another name, and a new one is begun.
class Logbook : public QObject
{
    Q_OBJECT

public:
    /// `driver` is Qt's name of what reads and writes the file.
    explicit Logbook(QString driver = QStringLiteral("QSQLITE"));
    /// What is not entered yet is tried a last time.
    ~Logbook() override;

    static QString Path();

    /// Enters a run, or what has become of one that is entered. While it is on, a lock says that its program lives.
    void Enter(const RunEntry &run);
    /// Closes the runs whose program has gone in their middle, with what their logs say; how many there were.
    int Repair();
    /// What keeps runs from being entered, or became of the file, in French; empty for nothing.
    QString Trouble() const;
    /// How many runs are not entered yet.
    size_t Waiting() const { return waiting_.size(); }

    /// The newest first.
    std::vector<RunEntry> Runs(const RunFilter &filter);
    /// Their ids, which are found much sooner than all that is known of them.
    QStringList Ids(const RunFilter &filter);
    /// Those of the ids that are there, in no order.
    std::vector<RunEntry> RunsOf(const QStringList &ids);
    /// The run that a log belongs to, by where it is or what it holds; nothing for an unknown log.
    std::optional<RunEntry> RunOfLog(const QString &log, const QString &digest);
    void SetPack(const QStringList &runs, const QString &pack);
    /// Out of the logbook; their logs stay.
    void RemoveRuns(const QStringList &runs);

    /// By name.
    std::vector<Pack> Packs();
    std::optional<Pack> FindPack(const QString &name);
    /// Makes a pack, or changes the one that is called `former`. Throws an Error when the name is taken or empty.
    void SavePack(const Pack &pack, const QString &former = {});
    /// Its runs stay, as those of no pack.
    void RemovePack(const QString &name);
    /// The pack's runs that tell of its state, the oldest first.
    std::vector<PackCycle> History(const QString &pack);
    /// The last run of that kind with the pack that ended by its rule.
    std::optional<LastTime> Last(RunNews::Kind kind, const QString &pack);

Q_SIGNALS:
    /// Runs or packs are others now.
    void Changed();
    void PackRenamed(const QString &former, const QString &name);
    void TroubleChanged();

private:
    template <class Work>
    auto Do(Work work) -> decltype(work());
    void Change(const std::function<void()> &work);
    void Flush();
    QSqlQuery Select(const QString &columns, const RunFilter &filter) const;
    void Write(const RunEntry &run);
    void SetAside();
    void Hold(const RunEntry &run);
    void SetTrouble(const QString &trouble);

    const QString driver_;
    Database database_{driver_};
    std::vector<RunEntry> waiting_;
    std::map<QString, std::unique_ptr<QFile>> held_; ///< by run, locked while it is on
    QString trouble_, setAside_;
};
