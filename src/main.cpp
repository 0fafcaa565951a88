// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "base/houserules.h"
#include "base/messages.h"
#include "base/timer.h"
#include "base/wholefile.h"
#include "capacity/unattended_capacity.h"
#include "guard/guardian.h"
#include "guard/runmark.h"
#include "help/helpmenu.h"
#include "link/ports.h"
#include "link/systemport.h"
#include "logbook/import.h"
#include "logs/csv.h"
#include "logs/logfile.h"
#include "runs/runnote.h"
#include "runs/unattendedrun.h"
#include "trace/explain.h"
#include "trace/tracedport.h"
#include "ui/main/portswitch.h"
#include "ui/main/wayout.h"
#include "viewer/courbes.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QTranslator>

#include <cmath>
#include <cstdio>
#include <memory>

namespace {
constexpr double demoTimeScale = 60;

// What may be asked for on the command line; --help says the same.
constexpr double mostTimeScale = 1000;
constexpr int mostCells = 100;
constexpr int mostCycles = 1000;
constexpr int mostEvery = 100000;

struct Options
{
    QString port;
    bool demo = false;
    std::optional<double> timeScale;
    QString run; ///< charge, discharge, capacity or nothing
    ChargeOrder charge;
    DischargeOrder discharge;
    CapacityOrder capacity;
    int every = 1;
    Limits limits;
    QString exportFrom, exportTo;
    QStringList view;
    QString logs;
    QString trace;
    QString explain;
    bool listPorts = false;
    QStringList import;
    QString pack; ///< of the run, or of the logs that are entered
};

[[noreturn]] void Refuse(const QString &why)
{
    std::fprintf(stderr, "voltaire : %s\nvoltaire --help donne les options.\n", qUtf8Printable(why));
    std::exit(2);
}

/// What was asked for cannot be done.
[[noreturn]] void GiveUp(const QString &why)
{
    std::fprintf(stderr, "voltaire : %s\n", qUtf8Printable(why));
    std::exit(1);
}

[[noreturn]] void RefuseValue(const QCommandLineParser &parser, const QString &option, const QString &allowed)
{
    Refuse(QStringLiteral("valeur incorrecte pour --%1 : %2 (il faut %3)").arg(option, parser.value(option), allowed));
}

/// A current; how much the board can set is known once it is connected.
double AmperesOf(const QCommandLineParser &parser, const QString &option)
{
    bool isNumber = false;
    const double value = parser.value(option).toDouble(&isNumber);
    if (!isNumber || !std::isfinite(value) || value < 0)
        RefuseValue(parser, option, QStringLiteral("un nombre d'ampères, 0 ou plus"));
    return value;
}

double TimeScaleOf(const QCommandLineParser &parser, const QString &option)
{
    bool isNumber = false;
    const double value = parser.value(option).toDouble(&isNumber);
    if (!isNumber || !(value >= 1 && value <= mostTimeScale))
        RefuseValue(parser, option, QStringLiteral("un nombre de 1 à %1").arg(mostTimeScale));
    return value;
}

int WholeOf(const QCommandLineParser &parser, const QString &option, int least, int most)
{
    bool isWhole = false;
    const int value = parser.value(option).toInt(&isWhole);
    if (!isWhole || value < least || value > most)
        RefuseValue(parser, option, QStringLiteral("un nombre entier de %1 à %2").arg(least).arg(most));
    return value;
}

/// Of the program, and of all its windows.
QIcon Icon()
{
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 128, 256})
        icon.addFile(QStringLiteral(":/voltaire/%1").arg(size));
    return icon;
}

