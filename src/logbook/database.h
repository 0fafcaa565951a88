// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/errors.h"

#include <QSqlQuery>
#include <QVariant>

#include <functional>

/// What the logbook's file refuses, in French.
class DatabaseError : public Error
{
public:
    enum class Kind
    {
        Busy,    ///< another program writes just then
        Damaged, ///< it is no database, or not a sound one
        Newer,   ///< a newer version of the program has made it
        Other
    };
    DatabaseError(Kind kind, const QString &text) : Error(text), kind_(kind) {}
    Kind What() const { return kind_; }

private:
    Kind kind_;
};

/// The logbook's file: SQLite with a write-ahead log, so that a program that dies in mid-write has written nothing. Two
/// programs may work on it; who finds it locked is told so within `patienceMs`. Everything throws DatabaseError.
class Database
{
public:
    static constexpr int version = 2; ///< of the schema, PRAGMA user_version
    static constexpr int patienceMs = 50;

    /// `driver` is Qt's name of what reads and writes the file.
    explicit Database(QString driver = QStringLiteral("QSQLITE")) : driver_(std::move(driver)) {}
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;
    ~Database() { Close(); }

    /// Opens the file, which is made when there is none, and brings an older schema up to date; nothing when it is
    /// open.
    void Open(const QString &path);
    void Close();

    QSqlQuery Run(const QString &statement, const QVariantList &values = {}) const;
    /// The same in two steps, for a statement that is run again and again.
    QSqlQuery Prepare(const QString &statement) const;
    static void Run(QSqlQuery &query, const QVariantList &values);
    /// All that `work` does, or nothing of it. Throws what `work` throws.
    void Together(const std::function<void()> &work) const;

    /// Whether a file that was found to be damaged is so from its beginning to its end, and not by a misunderstanding
    /// with another program.
    static bool IsSound(const QString &path, const QString &driver);

private:
    void Connect(const QString &path);
    void Migrate() const;

    QString driver_;
    QString connection_; ///< its name; empty while it is closed
};
