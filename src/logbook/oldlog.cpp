// SPDX-License-Identifier: GPL-3.0-or-later
#include "oldlog.h"

#include "base/errors.h"
#include "capacity/capacityrules.h"
#include "logs/logfile.h"
#include "runs/chargerules.h"
#include "runs/dechargeur.h"
#include "runs/runnote.h"
#include "runs/runsum.h"

#include <QCryptographicHash>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>

namespace oldlog {
namespace {
const std::vector<double> &Column(const Log &log, const char *name)
{
    return log.Find(QLatin1String(name))->values;
}

/// The points of some step of a log.
struct Points
{
    Points(const Log &log, bool charging_)
        : charging(charging_)
        , volts(Column(log, "VBAT"))
        , amperes(Column(log, log.kind == Log::Kind::Capacity && !charging ? "IDECHRG" : "ICHRG"))
        , milliampereHours(Column(log, log.kind != Log::Kind::Capacity ? "CAPACITE"
                                       : charging                      ? "TOTALCHARGE"
                                                                       : "TOTALDECHARGE"))
        , temperature(Column(log, "TEMPER"))
        // A board that is not calibrated has none: the log says 0 all the time.
        , warm(std::ranges::any_of(temperature, [](double value) { return value != 0; }))
        , resistance(log.kind == Log::Kind::Capacity ? &Column(log, "RESISTANCE") : nullptr)
    {
    }
    RunPoint At(size_t record, double seconds) const
    {
        RunPoint point;
        point.seconds = seconds;
        point.volts = volts[record];
        point.amperes = charging ? amperes[record] : -amperes[record];
        point.milliampereHours = milliampereHours[record];
        if (warm)
            point.temperature = temperature[record];
        if (resistance)
            point.resistance = static_cast<int>((*resistance)[record]);
        return point;
    }

    bool charging;
    const std::vector<double> &volts, &amperes, &milliampereHours, &temperature;
    bool warm;
    const std::vector<double> *resistance;
};

RunSum SumOf(const Log &log)
{
    RunSum sum;
    for (size_t step = 0; step < log.steps.size(); ++step) {
        if (step > 0)
            sum.EndPhase();
        const bool last = step + 1 == log.steps.size();
        const Points points(log, log.kind == Log::Kind::Charge || step > 0);
        for (size_t record = log.steps[step]; record < (last ? log.Records() : log.steps[step + 1]); ++record)
            sum.Add(points.At(record, log.seconds[record]));
    }
    return sum;
}

/// Whether a log goes on to what its run was to come to.
bool HasItsEnd(const Log &log, int cells)
{
    switch (log.kind) {
    case Log::Kind::Charge:
        return Column(log, "VDELTACAD").back() < Column(log, "VDELTA").back() - DeltaPeak::fall;
    case Log::Kind::Discharge:
        return cells > 0 && Dechargeur::AtLimit(Column(log, "VBAT").back() / cells);
    case Log::Kind::Capacity:
        return log.ended;
    case Log::Kind::Monitor:
        break;
    }
    return false;
}

RunNews::Kind KindOf(Log::Kind kind)
{
    return kind == Log::Kind::Charge      ? RunNews::Kind::Charge
           : kind == Log::Kind::Discharge ? RunNews::Kind::Discharge
                                          : RunNews::Kind::Capacity;
}

/// When a run began, by the name of its log.
QDateTime NamedTime(const QString &path)
{
    static const QRegularExpression name(QStringLiteral(R"(_D(\d\d)_(\d\d)_(\d\d)T(\d\d)_(\d\d)$)"));
    const QRegularExpressionMatch match = name.match(QFileInfo(path).completeBaseName());
    if (!match.hasMatch())
        return {};
    const auto number = [&](int group) { return match.captured(group).toInt(); };
    constexpr int century = 2000;
    return {QDate(century + number(3), number(1), number(2)), QTime(number(4), number(5))};
}

/// What the note beside a log says last, without its time; empty when there is none.
QString NoteOf(const QString &log)
{
    constexpr qsizetype timeLength = 21; // "yyyy-MM-dd HH:mm:ss  "
    return log.isEmpty() ? QString() : runnote::LastLine(runnote::PathOf(log)).mid(timeLength);
}

/// How a run has ended, by the note beside its log.
void TakeNote(RunEntry &run)
{
    const QString stopped = QStringLiteral("Arret : ");
    const QString note = NoteOf(run.log);
    if (note.isEmpty())
        return;
    const bool byProgram = note.startsWith(stopped);
    run.end = byProgram ? RunEntry::End::Cause : RunEntry::End::Guard;
    run.why = byProgram ? note.mid(stopped.size()) : note;
}

/// What the log says is added to what is entered.
void AddLog(RunEntry &run)
{
    try {
        const LogFile file(run.log);
        run.figures = RunSum::Joined(run.figures, SumOf(file.Contents()).Figures());
        run.digest = Digest(run.log);
    } catch (const FileError &) {
        run.why += (run.why.isEmpty() ? QString() : QStringLiteral(" ; ")) + QStringLiteral("journal introuvable");
    }
}
} // namespace

RunEntry Read(const QString &path, int cells)
{
    const LogFile file(path);
    const Log &log = file.Contents();
    if (log.kind == Log::Kind::Monitor)
        throw FileError(path, QStringLiteral("c'est un journal du moniteur, qui n'est pas un travail du programme"));
    if (log.Records() == 0)
        throw FileError(path, QStringLiteral("il ne contient aucune mesure"));
    RunSum sum = SumOf(log);
    RunEntry run;
    run.id = RunEntry::NewId();
    run.kind = KindOf(log.kind);
    run.log = file.Path();
    run.digest = Digest(run.log);
    run.end = RunEntry::End::Unknown;
    if (HasItsEnd(log, cells)) {
        sum.EndPhase();
        run.end = RunEntry::End::Rule;
    } else {
        TakeNote(run);
    }
    run.figures = sum.Figures();
    const QDateTime written = QFileInfo(run.log).lastModified();
    const auto length = static_cast<qint64>(run.figures.seconds);
    run.began = NamedTime(run.log);
    if (!run.began.isValid())
        run.began = written.addSecs(-length);
    run.ended = run.began.addSecs(length);
    return run;
}

void CloseCut(RunEntry &run)
{
    run.end = RunEntry::End::Cut;
    run.why = NoteOf(run.log);
    if (!run.log.isEmpty())
        AddLog(run);
    const QDateTime written = QFileInfo(run.log).lastModified();
    run.ended = written.isValid() && written > run.began ? written
                                                         : run.began.addSecs(static_cast<qint64>(run.figures.seconds));
}

QString Digest(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha1);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly) || !hash.addData(&file))
        return {};
    return QString::fromLatin1(hash.result().toHex());
}
} // namespace oldlog
