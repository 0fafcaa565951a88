// SPDX-License-Identifier: GPL-3.0-or-later
#include "import.h"

#include "oldlog.h"
#include "runs/runwords.h"
#include "words.h"

#include <cstdio>

namespace {
QString Describe(const RunEntry &run)
{
    const RunFigures &figures = run.figures;
    return QStringLiteral("%1 du %2, %3, %4, %5")
        .arg(words::Kind(run.kind), run.began.toString(QStringLiteral("dd/MM/yyyy HH:mm")),
             runwords::Duration(figures.seconds),
             runwords::Capacity(run.kind == RunNews::Kind::Charge ? figures.milliampereHoursIn
                                                                  : figures.milliampereHoursOut),
             words::End(run));
}

void Import(Logbook &book, const QString &log, const QString &pack, int cells)
{
    RunEntry run = oldlog::Read(log, cells);
    run.pack = pack;
    const bool known = book.RunOfLog(run.log, run.digest).has_value();
    if (!known)
        book.Enter(run);
    if (book.Waiting() > 0)
        throw Error(book.Trouble());
    std::printf("%s : %s (%s)\n", qUtf8Printable(log), known ? "déjà dans le carnet" : "inscrit",
                qUtf8Printable(Describe(run)));
}
} // namespace

bool ImportLogs(Logbook &book, const QStringList &logs, const QString &pack)
{
    bool all = true;
    book.Repair();
    for (const QString &log : logs) {
        try {
            const std::optional<Pack> known = pack.isEmpty() ? std::nullopt : book.FindPack(pack);
            Import(book, log, pack, known ? known->cells : 0);
        } catch (const Error &error) {
            std::fprintf(stderr, "voltaire : %s\n", qUtf8Printable(error.Text()));
            all = false;
        }
    }
    return all;
}
