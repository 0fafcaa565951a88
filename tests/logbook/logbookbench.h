// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/drive.h"
#include "logbook/logbook.h"

#include <QDir>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

/// A drive of its own, where the logbook lies.
struct Drive
{
    Drive()
    {
        drive::SetRoot(folder.path());
        drive::Prepare();
    }
    ~Drive() { drive::SetRoot(QString()); }

    QTemporaryDir folder;
};

/// Another program's connection to the logbook's file.
struct Stranger
{
    Stranger()
    {
        QSqlDatabase connection = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        connection.setDatabaseName(Logbook::Path());
        if (!connection.open())
            qFatal("no database");
    }
    ~Stranger() { QSqlDatabase::removeDatabase(name); }

    /// Does it, and gives the first value of the first row.
    QVariant Do(const QString &statement) const
    {
        QSqlQuery query(QSqlDatabase::database(name));
        if (!query.exec(statement))
            qFatal("%s", qUtf8Printable(statement));
        return query.next() ? query.value(0) : QVariant();
    }

    const QString name = QStringLiteral("stranger");
};

/// A run that began on that day of March; it is on unless it is told how it ended.
inline RunEntry SomeRun(int day, RunEntry::End end = RunEntry::End::On, RunNews::Kind kind = RunNews::Kind::Charge)
{
    RunEntry run;
    run.id = RunEntry::NewId();
    run.kind = kind;
    run.began = QDateTime(QDate(2026, 3, day), QTime(10, 0));
    run.end = end;
    if (end != RunEntry::End::On)
        run.ended = run.began.addSecs(3600);
    return run;
}

inline QByteArray BytesOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline void WriteBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
}
