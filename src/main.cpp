#include "ui/main/main.h"
#include "base/drive.h"
#include "base/messages.h"
#include "base/timer.h"
#include "demo/demoboard.h"
#include "runs/unattended.h"

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
    bool charge = false;
    ChargeOrder order;
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
  --run charge       fait une charge sans intervention : une ligne par mesure
                     sur la sortie standard ; code de sortie 0 quand la charge
                     s'est terminée d'elle-même, 130 après Ctrl-C
    --current A      courant de charge en ampères ; sans cette option, celui
                     qui est déjà réglé sur la carte
    --mode N         le « MODE » de la fenêtre de charge (0 à 255, 0 sinon)
    --every N        une ligne toutes les N mesures seulement
  --help             ce texte
  --version          la version)");
    std::exit(0);
}

Options Read(const QStringList &arguments)
{
    QCommandLineParser parser;
    for (const char *flag : {"demo", "help", "version"})
        parser.addOption(QCommandLineOption(QString::fromLatin1(flag)));
    for (const char *valued : {"port", "time-scale", "drive-c", "run", "current", "mode", "every"})
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

    options.charge = parser.isSet(QStringLiteral("run"));
    if (options.charge && parser.value(QStringLiteral("run")) != QLatin1String("charge"))
        Refuse(QStringLiteral("--run ne connaît pas « %1 »").arg(parser.value(QStringLiteral("run"))));
    for (const QString &option : {QStringLiteral("current"), QStringLiteral("mode"), QStringLiteral("every")})
        if (!options.charge && parser.isSet(option))
            Refuse(QStringLiteral("--%1 ne va qu'avec --run").arg(option));
    if (parser.isSet(QStringLiteral("current")))
        options.order.amperes = NumberOf(parser, QStringLiteral("current"), 0);
    if (parser.isSet(QStringLiteral("mode")))
        options.order.mode = parser.value(QStringLiteral("mode"));
    if (parser.isSet(QStringLiteral("every")))
        options.order.every = static_cast<int>(std::min(1e9, NumberOf(parser, QStringLiteral("every"), 1)));
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
    if (options.charge) {
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

    Main window;
    window.Port().SetPortName(options.port);
    std::unique_ptr<UnattendedCharge> unattended;
    if (options.charge) {
        unattended = std::make_unique<UnattendedCharge>(window.Link(), window.ChargeWindow(), options.order);
        QObject::connect(&window.Link(), &Codebas::Connected, unattended.get(), [&] {
            window.OpenMode(window.ChargeWindow());
            unattended->Begin();
        });
        QObject::connect(&window, &Main::ConnectionFailed, unattended.get(), [] { QCoreApplication::exit(1); });
    }
    try {
        drive::Prepare();
    } catch (const Error &error) {
        messages::Show(nullptr, QMessageBox::Warning, QApplication::applicationName(), error.Text());
    }

    std::unique_ptr<DemoBoard> board;
    if (options.demo) {
        board = std::make_unique<DemoBoard>(options.timeScale);
        QObject::connect(board.get(), &DemoBoard::Ready, &window, [&window](const QString &port) {
            window.Port().SetPortName(port);
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