[[noreturn]] void Help()
{
    std::puts(R"(Usage : voltaire [options]
Programme de commande du chargeur et déchargeur rapide de batteries.

  --port NOM         port série de la carte : nom (COM1, ttyUSB0) ou chemin ;
                     sans cette option, celui que le menu « Port » a gardé (pas
                     avec --run), ou le port 1 de la machine
  --list-ports       les ports de la machine, un par ligne : nom, description
                     et numéro de série, séparés par des tabulations
  --devices DOSSIER  dossier qui tient lieu de « /dev »
  --demo             démarre la carte virtuelle et s'y connecte, en temps
                     accéléré 60 fois si --time-scale n'est pas donné
  --time-scale N     toutes les temporisations N fois plus rapides (1 à 1000)
  --drive-c DOSSIER  dossier qui tient lieu de « C:\ » (~/Voltaire)
  --run MODE         fait un travail sans intervention : une ligne par mesure
                     sur la sortie standard, sans écran s'il le faut
    --every N        une ligne toutes les N mesures seulement (1 à 100000)
    --max-temperature N  arrêt à N °C (20 à 100, 60 sinon)
    --max-minutes N      arrêt après N minutes (1 à 9999, sans limite sinon)
    --max-mah N          arrêt à N mAh (1 à 99999, sans limite sinon)
                     pour une mesure de capacité, durée et mAh valent pour
                     chaque charge et chaque décharge
    --pack NOM       l'accu du travail, pour le carnet
  --run charge       une charge rapide
    --current A      courant de charge en ampères, de 0 à ce que permet
                     l'étalonnage de la carte ; sans cette option, celui qui
                     est déjà réglé sur la carte
    --mode N         le « MODE » de la fenêtre de charge (0 à 255, 0 sinon)
  --run discharge    une décharge ; il faut :
    --cells N        nombre d'éléments (1 à 100)
    --current A      courant de décharge en ampères, de 0 à ce que permet
                     l'étalonnage de la carte
  --run capacity     une mesure de capacité ; il faut :
    --cells N        nombre d'éléments (1 à 100)
    --charge A       courant de charge en ampères, de même
    --discharge A    courant de décharge en ampères, de même
    --cycles N       nombre de cycles (1 à 1000, 1 sinon)
  --view JOURNAL...  montre des journaux, l'un sur l'autre ; sans carte
  --export JOURNAL -o FICHIER
                     écrit un journal en CSV (point décimal, colonnes Time [s],
                     Step, Cycle, Current [A], Voltage [V], Capacity [Ah] et
                     Temperature [C]) ; ni carte ni écran
  --logs DOSSIER     dossier des journaux de charge et de décharge, créé s'il le
                     faut (le dossier courant)
  --trace FICHIER    garde la trace de tous les octets de la liaison : FICHIER,
                     et ce qui précède dans FICHIER.1 à FICHIER.4
  --explain TRACE    écrit une trace et ce que ses octets veulent dire
  --import JOURNAL...
                     inscrit d'anciens journaux dans le carnet, chacun une fois ;
                     ni carte ni écran
    --pack NOM       l'accu de ces journaux
  --help             ce texte
  --version          la version

Code de sortie :
  0    le travail s'est terminé de lui-même
  1    une erreur l'a terminé, ou empêché de commencer
  2    une option est incorrecte
  3    une limite, ou une autre cause, l'a arrêté
  4    la carte n'a pas confirmé en dix secondes que tout est coupé : elle charge
       ou décharge peut-être encore
  128 et le numéro du signal (130 pour Ctrl-C) : un signal a terminé le programme,
       qui a d'abord arrêté ce qui était en marche)");
    std::exit(0);
}

/// Refuses the options of a run that this one does not have.
void AllowOnly(const QCommandLineParser &parser, const QStringList &allowed, const QString &why)
{
    for (const char *name : {"current", "mode", "cells", "charge", "discharge", "cycles", "every", "max-temperature",
                             "max-minutes", "max-mah", "pack"}) {
        const QString option = QString::fromLatin1(name);
        if (parser.isSet(option) && !allowed.contains(option))
            Refuse(QStringLiteral("--%1 %2").arg(option, why));
    }
}

void Demand(const QCommandLineParser &parser, const QStringList &options)
{
    for (const QString &option : options)
        if (!parser.isSet(option))
            Refuse(QStringLiteral("--run %1 demande --%2").arg(parser.value(QStringLiteral("run")), option));
}

/// What a run may reach at most, within the range that the window has for it.
std::optional<int> LimitOf(const QCommandLineParser &parser, const QString &option, const Limits::Range &range)
{
    if (!parser.isSet(option))
        return std::nullopt;
    return WholeOf(parser, option, range.least, range.most);
}

void ReadRun(const QCommandLineParser &parser, Options &options)
{
    const QString current = QStringLiteral("current");
    const QString mode = QStringLiteral("mode");
    const QString cells = QStringLiteral("cells");
    const QString charge = QStringLiteral("charge");
    const QString discharge = QStringLiteral("discharge");
    const QString cycles = QStringLiteral("cycles");
    const QString every = QStringLiteral("every");
    const QString maxTemperature = QStringLiteral("max-temperature");
    const QString maxMinutes = QStringLiteral("max-minutes");
    const QString maxMah = QStringLiteral("max-mah");
    const QStringList ofAll = {every, maxTemperature, maxMinutes, maxMah, QStringLiteral("pack")};
    const QString why = QStringLiteral("ne va pas avec --run %1").arg(options.run);
    if (parser.isSet(every))
        options.every = WholeOf(parser, every, 1, mostEvery);
    options.limits = {LimitOf(parser, maxTemperature, Limits::temperatures).value_or(Limits::temperatures.usual),
                      LimitOf(parser, maxMinutes, Limits::durations), LimitOf(parser, maxMah, Limits::capacities)};
    if (options.run == charge) {
        AllowOnly(parser, ofAll + QStringList{current, mode}, why);
        if (parser.isSet(current))
            options.charge.amperes = AmperesOf(parser, current);
        if (parser.isSet(mode))
            options.charge.mode = WholeOf(parser, mode, 0, 255);
    } else if (options.run == discharge) {
        AllowOnly(parser, ofAll + QStringList{cells, current}, why);
        Demand(parser, {cells, current});
        options.discharge = {WholeOf(parser, cells, 1, mostCells), AmperesOf(parser, current)};
    } else if (options.run == QLatin1String("capacity")) {
        AllowOnly(parser, ofAll + QStringList{cells, charge, discharge, cycles}, why);
        Demand(parser, {cells, charge, discharge});
        options.capacity = {WholeOf(parser, cells, 1, mostCells),
                            parser.isSet(cycles) ? WholeOf(parser, cycles, 1, mostCycles) : 1,
                            AmperesOf(parser, charge), AmperesOf(parser, discharge)};
    } else {
        Refuse(QStringLiteral("--run ne connaît pas « %1 »").arg(options.run));
    }
}

/// The window and the driver of an unattended run.
struct UnattendedWork
{
    Window *window = nullptr;
    std::unique_ptr<Unattended> driver;
};

UnattendedWork WorkOf(const Options &options, Main &main)
{
    const Codebas &link = main.Link();
    if (options.run == QLatin1String("charge"))
        return {&main.ChargeWindow(),
                std::make_unique<UnattendedCharge>(link, main.ChargeWindow(), options.charge, options.every)};
    if (options.run == QLatin1String("discharge"))
        return {&main.DischargeWindow(),
                std::make_unique<UnattendedDischarge>(link, main.DischargeWindow(), options.discharge, options.every)};
    return {&main.CapacityWindow(),
            std::make_unique<UnattendedCapacity>(link, main.CapacityWindow(), options.capacity, options.every)};
}

/// An unattended run shows its windows where it can, and does without a display that is not there.
void DoWithoutDisplay()
{
    QByteArray platforms = qgetenv("QT_QPA_PLATFORM");
    if (platforms.isEmpty() && qEnvironmentVariableIsSet("DISPLAY"))
        platforms = "xcb";
    else if (platforms.isEmpty() && qEnvironmentVariableIsSet("WAYLAND_DISPLAY"))
        platforms = "wayland";
    qputenv("QT_QPA_PLATFORM", platforms + ";offscreen"); // tried in this order
}

/// A program of before may have ended without ending what it had switched on.
void TellOfFormerRuns(Main &window)
{
    for (const RunMark::Found &found : RunMark::TakeFound()) {
        if (found.port == window.SerialPort().PortName())
            window.SuspectUnwatched();
        if (found.note.isEmpty())
            continue; // its user has left it on
        const QString last = runnote::LastLine(found.note);
        messages::Show(
            &window, QMessageBox::Warning, QApplication::applicationName(),
            QStringLiteral("La dernière fois, le programme s'est terminé sans arrêter ce qu'il avait mis en "
                           "marche sur %1.\n%2")
                .arg(found.port, last.isEmpty() ? QStringLiteral("La surveillance de secours n'en dit rien.") : last));
    }
}

/// The port itself without a path for a trace.
std::unique_ptr<Port> Traced(std::unique_ptr<Port> port, const QString &path)
{
    if (path.isEmpty())
        return port;
    try {
        return std::make_unique<TracedPort>(std::move(port), std::make_unique<TraceFile>(path));
    } catch (const FileError &error) {
        GiveUp(error.Text());
    }
}

/// The folder of the logs is the current one.
void GoTo(const QString &folder)
{
    if (!QDir().mkpath(folder) || !QDir::setCurrent(folder))
        GiveUp(QStringLiteral("le dossier %1 ne peut pas être créé").arg(folder));
}

/// The viewer alone; the exit status.
int View(const QStringList &logs)
{
    Kept<Courbes> viewer;
    QApplication::setQuitOnLastWindowClosed(true);
    viewer.Open();
    viewer.OpenLogs(logs);
    return QApplication::exec();
}

/// The exit status.
int ListPorts()
{
    const auto found = ports::List();
    for (const ports::Found &port : found)
        std::puts(qUtf8Printable(QStringList({port.name, port.description, port.serial}).join(u'\t')));
    if (found.empty())
        std::fputs("voltaire : aucun port série\n", stderr);
    return 0;
}

/// The exit status.
int PrintExplained(const QString &trace)
{
    try {
        Explain(trace, [](const QByteArray &line) { std::fputs(line.constData(), stdout); });
        return 0;
    } catch (const FileError &error) {
        std::fflush(stdout);
        GiveUp(error.Text());
    }
}

/// The exit status.
int Export(const Options &options)
{
    try {
        const LogFile log(options.exportFrom);
        if (log.Unreadable() > 0)
            std::fprintf(stderr, "voltaire : %zu lignes illisibles\n", log.Unreadable());
        wholefile::Replace(options.exportTo, csv::Of(log.Contents()));
        return 0;
    } catch (const FileError &error) {
        std::fprintf(stderr, "voltaire : %s\n", qUtf8Printable(error.Text()));
        return 1;
    }
}

/// The exit status.
int Import(const Options &options)
{
    try {
        drive::Prepare();
    } catch (const FileError &error) {
        std::fprintf(stderr, "voltaire : %s\n", qUtf8Printable(error.Text()));
        return 1;
    }
    Logbook book;
    return ImportLogs(book, options.import, options.pack) ? 0 : 1;
}

/// A name of a pack, as the windows take it.
QString PackOf(const QCommandLineParser &parser)
{
    const QString pack = QStringLiteral("pack");
    const QString name = parser.value(pack).trimmed();
    if (parser.isSet(pack) && (name.isEmpty() || name.size() > PackBox::longestName))
        RefuseValue(parser, pack, QStringLiteral("un nom de 1 à %1 lettres").arg(PackBox::longestName));
    return name;
}

Options Read(const QStringList &arguments)
{
    QCommandLineParser parser;
    for (const char *flag : {"demo", "list-ports", "help", "version"})
        parser.addOption(QCommandLineOption(QString::fromLatin1(flag)));
    for (const char *valued :
         {"port",        "devices", "time-scale", "drive-c", "logs",      "trace",  "explain", "run",
          "current",     "mode",    "cells",      "charge",  "discharge", "cycles", "every",   "max-temperature",
          "max-minutes", "max-mah", "export",     "o",       "view",      "import", "pack"})
        parser.addOption({QString::fromLatin1(valued), QString(), QStringLiteral("valeur")});
    if (!parser.parse(arguments)) {
        const QStringList unknown = parser.unknownOptionNames();
        Refuse(unknown.isEmpty() ? QStringLiteral("il manque une valeur après une option")
                                 : QStringLiteral("option inconnue : %1").arg(unknown.join(u' ')));
    }
    const QString view = QStringLiteral("view");
    const QString import = QStringLiteral("import");
    if (!parser.positionalArguments().isEmpty() && !parser.isSet(view) && !parser.isSet(import))
        Refuse(QStringLiteral("argument inattendu : %1").arg(parser.positionalArguments().join(u' ')));
    if (parser.isSet(QStringLiteral("help")))
        Help();
    if (parser.isSet(QStringLiteral("version"))) {
        std::puts("voltaire " VOLTAIRE_VERSION);
        std::exit(0);
    }

    Options options;
    options.port = parser.value(QStringLiteral("port"));
    if (options.port.contains(u'/'))
        options.port = QFileInfo(options.port).absoluteFilePath();
    options.demo = parser.isSet(QStringLiteral("demo"));
    if (options.demo && !options.port.isEmpty())
        Refuse(QStringLiteral("--demo et --port ne vont pas ensemble"));
    if (parser.isSet(QStringLiteral("time-scale")))
        options.timeScale = TimeScaleOf(parser, QStringLiteral("time-scale"));
    if (parser.isSet(QStringLiteral("drive-c")))
        drive::SetRoot(QFileInfo(parser.value(QStringLiteral("drive-c"))).absoluteFilePath());

    const QString exporting = QStringLiteral("export");
    const QString to = QStringLiteral("o");
    if (parser.isSet(exporting) != parser.isSet(to))
        Refuse(QStringLiteral("--export et -o vont ensemble"));
    options.exportFrom = parser.value(exporting);
    options.exportTo = parser.value(to);
    if (parser.isSet(view) && parser.isSet(QStringLiteral("run")))
        Refuse(QStringLiteral("--view et --run ne vont pas ensemble"));
    options.logs = parser.value(QStringLiteral("logs"));
    if (!options.logs.isEmpty())
        options.logs = QFileInfo(options.logs).absoluteFilePath();
    options.trace = parser.value(QStringLiteral("trace"));
    options.explain = parser.value(QStringLiteral("explain"));
    options.listPorts = parser.isSet(QStringLiteral("list-ports"));
    for (const QString &withoutBoard : {view, exporting, QStringLiteral("explain"), QStringLiteral("list-ports")})
        if (parser.isSet(withoutBoard) && parser.isSet(QStringLiteral("trace")))
            Refuse(QStringLiteral("--%1 et --trace ne vont pas ensemble").arg(withoutBoard));
    if (parser.isSet(QStringLiteral("devices")))
        ports::SetFolder(QFileInfo(parser.value(QStringLiteral("devices"))).absoluteFilePath());
    options.view = parser.values(view) + (parser.isSet(view) ? parser.positionalArguments() : QStringList());

    for (const QString &other : {QStringLiteral("run"), view, exporting})
        if (parser.isSet(import) && parser.isSet(other))
            Refuse(QStringLiteral("--import et --%1 ne vont pas ensemble").arg(other));
    options.import = parser.values(import) + (parser.isSet(import) ? parser.positionalArguments() : QStringList());
    options.pack = PackOf(parser);

    options.run = parser.value(QStringLiteral("run"));
    if (parser.isSet(QStringLiteral("run")))
        ReadRun(parser, options);
    else if (parser.isSet(import))
        AllowOnly(parser, {QStringLiteral("pack")}, QStringLiteral("ne va pas avec --import"));
    else
        AllowOnly(parser, {}, QStringLiteral("ne va qu'avec --run"));
    return options;
}
} // namespace

