// SPDX-License-Identifier: GPL-3.0-or-later
#include "logbook.h"

#include "base/clock.h"
#include "base/drive.h"
#include "base/filelock.h"
#include "oldlog.h"
#include "runs/runsum.h"

#include <QDir>
#include <QFileInfo>
#include <QUuid>

#include <algorithm>

namespace {
struct KindName
{
    RunNews::Kind kind;
    const char *name;
};
constexpr KindName kinds[] = {
    {RunNews::Kind::Charge, "charge"}, {RunNews::Kind::Discharge, "discharge"}, {RunNews::Kind::Capacity, "capacity"}};
struct EndName
{
    RunEntry::End end;
    const char *name;
};
constexpr EndName ends[] = {{RunEntry::End::On, "on"},       {RunEntry::End::Rule, "rule"},
                            {RunEntry::End::Stop, "stop"},   {RunEntry::End::Cause, "cause"},
                            {RunEntry::End::Guard, "guard"}, {RunEntry::End::Error, "error"},
                            {RunEntry::End::Left, "left"},   {RunEntry::End::Restart, "restart"},
                            {RunEntry::End::Cut, "cut"},     {RunEntry::End::Unknown, "unknown"}};

QString NameOf(RunNews::Kind kind)
{
    return QLatin1String(std::ranges::find(kinds, kind, &KindName::kind)->name);
}
QString NameOf(RunEntry::End end)
{
    return QLatin1String(std::ranges::find(ends, end, &EndName::end)->name);
}
RunNews::Kind KindOf(const QString &name)
{
    const auto *const found =
        std::ranges::find_if(kinds, [&](const KindName &one) { return name == QLatin1String(one.name); });
    return found == std::end(kinds) ? RunNews::Kind::Charge : found->kind;
}
RunEntry::End EndOf(const QString &name)
{
    const auto *const found =
        std::ranges::find_if(ends, [&](const EndName &one) { return name == QLatin1String(one.name); });
    return found == std::end(ends) ? RunEntry::End::Unknown : found->end;
}

// Times as the user's clock shows them; as text they are in their order.
QVariant Text(const QDateTime &time)
{
    return time.isValid() ? QVariant(time.toString(Qt::ISODate)) : QVariant();
}
QDateTime Time(const QVariant &text)
{
    return QDateTime::fromString(text.toString(), Qt::ISODate);
}

QVariant Value(const std::optional<double> &number)
{
    return number ? QVariant(*number) : QVariant();
}
std::optional<double> Number(const QVariant &value)
{
    return value.isNull() ? std::nullopt : std::optional(value.toDouble());
}

const QString runColumns =
    QStringLiteral("runs.id, kind, began, ended, how, why, mah_in, mah_out, wh_in, wh_out, seconds, temperature_max,"
                   " volts_min, volts_max, resistance, capacity, settings, log, digest, packs.name"
                   " FROM runs LEFT JOIN packs ON packs.id = runs.pack");

RunEntry RunOf(const QSqlQuery &row)
{
    int column = 0;
    const auto next = [&] { return row.value(column++); };
    RunEntry run;
    run.id = next().toString();
    run.kind = KindOf(next().toString());
    run.began = Time(next());
    run.ended = Time(next());
    run.end = EndOf(next().toString());
    run.why = next().toString();
    RunFigures &figures = run.figures;
    for (double *number : {&figures.milliampereHoursIn, &figures.milliampereHoursOut, &figures.wattHoursIn,
                           &figures.wattHoursOut, &figures.seconds})
        *number = next().toDouble();
    for (std::optional<double> *number : {&figures.highestTemperature, &figures.lowestVolts, &figures.highestVolts,
                                          &figures.resistance, &figures.capacity})
        *number = Number(next());
    for (QString *text : {&run.settings, &run.log, &run.digest, &run.pack})
        *text = next().toString();
    return run;
}

std::vector<RunEntry> ReadRuns(QSqlQuery rows)
{
    std::vector<RunEntry> runs;
    while (rows.next())
        runs.push_back(RunOf(rows));
    return runs;
}

const QString packOf = QStringLiteral("(SELECT id FROM packs WHERE name = ?)");

QString LockPath(const QString &run)
{
    return QDir(drive::Folder(QStringLiteral("temp"))).filePath(QStringLiteral("voltaire-carnet-") + run);
}

/// Whether the program that has begun a run lives; when it does not, its lock is gone then.
bool IsHeld(const QString &run)
{
    QFile lock(LockPath(run));
    if (!lock.open(QIODevice::ReadOnly))
        return false;
    if (!filelock::Take(lock))
        return true;
    lock.remove();
    return false;
}
} // namespace

