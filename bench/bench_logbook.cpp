// SPDX-License-Identifier: GPL-3.0-or-later
// What the logbook costs: listing and filtering ten thousand runs, against a plain select of the same rows, entering a
// run, and how long one that finds the file locked is held up.

#include "base/drive.h"
#include "logbook/carnet.h"
#include "logbook/logbook.h"

#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlRecord>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {
constexpr int runs = 10000;
constexpr int packs = 20;
constexpr int repetitions = 15;

/// The middle and the worst of some repetitions, in milliseconds.
struct Times
{
    double middle, worst;
};
template <class F>
Times Measure(F work)
{
    std::vector<double> times;
    for (int i = 0; i < repetitions; ++i) {
        QElapsedTimer watch;
        watch.start();
        work(i);
        times.push_back(static_cast<double>(watch.nsecsElapsed()) / 1e6);
    }
    std::ranges::sort(times);
    return {times[repetitions / 2], times.back()};
}

QString PackName(int number)
{
    return QStringLiteral("Accu %1").arg(number % packs);
}

RunEntry Run(int number)
{
    RunEntry run;
    run.id = RunEntry::NewId();
    run.kind = static_cast<RunNews::Kind>(number % 3);
    run.began = QDateTime(QDate(2016, 1, 1), QTime(8, 0)).addSecs(qint64(number) * 30000);
    run.ended = run.began.addSecs(4345);
    run.end = RunEntry::End::Rule;
    run.figures = {1500, 1400, 10.5, 9.5, 4345, 41, 6.1, 8.7, 42, 1400};
    run.settings = QStringLiteral("6 éléments, 2 cycles");
    run.log = QStringLiteral("/home/jean/Voltaire/log/Capa_Bat_D03_02_26T10_00.txt");
    run.digest = QString(40, u'a');
    run.pack = PackName(number);
    return run;
}

/// All values of the rows, and nothing made of them.
size_t PlainSelect(const QSqlDatabase &database, const QString &where)
{
    QSqlQuery query(database);
    query.setForwardOnly(true);
    query.exec(QStringLiteral("SELECT runs.*, packs.name FROM runs LEFT JOIN packs ON packs.id = runs.pack %1"
                              " ORDER BY began DESC")
                   .arg(where));
    const int columns = query.record().count();
    size_t rows = 0;
    for (; query.next(); ++rows)
        for (int column = 0; column < columns; ++column)
            query.value(column);
    return rows;
}

/// A list as the window has it: which runs there are, and all that is known of those in sight.
size_t List(Logbook &book, const RunFilter &filter)
{
    constexpr int inSight = 40;
    const QStringList ids = book.Ids(filter);
    book.RunsOf(ids.mid(0, inSight));
    return static_cast<size_t>(ids.size());
}

void Compare(Logbook &book, const QSqlDatabase &database, const char *what, const RunFilter &filter,
             const QString &where)
{
    size_t rows = 0, plainRows = 0;
    const Times ours = Measure([&](int) { rows = List(book, filter); });
    const Times plain = Measure([&](int) { plainRows = PlainSelect(database, where); });
    std::printf("%-28s %6zu rows   %6.1f ms (worst %.1f)   plain select %6.1f ms   ratio %.1f%s\n", what, rows,
                ours.middle, ours.worst, plain.middle, ours.middle / plain.middle,
                rows == plainRows ? "" : "  ROWS DIFFER");
}
} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication app(argc, argv);
    const QTemporaryDir folder;
    drive::SetRoot(folder.path());
    drive::Prepare();
    Logbook book;
    QElapsedTimer watch;
    watch.start();
    for (int i = 0; i < runs; ++i)
        book.Enter(Run(i));
    std::printf("%-28s %.2f ms\n", "a run entered", static_cast<double>(watch.nsecsElapsed()) / 1e6 / runs);

    QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"));
    database.setDatabaseName(Logbook::Path());
    database.open();
    RunFilter ofPack, ofKind, ofYear;
    ofPack.pack = PackName(3);
    ofKind.kind = RunNews::Kind::Capacity;
    ofYear.from = QDate(2018, 1, 1);
    ofYear.to = QDate(2018, 12, 31);
    Compare(book, database, "all", {}, {});
    Compare(book, database, "of a pack", ofPack, QStringLiteral("WHERE packs.name = 'Accu 3'"));
    Compare(book, database, "of a kind", ofKind, QStringLiteral("WHERE kind = 'capacity'"));
    Compare(book, database, "of a year", ofYear,
            QStringLiteral("WHERE began >= '2018-01-01' AND began < '2019-01-01'"));

    Carnet carnet(book);
    carnet.Open();
    auto *choice = carnet.findChild<QComboBox *>(QStringLiteral("SelType"));
    const Times window = Measure([choice](int i) { choice->setCurrentIndex(i % 2 == 0 ? 1 : 0); });
    std::printf("%-28s %.1f ms (worst %.1f)\n", "the window's filter", window.middle, window.worst);

    QSqlQuery(QStringLiteral("BEGIN EXCLUSIVE"), database);
    const Times locked = Measure([&book](int) { book.Enter(Run(runs)); });
    std::printf("%-28s %.1f ms (worst %.1f)\n", "entered into a locked file", locked.middle, locked.worst);
    QSqlQuery(QStringLiteral("COMMIT"), database);
}