int main(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const Options options = Read(arguments);
    if (!options.exportFrom.isEmpty())
        return Export(options);
    if (!options.explain.isEmpty())
        return PrintExplained(options.explain);
    if (options.listPorts)
        return ListPorts();
    if (!options.import.isEmpty()) {
        const QCoreApplication app(argc, argv); // which finds the database's driver
        return Import(options);
    }
    Timer::SetScale(options.timeScale.value_or(1));
    if (!options.run.isEmpty())
        DoWithoutDisplay();

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Voltaire"));
    QApplication::setWindowIcon(Icon());
    QApplication::setDesktopFileName(QStringLiteral("fr.voltaire.Voltaire"));
    QApplication::setQuitOnLastWindowClosed(false); // the main window's ways out end the program
    const HouseRules rules;
    QTranslator french;
    if (french.load(QStringLiteral("qtbase_fr"), QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QApplication::installTranslator(&french);
    if (!options.view.isEmpty())
        return View(options.view);

    auto device = std::make_unique<SystemPort>();
    const SystemPort &serial = *device;
    Main window(Traced(std::move(device), options.trace));
    if (!options.logs.isEmpty())
        GoTo(options.logs);
    Guardian guardian(window.Link(), [&serial] { return serial.Descriptor(); });
    QObject::connect(&guardian, &Guardian::Fired, &window, [&window] { window.StopRuns(Guardian::cause); });
    QObject::connect(&guardian, &Guardian::MissingChanged, &window, &Main::SetGuardMissing);
    WayOut wayOut(window);
    QObject::connect(&wayOut, &WayOut::Left, &app, &QCoreApplication::exit);
    UnattendedWork work;
    if (!options.run.isEmpty()) {
        messages::UseConsole([&wayOut] { wayOut.Take(WayOut::failed); });
        work = WorkOf(options, window);
        QObject::connect(
            &window.Link().handshake, &Handshake::Connected, work.driver.get(),
            [&] {
                window.OpenMode(*work.window);
                work.driver->SetLimits(options.limits);
                work.driver->SetPack(options.pack);
                work.driver->SetControls();
            },
            Qt::SingleShotConnection);
        QObject::connect(&window, &Main::ConnectionFailed, &wayOut, [&] {
            window.StopAll(QStringLiteral("le port ne s'ouvre pas"));
            wayOut.Take(WayOut::failed);
        });
        QObject::connect(&window.Book(), &Logbook::TroubleChanged, &window, [&window] {
            if (const QString trouble = window.Book().Trouble(); !trouble.isEmpty())
                messages::Show(&window, QMessageBox::Warning, QApplication::applicationName(), trouble);
        });
        QObject::connect(work.driver.get(), &Unattended::Over, &wayOut, &WayOut::Take);
        QObject::connect(work.driver.get(), &Unattended::Alarmed, &wayOut, &WayOut::TakeAfterAlarm);
    }
    try {
        drive::Prepare();
    } catch (const Error &error) {
        messages::Show(nullptr, QMessageBox::Warning, QApplication::applicationName(), error.Text());
        if (options.run == QLatin1String("capacity"))
            return 1; // in some hours there would be no place for its results
    }

    PortSwitch portSwitch(window, {options.timeScale.value_or(1), options.timeScale.value_or(demoTimeScale)});
    const HelpMenu helpMenu(window, QStringLiteral(VOLTAIRE_VERSION));
    window.Book().Repair();

    std::optional<RunMark> mark;
    const auto keepMark = [&mark, &window](bool isVirtual) {
        mark.reset();
        if (!isVirtual) // whose board ends with the program
            mark.emplace(window.Link());
    };
    keepMark(options.demo);
    QObject::connect(&portSwitch, &PortSwitch::VirtualChanged, &window, keepMark);
    QObject::connect(&portSwitch, &PortSwitch::Loaded, &window, [&window, &portSwitch] {
        if (!portSwitch.IsVirtual())
            TellOfFormerRuns(window); // in front of the window
    });
    const auto begin = [&portSwitch, &options] {
        if (options.demo)
            portSwitch.BeginVirtual();
        else if (options.port.isEmpty() && options.run.isEmpty())
            portSwitch.BeginRemembered();
        else
            portSwitch.Begin(options.port);
    };
    QMetaObject::invokeMethod(&portSwitch, begin, Qt::QueuedConnection);
    const int status = QApplication::exec();
    if (!options.logs.isEmpty() && options.run.isEmpty()) // a run ends with the name of its log
        std::printf("Les journaux sont dans %s\n", qUtf8Printable(options.logs));
    return status;
}
