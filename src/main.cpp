#include "ui/main/main.h"
#include "base/drive.h"
#include "base/messages.h"
#include "base/timer.h"
#include "capacity/unattended_capacity.h"
#include "demo/demoboard.h"
#include "link/systemport.h"
#include "runs/unattendedrun.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QTranslator>

#include <cstdio>
#include <memory>

namespace {
constexpr double demoTimeScale = 60;

struct Options
{
    QString port;
    bool demo = false;
    double timeScale = 1;
    QString run; ///< charge, discharge, capacity or nothing
    ChargeOrder charge;
    DischargeOrder discharge;
    CapacityOrder capacity;
    int every = 1;
    Limits limits;
};

[[noreturn]] void Refuse(const QString &why)
{
    std::fprintf(stderr, "voltaire : %s\nvoltaire --help donne les options.\n", qUtf8Printable(why));
    std::exit(2);
}

double NumberOf(const QCommandLineParser &parser, const QString &option, double least)
{
    bool isNumber = false;
    const double value = parser.value(option).toDouble(&isNumber);
    if (!isNumber || !(value >= least))
        Refuse(QStringLiteral("valeur incorrecte pour --%1 : %2").arg(option, parser.value(option)));
    return value;
}

[[noreturn]] void Help()
{
    std::puts(R"(Usage : voltaire [options]
Programme de commande du chargeur et déchargeur rapide de batteries.

  --port NOM         port série de la carte : nom (COM1, ttyUSB0) ou chemin ;
                     sans cette option, le port 1 de la machine
  --demo             démarre la carte virtuelle et s'y connecte, en temps
                     accéléré 60 fois si --time-scale n'est pas donné
  --time-scale N     toutes les temporisations N fois plus rapides (N >= 1)
  --drive-c DOSSIER  dossier qui tient lieu de « C:\ » (~/Voltaire)
  --run MODE         fait un travail sans intervention : une ligne par mesure
                     sur la sortie standard ; code de sortie 0 quand il s'est
                     terminé de lui-même, 1 après une erreur, 3 quand une
                     limite ou une autre cause l'a arrêté, 128 et le numéro
                     du signal (130 pour Ctrl-C) après un signal, qui presse
                     « Arret »
    --every N        une ligne toutes les N mesures seulement
    --max-temperature N  arrêt à N °C (20 à 100, 60 sinon)
    --max-minutes N      arrêt après N minutes (1 à 9999, sans limite sinon)
    --max-mah N          arrêt à N mAh (1 à 99999, sans limite sinon)
                     pour une mesure de capacité, durée et mAh valent pour
                     chaque charge et chaque décharge
  --run charge       une charge rapide
    --current A      courant de charge en ampères ; sans cette option, celui
                     qui est déjà réglé sur la carte
    --mode N         le « MODE » de la fenêtre de charge (0 à 255, 0 sinon)
  --run discharge    une décharge ; il faut :
    --cells N        nombre d'éléments
    --current A      courant de décharge en ampères
  --run capacity     une mesure de capacité ; il faut :
    --cells N        nombre d'éléments
    --charge A       courant de charge en ampères
    --discharge A    courant de décharge en ampères
    --cycles N       nombre de cycles (1 sinon)
  --help             ce texte
  --version          la version)");
    std::exit(0);
}

/// Refuses the options of a run that this one does not have.
void AllowOnly(const QCommandLineParser &parser, const QStringList &allowed, const QString &why)
{
    for (const char *name : {"current", "mode", "cells", "charge", "discharge", "cycles", "every", "max-temperature",
                             "max-minutes", "max-mah"}) {
        const QString option = QString::fromLatin1(name);
        if (parser.isSet(option) && !allowed.contains(option))
            Refuse(QStringLiteral("--%1 %2").arg(option, why));
    }
}

double Needed(const QCommandLineParser &parser, const QString &option, double least)
{
    if (!parser.isSet(option))
        Refuse(QStringLiteral("--run %1 demande --%2").arg(parser.value(QStringLiteral("run")), option));
    return NumberOf(parser, option, least);
}

int WholeOf(const QCommandLineParser &parser, const QString &option)
{
    return static_cast<int>(std::min(1e6, NumberOf(parser, option, 1)));
}

/// What a run may reach at most, within the range that the window has for it.
std::optional<int> LimitOf(const QCommandLineParser &parser, const QString &option, const Limits::Range &range)
{
    if (!parser.isSet(option))
        return std::nullopt;
    bool isWhole = false;
    const int limit = parser.value(option).toInt(&isWhole);
    if (!isWhole || limit < range.least || limit > range.most)
        Refuse(QStringLiteral("valeur incorrecte pour --%1 : %2 (un nombre entier de %3 à %4)")
                   .arg(option, parser.value(option))
                   .arg(range.least)
                   .arg(range.most));
    return limit;
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
    const QStringList ofAll = {every, maxTemperature, maxMinutes, maxMah};
    const QString why = QStringLiteral("ne va pas avec --run %1").arg(options.run);
    if (parser.isSet(every))
        options.every = WholeOf(parser, every);
    options.limits = {LimitOf(parser, maxTemperature, Limits::temperatures).value_or(Limits::temperatures.usual),
                      LimitOf(parser, maxMinutes, Limits::durations), LimitOf(parser, maxMah, Limits::capacities)};
    if (options.run == charge) {
        AllowOnly(parser, ofAll + QStringList{current, mode}, why);
        if (parser.isSet(current))
            options.charge.amperes = NumberOf(parser, current, 0);
        if (parser.isSet(mode))
            options.charge.mode = parser.value(mode);
    } else if (options.run == discharge) {
        AllowOnly(parser, ofAll + QStringList{cells, current}, why);
        Needed(parser, cells, 1);
        options.discharge = {WholeOf(parser, cells), Needed(parser, current, 0)};
    } else if (options.run == QLatin1String("capacity")) {
        AllowOnly(parser, ofAll + QStringList{cells, charge, discharge, cycles}, why);
        Needed(parser, cells, 1);
        options.capacity = {WholeOf(parser, cells), parser.isSet(cycles) ? WholeOf(parser, cycles) : 1,
                            Needed(parser, charge, 0), Needed(parser, discharge, 0)};
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

Options Read(const QStringList &arguments)
{
    QCommandLineParser parser;
    for (const char *flag : {"demo", "help", "version"})
        parser.addOption(QCommandLineOption(QString::fromLatin1(flag)));
    for (const char *valued : {"port", "time-scale", "drive-c", "run", "current", "mode", "cells", "charge",
                               "discharge", "cycles", "every", "max-temperature", "max-minutes", "max-mah"})
        parser.addOption({QString::fromLatin1(valued), QString(), QStringLiteral("valeur")});
    if (!parser.parse(arguments)) {
        const QStringList unknown = parser.unknownOptionNames();
        Refuse(unknown.isEmpty() ? QStringLiteral("il manque une valeur après une option")
                                 : QStringLiteral("option inconnue : %1").arg(unknown.join(u' ')));
    }
    if (!parser.positionalArguments().isEmpty())
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
    if (options.demo)
        options.timeScale = demoTimeScale;
    if (parser.isSet(QStringLiteral("time-scale")))
        options.timeScale = NumberOf(parser, QStringLiteral("time-scale"), 1);
    if (parser.isSet(QStringLiteral("drive-c")))
        drive::SetRoot(QFileInfo(parser.value(QStringLiteral("drive-c"))).absoluteFilePath());

    options.run = parser.value(QStringLiteral("run"));
    if (parser.isSet(QStringLiteral("run")))
        ReadRun(parser, options);
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
    Timer::SetScale(options.timeScale);
    if (!options.run.isEmpty()) {
        messages::UseConsole();
        const bool display = qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
        if (!display && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
    }

    QApplication app(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Voltaire"));
    QApplication::setQuitOnLastWindowClosed(false); // the main window's ways out end the program
    QTranslator french;
    if (french.load(QStringLiteral("qtbase_fr"), QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QApplication::installTranslator(&french);

    Main window(std::make_unique<SystemPort>());
    window.SerialPort().SetPortName(options.port);
    UnattendedWork work;
    if (!options.run.isEmpty()) {
        work = WorkOf(options, window);
        QObject::connect(
            &window.Link().handshake, &Handshake::Connected, work.driver.get(),
            [&] {
                window.OpenMode(*work.window);
                work.driver->SetLimits(options.limits);
                work.driver->SetControls();
            },
            Qt::SingleShotConnection);
        QObject::connect(&window, &Main::ConnectionFailed, work.driver.get(), [] { QCoreApplication::exit(1); });
    }
    try {
        drive::Prepare();
    } catch (const Error &error) {
        messages::Show(nullptr, QMessageBox::Warning, QApplication::applicationName(), error.Text());
    }

    std::unique_ptr<DemoBoard> board;
    if (options.demo) {
        window.SetNote(QStringLiteral("Démo × %1").arg(QString::number(options.timeScale)));
        board = std::make_unique<DemoBoard>(options.timeScale);
        QObject::connect(board.get(), &DemoBoard::Ready, &window, [&window](const QString &port) {
            window.SerialPort().SetPortName(port);
            window.Load();
        });
        QObject::connect(board.get(), &DemoBoard::Failed, &window, [](const QString &reason) {
            messages::ShowAndEnd(nullptr, QApplication::applicationName(), reason);
        });
    } else {
        QMetaObject::invokeMethod(&window, &Main::Load, Qt::QueuedConnection);
    }
    return QApplication::exec();
}
