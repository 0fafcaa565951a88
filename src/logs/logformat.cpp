// SPDX-License-Identifier: GPL-3.0-or-later
#include "logformat.h"

#include "capacity/capacityfile.h"
#include "monitor/monitorlog.h"
#include "runs/runlog.h"

#include <QHash>
#include <QStringList>

namespace {
struct Meaning
{
    QString label;
    QString unit = {};
    double scale = 1;
};
using Meanings = QHash<QString, Meaning>;

const QString volt = QStringLiteral("V");
const QString ampere = QStringLiteral("A");
const QString degree = QStringLiteral("°C");
const QString milliampereHour = QStringLiteral("mAh");
constexpr double perAmpereSecond = 1 / 3.6; // in milliampere-hours

const Meanings &OfRuns()
{
    static const Meanings meanings{
        {QStringLiteral("DUREE"), {QStringLiteral("Durée"), QStringLiteral("s")}},
        {QStringLiteral("VALIMCAD"), {QStringLiteral("CAD alimentation")}},
        {QStringLiteral("VDBLCAD"), {QStringLiteral("CAD doubleur")}},
        {QStringLiteral("TEMPCAD"), {QStringLiteral("CAD température")}},
        {QStringLiteral("ICHRGCAD"), {QStringLiteral("CAD courant")}},
        {QStringLiteral("IDCHRGCAD"), {QStringLiteral("CAD courant")}},
        {QStringLiteral("VBATCAD"), {QStringLiteral("CAD batterie")}},
        {QStringLiteral("VDELTACAD"), {QStringLiteral("V Delta")}},
        {QStringLiteral("VDELTA"), {QStringLiteral("V Delta max.")}},
        {QStringLiteral("DVaverage"), {QStringLiteral("DV/DT moyen")}},
        {QStringLiteral("DVFLAG"), {QStringLiteral("DV/DT état")}},
        {QStringLiteral("CDVDT"), {QStringLiteral("DV/DT")}},
        {QStringLiteral("VALIM"), {QStringLiteral("V Alimentation"), volt}},
        {QStringLiteral("VDBL"), {QStringLiteral("V Doubleur"), volt}},
        {QStringLiteral("TEMPER"), {QStringLiteral("Température"), degree}},
        {QStringLiteral("ICHRG"), {QStringLiteral("Courant"), ampere}},
        {QStringLiteral("VBAT"), {QStringLiteral("V Batterie"), volt}},
        {QStringLiteral("CAPACITE"), {QStringLiteral("Capacité"), milliampereHour}},
        {QStringLiteral("TEMPS"), {QStringLiteral("Temps"), QStringLiteral("j")}},
    };
    return meanings;
}

/// The discharge keeps the battery's count under the name of the charge's delta.
Meanings OfDischarges()
{
    Meanings meanings = OfRuns();
    meanings[QStringLiteral("VDELTACAD")] = {QStringLiteral("CAD batterie")};
    return meanings;
}

Meanings OfCapacity()
{
    Meanings meanings = OfRuns();
    meanings[QStringLiteral("ICHRG")] = {QStringLiteral("Courant de charge"), ampere};
    meanings[QStringLiteral("IDECHRG")] = {QStringLiteral("Courant de décharge"), ampere};
    meanings[QStringLiteral("TOTALCHARGE")] = {QStringLiteral("Capacité chargée"), milliampereHour, perAmpereSecond};
    meanings[QStringLiteral("TOTALDECHARGE")] = {QStringLiteral("Capacité déchargée"), milliampereHour,
                                                 perAmpereSecond};
    meanings[QStringLiteral("VUNIT")] = {QStringLiteral("V Unité"), volt};
    meanings[QStringLiteral("VDELTA")] = {QStringLiteral("V Delta")};
    meanings[QStringLiteral("RESISTANCE")] = {QStringLiteral("Résistance"), QStringLiteral("mΩ")};
    return meanings;
}

/// The words are the board's own; nobody says in which unit.
const Meanings &OfMonitor()
{
    static const Meanings meanings{
        {QStringLiteral("Temps"), {QStringLiteral("Temps"), QStringLiteral("s")}},
        {QStringLiteral("VBat"), {QStringLiteral("VBat (carte)")}},
        {QStringLiteral("Cour"), {QStringLiteral("Courant (carte)")}},
        {QStringLiteral("Temper"), {QStringLiteral("Température (carte)")}},
        {QStringLiteral("Vdelta"), {QStringLiteral("V Delta")}},
        {QStringLiteral("Resist"), {QStringLiteral("Résistance (carte)")}},
        {QStringLiteral("Capacité"), {QStringLiteral("Capacité (carte)")}},
        {QStringLiteral("Vmoy"), {QStringLiteral("Variation moyenne")}},
        {QStringLiteral("Maxidv"), {QStringLiteral("Variation max.")}},
    };
    return meanings;
}

LogFormat Make(Log::Kind kind, QStringList names, char separator, const Meanings &meanings)
{
    LogFormat format{kind, separator, 0, std::nullopt, {}, {}};
    for (const QString &name : names) {
        const Meaning meaning = meanings.value(name, {name});
        format.columns.push_back({name, meaning.label, meaning.unit, {}});
        format.scales.push_back(meaning.scale);
    }
    if (const qsizetype capacity = names.indexOf(QLatin1String("CAPACITE")); capacity >= 0)
        format.sum = {static_cast<size_t>(capacity), static_cast<size_t>(names.indexOf(QLatin1String("ICHRG")))};
    format.timeColumn = static_cast<size_t>(
        names.indexOf(kind == Log::Kind::Monitor ? QLatin1String("Temps") : QLatin1String("DUREE")));
    return format;
}

LogFormat MakeMonitor()
{
    QStringList names = MonitorLog::header.split(u',');
    names.removeOne(QStringLiteral("Prompt"));
    names.removeOne(QStringLiteral("="));
    return Make(Log::Kind::Monitor, names, ',', OfMonitor());
}
} // namespace

const LogFormat *LogFormat::OfHeader(const QByteArray &line)
{
    static const LogFormat charge = Make(Log::Kind::Charge, RunLog::chargeHeader.split(u':'), ':', OfRuns());
    static const LogFormat discharge =
        Make(Log::Kind::Discharge, RunLog::dischargeHeader.split(u':'), ':', OfDischarges());
    static const LogFormat capacity = Make(Log::Kind::Capacity, CapacityFile::header.split(u':'), ':', OfCapacity());
    static const LogFormat monitor = MakeMonitor();
    const QString text = QString::fromUtf8(line);
    if (text == RunLog::chargeHeader)
        return &charge;
    if (text == RunLog::dischargeHeader)
        return &discharge;
    if (text == CapacityFile::header)
        return &capacity;
    if (text == MonitorLog::header || QString::fromLatin1(line) == MonitorLog::header) // of before UTF-8
        return &monitor;
    return nullptr;
}