QString RunEntry::NewId()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

Logbook::Logbook(QString driver) : driver_(std::move(driver))
{
}

Logbook::~Logbook()
{
    if (!waiting_.empty())
        Flush();
    for (const auto &[run, lock] : held_)
        lock->remove();
}

QString Logbook::Path()
{
    return QDir(drive::Root()).filePath(QStringLiteral("voltaire.db"));
}

// ---- the file

/// Does something with the open file. One that is found to be damaged is set aside, and it is done with a new one.
template <class Work>
auto Logbook::Do(Work work) -> decltype(work())
{
    try {
        QDir().mkpath(drive::Root());
        database_.Open(Path());
        return work();
    } catch (const DatabaseError &error) {
        if (error.What() != DatabaseError::Kind::Damaged)
            throw;
    }
    SetAside();
    database_.Open(Path());
    return work();
}

/// Another program may have done so already: what lies there now may be sound.
void Logbook::SetAside()
{
    database_.Close();
    if (Database::IsSound(Path(), driver_))
        return;
    const QString aside =
        Path() + QStringLiteral(".abime-") + Clock::Current().LocalTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    for (const QString &part : {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")})
        QFile::rename(Path() + part, aside + part);
    setAside_ = QStringLiteral("Le carnet était abîmé : il est mis de côté (%1), un neuf est commencé. "
                               "« voltaire --import JOURNAL… » y remet les journaux.")
                    .arg(QFileInfo(aside).fileName());
    Q_EMIT TroubleChanged();
}

/// What is done together for the user.
void Logbook::Change(const std::function<void()> &work)
{
    Do([&] { database_.Together(work); });
    Q_EMIT Changed();
}

QString Logbook::Trouble() const
{
    return trouble_.isEmpty() ? setAside_ : trouble_;
}

void Logbook::SetTrouble(const QString &trouble)
{
    if (std::exchange(trouble_, trouble) != trouble)
        Q_EMIT TroubleChanged();
}

// ---- entering

void Logbook::Enter(const RunEntry &run)
{
    Hold(run);
    const auto same = std::ranges::find(waiting_, run.id, &RunEntry::id);
    if (same != waiting_.end())
        *same = run;
    else
        waiting_.push_back(run);
    Flush();
}

/// The lock says only that the program lives: without it another one takes the run for cut, until its end is entered.
void Logbook::Hold(const RunEntry &run)
{
    const auto held = held_.find(run.id);
    if (run.end != RunEntry::End::On) {
        if (held != held_.end()) {
            held->second->remove();
            held_.erase(held);
        }
        return;
    }
    if (held != held_.end())
        return;
    auto lock = std::make_unique<QFile>(LockPath(run.id));
    if (lock->open(QIODevice::WriteOnly) && filelock::Take(*lock))
        held_.emplace(run.id, std::move(lock));
}

void Logbook::Flush()
{
    try {
        Do([this] {
            database_.Together([this] {
                for (const RunEntry &run : waiting_)
                    Write(run);
            });
        });
        waiting_.clear();
        SetTrouble({});
        Q_EMIT Changed();
    } catch (const DatabaseError &error) {
        SetTrouble(error.Text() + QStringLiteral(" ; travail pas encore inscrit"));
    }
}

void Logbook::Write(const RunEntry &run)
{
    static const QString statement = [] {
        const QStringList columns = {
            QStringLiteral("id"),        QStringLiteral("kind"),      QStringLiteral("began"),
            QStringLiteral("ended"),     QStringLiteral("how"),       QStringLiteral("why"),
            QStringLiteral("mah_in"),    QStringLiteral("mah_out"),   QStringLiteral("wh_in"),
            QStringLiteral("wh_out"),    QStringLiteral("seconds"),   QStringLiteral("temperature_max"),
            QStringLiteral("volts_min"), QStringLiteral("volts_max"), QStringLiteral("resistance"),
            QStringLiteral("capacity"),  QStringLiteral("settings"),  QStringLiteral("log"),
            QStringLiteral("digest"),    QStringLiteral("pack")};
        QStringList marks(columns.size() - 1, QStringLiteral("?"));
        marks.append(packOf);
        QStringList changes;
        for (const QString &column : columns)
            changes.append(QStringLiteral("%1 = excluded.%1").arg(column));
        return QStringLiteral("INSERT INTO runs (%1) VALUES (%2) ON CONFLICT (id) DO UPDATE SET %3")
            .arg(columns.join(u','), marks.join(u','), changes.join(u','));
    }();
    if (!run.pack.isEmpty())
        database_.Run(QStringLiteral("INSERT INTO packs (name) VALUES (?) ON CONFLICT DO NOTHING"), {run.pack});
    const RunFigures &figures = run.figures;
    database_.Run(statement, {run.id,
                              NameOf(run.kind),
                              Text(run.began),
                              Text(run.ended),
                              NameOf(run.end),
                              run.why,
                              figures.milliampereHoursIn,
                              figures.milliampereHoursOut,
                              figures.wattHoursIn,
                              figures.wattHoursOut,
                              figures.seconds,
                              Value(figures.highestTemperature),
                              Value(figures.lowestVolts),
                              Value(figures.highestVolts),
                              Value(figures.resistance),
                              Value(figures.capacity),
                              run.settings,
                              run.log,
                              run.digest,
                              run.pack});
}

int Logbook::Repair()
{
    if (!QFileInfo::exists(Path()))
        return 0;
    try {
        std::vector<RunEntry> cut = Do([this] {
            return ReadRuns(database_.Run(QStringLiteral("SELECT %1 WHERE ended IS NULL").arg(runColumns)));
        });
        std::erase_if(cut, [this](const RunEntry &run) { return held_.contains(run.id) || IsHeld(run.id); });
        for (RunEntry &run : cut) {
            oldlog::CloseCut(run);
            Enter(run);
        }
        return static_cast<int>(cut.size());
    } catch (const DatabaseError &error) {
        SetTrouble(error.Text());
        return 0;
    }
}

// ---- runs

QSqlQuery Logbook::Select(const QString &columns, const RunFilter &filter) const
{
    QStringList conditions;
    QVariantList values;
    const auto add = [&](const QString &condition, const QVariant &value) {
        conditions.append(condition);
        values.append(value);
    };
    if (filter.pack && filter.pack->isEmpty())
        conditions.append(QStringLiteral("runs.pack IS NULL"));
    else if (filter.pack)
        add(QStringLiteral("runs.pack = ") + packOf, *filter.pack);
    if (filter.kind)
        add(QStringLiteral("kind = ?"), NameOf(*filter.kind));
    if (filter.from.isValid())
        add(QStringLiteral("began >= ?"), filter.from.toString(Qt::ISODate));
    if (filter.to.isValid())
        add(QStringLiteral("began < ?"), filter.to.addDays(1).toString(Qt::ISODate));
    const QString where =
        conditions.isEmpty() ? QString() : QStringLiteral(" WHERE ") + conditions.join(QStringLiteral(" AND "));
    return database_.Run(QStringLiteral("SELECT %1%2 ORDER BY began DESC, runs.id").arg(columns, where), values);
}

std::vector<RunEntry> Logbook::Runs(const RunFilter &filter)
{
    if (!waiting_.empty())
        Flush();
    return Do([&] { return ReadRuns(Select(runColumns, filter)); });
}

QStringList Logbook::Ids(const RunFilter &filter)
{
    if (!waiting_.empty())
        Flush();
    return Do([&] {
        QSqlQuery row = Select(QStringLiteral("runs.id FROM runs"), filter);
        QStringList ids;
        while (row.next())
            ids.append(row.value(0).toString());
        return ids;
    });
}

std::vector<RunEntry> Logbook::RunsOf(const QStringList &ids)
{
    return Do([&] {
        std::vector<RunEntry> runs;
        QSqlQuery query = database_.Prepare(QStringLiteral("SELECT %1 WHERE runs.id = ?").arg(runColumns));
        for (const QString &id : ids) {
            Database::Run(query, {id});
            if (query.next())
                runs.push_back(RunOf(query));
        }
        return runs;
    });
}

std::optional<RunEntry> Logbook::RunOfLog(const QString &log, const QString &digest)
{
    return Do([&]() -> std::optional<RunEntry> {
        QSqlQuery row = database_.Run(
            QStringLiteral("SELECT %1 WHERE digest = ? OR log = ? AND coalesce(digest, '') = ''").arg(runColumns),
            {digest, log});
        return row.next() ? std::optional(RunOf(row)) : std::nullopt;
    });
}

void Logbook::SetPack(const QStringList &runs, const QString &pack)
{
    Change([&] {
        if (!pack.isEmpty())
            database_.Run(QStringLiteral("INSERT INTO packs (name) VALUES (?) ON CONFLICT DO NOTHING"), {pack});
        for (const QString &run : runs)
            database_.Run(QStringLiteral("UPDATE runs SET pack = %1 WHERE id = ?").arg(packOf), {pack, run});
    });
}

void Logbook::RemoveRuns(const QStringList &runs)
{
    Change([&] {
        for (const QString &run : runs)
            database_.Run(QStringLiteral("DELETE FROM runs WHERE id = ?"), {run});
    });
}

// ---- packs

std::vector<Pack> Logbook::Packs()
{
    return Do([this] {
        QSqlQuery row = database_.Run(QStringLiteral(
            "SELECT name, chemistry, cells, nominal, since, note FROM packs ORDER BY name COLLATE NOCASE"));
        std::vector<Pack> packs;
        while (row.next())
            packs.push_back({row.value(0).toString(), row.value(1).toString(), row.value(2).toInt(),
                             row.value(3).toInt(), QDate::fromString(row.value(4).toString(), Qt::ISODate),
                             row.value(5).toString()});
        return packs;
    });
}

std::optional<Pack> Logbook::FindPack(const QString &name)
{
    const std::vector<Pack> packs = Packs();
    const auto found = std::ranges::find(packs, name, &Pack::name);
    return found == packs.end() ? std::nullopt : std::optional(*found);
}

void Logbook::SavePack(const Pack &pack, const QString &former)
{
    if (pack.name.isEmpty())
        throw Error(QStringLiteral("Un accu a un nom."));
    if (pack.name != former && FindPack(pack.name))
        throw Error(QStringLiteral("Il y a déjà un accu « %1 ».").arg(pack.name));
    Change([&] {
        const QVariant since = pack.since.isValid() ? QVariant(pack.since.toString(Qt::ISODate)) : QVariant();
        if (former.isEmpty())
            database_.Run(QStringLiteral("INSERT INTO packs (name, chemistry, cells, nominal, since, note)"
                                         " VALUES (?, ?, ?, ?, ?, ?)"),
                          {pack.name, pack.chemistry, pack.cells, pack.nominal, since, pack.note});
        else
            database_.Run(QStringLiteral("UPDATE packs SET name = ?, chemistry = ?, cells = ?, nominal = ?, since = ?,"
                                         " note = ? WHERE name = ?"),
                          {pack.name, pack.chemistry, pack.cells, pack.nominal, since, pack.note, former});
    });
    if (!former.isEmpty() && pack.name != former)
        Q_EMIT PackRenamed(former, pack.name);
}

void Logbook::RemovePack(const QString &name)
{
    Change([&] { database_.Run(QStringLiteral("DELETE FROM packs WHERE name = ?"), {name}); });
}

std::vector<PackCycle> Logbook::History(const QString &pack)
{
    return Do([&] {
        QSqlQuery row =
            database_.Run(QStringLiteral("SELECT began, capacity, resistance FROM runs WHERE pack = %1"
                                         " AND (capacity IS NOT NULL OR resistance IS NOT NULL) ORDER BY began")
                              .arg(packOf),
                          {pack});
        std::vector<PackCycle> cycles;
        while (row.next())
            cycles.push_back({Time(row.value(0)), Number(row.value(1)), Number(row.value(2))});
        return cycles;
    });
}

std::optional<LastTime> Logbook::Last(RunNews::Kind kind, const QString &pack)
{
    return Do([&]() -> std::optional<LastTime> {
        QSqlQuery row = database_.Run(
            QStringLiteral("SELECT seconds, coalesce(capacity, mah_in) FROM runs WHERE pack = %1 AND kind = ?"
                           " AND how = 'rule' ORDER BY began DESC LIMIT 1")
                .arg(packOf),
            {pack, NameOf(kind)});
        return row.next() ? std::optional(LastTime{row.value(0).toDouble(), row.value(1).toDouble()}) : std::nullopt;
    });
}
