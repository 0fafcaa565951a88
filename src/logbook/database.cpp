// SPDX-License-Identifier: GPL-3.0-or-later
#include "database.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QUuid>

namespace {
// The results of SQLite that matter here.
constexpr int primary = 0xff; // what is above it only refines
constexpr int busy = 5;
constexpr int locked = 6;
constexpr int readOnly = 8;
constexpr int corrupt = 11;
constexpr int full = 13;
constexpr int cannotOpen = 14;
constexpr int notADatabase = 26;

/// What leads from one version to the next; a statement a string.
const QStringList migrations[Database::version] = {
    {
        QStringLiteral("CREATE TABLE packs (id INTEGER PRIMARY KEY, name TEXT NOT NULL UNIQUE,"
                       " chemistry TEXT NOT NULL DEFAULT '', cells INTEGER NOT NULL DEFAULT 0,"
                       " nominal INTEGER NOT NULL DEFAULT 0, since TEXT, note TEXT NOT NULL DEFAULT '')"),
        QStringLiteral("CREATE TABLE runs (id TEXT PRIMARY KEY, kind TEXT NOT NULL, began TEXT NOT NULL, ended TEXT,"
                       " how TEXT NOT NULL, why TEXT, mah_in REAL, mah_out REAL, wh_in REAL, wh_out REAL, seconds REAL,"
                       " temperature_max REAL, volts_min REAL, volts_max REAL, resistance REAL, settings TEXT,"
                       " log TEXT, pack INTEGER REFERENCES packs (id) ON DELETE SET NULL)"),
        QStringLiteral("CREATE INDEX runs_began ON runs (began)"),
    },
    {
        // Logs that were moved are known again, and a pack's history is found without all of its runs.
        QStringLiteral("ALTER TABLE runs ADD COLUMN digest TEXT"),
        QStringLiteral("ALTER TABLE runs ADD COLUMN capacity REAL"),
        QStringLiteral("UPDATE runs SET capacity = mah_out WHERE kind = 'discharge' AND how = 'rule'"),
        QStringLiteral("DROP INDEX runs_began"),
        QStringLiteral("CREATE INDEX runs_began ON runs (began, id)"), // a list needs no more
        QStringLiteral("CREATE INDEX runs_pack ON runs (pack, began, id)"),
        QStringLiteral("CREATE INDEX runs_digest ON runs (digest)"),
    },
};

[[noreturn]] void Refuse(const QSqlError &error)
{
    const int code = error.nativeErrorCode().toInt() & primary;
    const auto fail = [](DatabaseError::Kind kind, const QString &text) { throw DatabaseError(kind, text); };
    switch (code) {
    case busy:
    case locked:
        fail(DatabaseError::Kind::Busy, QStringLiteral("Carnet : le fichier est occupé par un autre programme"));
    case corrupt:
    case notADatabase:
        fail(DatabaseError::Kind::Damaged, QStringLiteral("Carnet : le fichier est abîmé"));
    case readOnly:
        fail(DatabaseError::Kind::Other, QStringLiteral("Carnet : le fichier est en lecture seule"));
    case full:
        fail(DatabaseError::Kind::Other, QStringLiteral("Carnet : le disque est plein"));
    case cannotOpen:
        fail(DatabaseError::Kind::Other, QStringLiteral("Carnet : le fichier ne s'ouvre pas"));
    default:
        fail(DatabaseError::Kind::Other, QStringLiteral("Carnet : %1").arg(error.text().trimmed()));
    }
    Q_UNREACHABLE();
}

int VersionOf(const Database &database)
{
    QSqlQuery query = database.Run(QStringLiteral("PRAGMA user_version"));
    return query.next() ? query.value(0).toInt() : 0;
}
} // namespace

void Database::Open(const QString &path)
{
    if (!connection_.isEmpty())
        return;
    Connect(path);
    try {
        if (VersionOf(*this) > version)
            throw DatabaseError(DatabaseError::Kind::Newer,
                                QStringLiteral("Carnet : il vient d'une version plus récente du programme"));
        Run(QStringLiteral("PRAGMA journal_mode = WAL"));
        Run(QStringLiteral("PRAGMA synchronous = NORMAL")); // the last runs may be lost with the power, nothing else
        Run(QStringLiteral("PRAGMA foreign_keys = ON"));
        Migrate();
    } catch (const DatabaseError &) {
        Close();
        throw;
    }
}

void Database::Connect(const QString &path)
{
    if (!QSqlDatabase::isDriverAvailable(driver_))
        throw DatabaseError(DatabaseError::Kind::Other,
                            QStringLiteral("Carnet : le module %1 manque (paquet libqt6sql6-sqlite)").arg(driver_));
    connection_ = QUuid::createUuid().toString();
    QSqlDatabase connection = QSqlDatabase::addDatabase(driver_, connection_);
    connection.setDatabaseName(path);
    connection.setConnectOptions(QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(patienceMs));
    if (connection.open())
        return;
    const QSqlError error = connection.lastError();
    connection = {};
    Close();
    Refuse(error);
}

void Database::Close()
{
    if (!connection_.isEmpty())
        QSqlDatabase::removeDatabase(std::exchange(connection_, {}));
}

/// Another program may just have done it.
void Database::Migrate() const
{
    if (VersionOf(*this) == version)
        return;
    Together([this] {
        for (int next = VersionOf(*this); next < version; ++next)
            for (const QString &statement : migrations[next])
                Run(statement);
        Run(QStringLiteral("PRAGMA user_version = %1").arg(version));
    });
}

QSqlQuery Database::Run(const QString &statement, const QVariantList &values) const
{
    QSqlQuery query = Prepare(statement);
    Run(query, values);
    return query;
}

QSqlQuery Database::Prepare(const QString &statement) const
{
    QSqlQuery query(QSqlDatabase::database(connection_, false));
    query.setForwardOnly(true);
    if (!query.prepare(statement))
        Refuse(query.lastError());
    return query;
}

void Database::Run(QSqlQuery &query, const QVariantList &values)
{
    for (int i = 0; i < values.size(); ++i) {
        const QVariant &value = values[i]; // a text that is null for Qt is an empty one
        const bool null = value.typeId() == QMetaType::QString && value.toString().isNull();
        query.bindValue(i, null ? QStringLiteral("") : value);
    }
    // A statement, no event loop: it waits for another program, and no longer than `patienceMs`.
    if (!query.exec())
        Refuse(query.lastError());
}

void Database::Together(const std::function<void()> &work) const
{
    Run(QStringLiteral("BEGIN IMMEDIATE"));
    try {
        work();
        Run(QStringLiteral("COMMIT"));
    } catch (const Error &) {
        try {
            Run(QStringLiteral("ROLLBACK"));
        } catch (const DatabaseError &) {
            // it was rolled back by itself
        }
        throw;
    }
}

bool Database::IsSound(const QString &path, const QString &driver)
{
    Database database(driver);
    try {
        database.Connect(path);
        QSqlQuery query = database.Run(QStringLiteral("PRAGMA quick_check(1)"));
        return query.next() && query.value(0).toString() == QLatin1String("ok");
    } catch (const DatabaseError &error) {
        return error.What() != DatabaseError::Kind::Damaged;
    }
}
