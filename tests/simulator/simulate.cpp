// SPDX-License-Identifier: GPL-3.0-or-later
// Lives through many stories of the whole program in simulated time, each from a seed: see --help.

#include "shrink.h"
#include "world.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>

#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace {
struct Options
{
    quint64 first = 1, last = 10;
    Order order;
    bool story = false;
    bool matrix = false;
    bool soak = false;
};

const QStringList windowNames{QStringLiteral("Chargeur"), QStringLiteral("Dechargeur"), QStringLiteral("MesCapa"),
                              QStringLiteral("Moni"),     QStringLiteral("FEtat"),      QStringLiteral("Reglage"),
                              QStringLiteral("Temper"),   QStringLiteral("Vfiltrage"),  QStringLiteral("Vout"),
                              QStringLiteral("Rcourant"), QStringLiteral("RglDech"),    QStringLiteral("RegLIPO"),
                              QStringLiteral("Micro"),    QStringLiteral("EEprom"),     QStringLiteral("Exteepr")};

[[noreturn]] void Usage(int status)
{
    std::fputs("simulate --seeds A-B --hours H [--only WINDOW] [--fault KIND] [--paint]\n"
               "simulate --seed N --hours H [...] --story   one story, whole\n"
               "simulate --soak --hours H [--paint]         runs one after the other, without faults, and memory\n"
               "simulate --matrix [--seeds A-B]             every window under every kind of fault, two minutes each\n"
               "KIND: none or one of ",
               stderr);
    std::fprintf(stderr, "%s\nWINDOW: one of %s\n", qUtf8Printable(World::FaultKinds().join(QStringLiteral(", "))),
                 qUtf8Printable(windowNames.join(QStringLiteral(", "))));
    std::exit(status);
}

Options Read(const QStringList &arguments)
{
    Options options;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString &option = arguments[i];
        if (option == QLatin1String("--story"))
            options.story = true;
        else if (option == QLatin1String("--matrix"))
            options.matrix = true;
        else if (option == QLatin1String("--soak"))
            options.soak = true;
        else if (option == QLatin1String("--paint"))
            options.order.paint = true;
        else if (option == QLatin1String("--help"))
            Usage(0);
        else if (i + 1 == arguments.size())
            Usage(2);
        else {
            const QString value = arguments[++i];
            bool good = true;
            if (option == QLatin1String("--seeds") || option == QLatin1String("--seed")) {
                const QStringList range = value.split(u'-');
                options.first = range.constFirst().toULongLong(&good);
                options.last = range.constLast().toULongLong();
                good = good && options.last >= options.first;
            } else if (option == QLatin1String("--hours")) {
                const double hours = value.toDouble(&good);
                options.order.length = Clock::Duration(static_cast<Clock::Duration::rep>(hours * 3.6e9));
                good = good && hours > 0 && hours < 1e6;
            } else if (option == QLatin1String("--only")) {
                options.order.window = value;
                good = windowNames.contains(value);
            } else if (option == QLatin1String("--fault")) {
                options.order.fault = value;
                good = value == QLatin1String("none") || World::FaultKinds().contains(value);
            } else
                good = false;
            if (!good)
                Usage(2);
        }
    }
    return options;
}

char current[64]; // what is being told, for whoever is called when it hangs

void Hangs(int)
{
    const char words[] = " does not get on: the program is in an endless loop\n";
    [[maybe_unused]] auto written = write(2, current, strlen(current));
    written = write(2, words, sizeof words - 1);
    std::abort();
}

Outcome Tell(const Order &order)
{
    std::snprintf(current, sizeof current, "seed %llu", static_cast<unsigned long long>(order.seed));
    alarm(300); // of real time: an event that posts itself stops all clocks
    World world(order);
    Outcome outcome = world.Explore();
    alarm(0);
    return outcome;
}

double Hours(Clock::Duration length)
{
    return static_cast<double>(length.count()) / 3.6e9;
}

/// What all stories have come to.
struct Sum
{
    Counts counts;
    Clock::Duration length{};
    long stories = 0;
    long violations = 0;

    void Add(const Outcome &outcome)
    {
        counts.Add(outcome.counts);
        length += outcome.length;
        ++stories;
        violations += outcome.violation ? 1 : 0;
    }

    void Print(double seconds) const
    {
        std::printf("stories            %12ld\nsimulated hours    %12.1f\nhours an hour      %12.0f\n"
                    "exchanges          %12ld\nrecords            %12ld\n",
                    stories, Hours(length), Hours(length) / (seconds / 3600), counts.exchanges, counts.records);
        QStringList kinds = counts.faults.keys();
        kinds.sort();
        for (const QString &kind : kinds)
            std::printf("fault %-12s %12ld\n", qUtf8Printable(kind), counts.faults[kind]);
        std::printf(
            "bytes invented     %12ld\nreadings believed  %12ld\nends garbled       %12ld\nviolations         %12ld\n",
            counts.inventions, counts.believed, counts.garbledEnds, violations);
    }
};

void Report(const Order &order, const Outcome &outcome)
{
    const Outcome shortest = Shrink(order, outcome);
    std::printf("\nseed %llu: %s: %s\nthe shortest story of it, %d of %d acts:\n%s\n\n",
                static_cast<unsigned long long>(order.seed), qUtf8Printable(outcome.violation->name),
                qUtf8Printable(outcome.violation->detail), static_cast<int>(shortest.acts.size()),
                static_cast<int>(outcome.acts.size()), qUtf8Printable(shortest.Text()));
    std::fflush(stdout);
}

int TellSeeds(const Options &options)
{
    Sum sum;
    QElapsedTimer real, sinceLine;
    real.start();
    sinceLine.start();
    for (quint64 seed = options.first; seed <= options.last; ++seed) {
        Order order = options.order;
        order.seed = seed;
        const Outcome outcome = Tell(order);
        sum.Add(outcome);
        if (outcome.violation)
            Report(order, outcome);
        if (sinceLine.elapsed() >= 1000) {
            std::printf("seed %llu, %.1f simulated hours, %ld violations\n", static_cast<unsigned long long>(seed),
                        Hours(sum.length), sum.violations);
            std::fflush(stdout);
            sinceLine.restart();
        }
    }
    sum.Print(static_cast<double>(real.elapsed()) / 1000);
    return sum.violations == 0 ? 0 : 1;
}

int TellMatrix(const Options &options)
{
    Sum sum;
    QElapsedTimer real;
    real.start();
    std::printf("| |");
    for (const QString &kind : World::FaultKinds())
        std::printf(" %s |", qUtf8Printable(kind));
    std::printf("\n|---|");
    for (qsizetype i = 0; i < World::FaultKinds().size(); ++i)
        std::printf("---|");
    std::printf("\n");
    QList<std::pair<Order, Outcome>> failed;
    for (const QString &window : windowNames) {
        std::printf("| %s |", qUtf8Printable(window));
        for (const QString &kind : World::FaultKinds()) {
            int violations = 0;
            for (quint64 seed = options.first; seed <= options.last; ++seed) {
                const Order order{seed, 2min, window, kind, false};
                const Outcome outcome = Tell(order);
                sum.Add(outcome);
                if (outcome.violation) {
                    ++violations;
                    failed.append({order, outcome});
                }
            }
            std::printf(" %d |", violations);
            std::fflush(stdout);
        }
        std::printf("\n");
    }
    sum.Print(static_cast<double>(real.elapsed()) / 1000);
    for (const auto &[order, outcome] : failed)
        Report(order, outcome);
    return sum.violations == 0 ? 0 : 1;
}
/// Resident memory in MiB.
double Memory()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return static_cast<double>(file.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE)) / (1 << 20);
}

/// Eight hours of work, from its beginning: a charge, a discharge, a capacity cycle and the monitor's stream.
void AddWork(std::vector<Act> &acts, Clock::Duration at)
{
    const auto add = [&acts, &at](const char *verb, const char *window, const char *control, const char *value = "") {
        acts.push_back({at, QLatin1String(verb), QLatin1String(window), QLatin1String(control), QLatin1String(value)});
        at += 1s;
    };
    add("click", "Main", "cb_chargeur");
    add("slide", "Chargeur", "Slider1", "60");
    add("type", "Chargeur", "Text1", "1");
    add("click", "Chargeur", "CBstart");
    at += 2h - 10s;
    add("click", "Chargeur", "CBStop");
    add("click", "Chargeur", "CQuitter");
    add("click", "Main", "CbDechargeur");
    add("type", "Dechargeur", "Text1", "4");
    add("slide", "Dechargeur", "Slider1", "40");
    add("click", "Dechargeur", "CBstart");
    at += 2h - 10s;
    add("click", "Dechargeur", "CBStop");
    add("click", "Dechargeur", "CQuitter");
    add("click", "Main", "CbCapa");
    add("slide", "MesCapa", "SlIChrg", "120");
    add("slide", "MesCapa", "SlIDech", "120");
    add("click", "MesCapa", "CBstart");
    at += 3h - 10s;
    add("click", "MesCapa", "CBStop");
    add("click", "MesCapa", "CbRetour");
    add("click", "Main", "CbMoni");
    add("click", "Moni", "CbDepart");
    at += 1h - 20s;
    add("click", "Moni", "CbArret");
    add("click", "Moni", "CbQuit");
    add("click", "Main", "Cb_Reconnect");
}

/// Memory is printed as it was at the end of each story, all of them in this one process.
int Soak(const Options &options)
{
    constexpr auto day = 8h;
    Sum sum;
    QElapsedTimer real;
    real.start();
    for (quint64 seed = 1; sum.length < options.order.length; ++seed) {
        Order order = options.order;
        order.seed = seed;
        std::vector<Act> acts;
        for (Clock::Duration at = 5s; at < 5 * day; at += day)
            AddWork(acts, at);
        const Outcome outcome = World(order).Replay(acts, 5 * day);
        sum.Add(outcome);
        std::printf("%.0f hours, %ld exchanges, %ld records, %.1f MiB%s\n", Hours(sum.length), sum.counts.exchanges,
                    sum.counts.records, Memory(), outcome.violation ? " VIOLATION" : "");
        if (outcome.violation)
            std::printf("%s\n", qUtf8Printable(outcome.Text()));
        std::fflush(stdout);
    }
    sum.Print(static_cast<double>(real.elapsed()) / 1000);
    return sum.violations == 0 ? 0 : 1;
}
} // namespace

int main(int argc, char *argv[])
{
    // The same run for the same seed: no chance of the system's in it.
    qputenv("QT_HASH_SEED", "0");
    qputenv("QT_NO_GLIB", "1");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    std::signal(SIGALRM, Hangs);
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setCursorFlashTime(0);
    const Options options = Read(QApplication::arguments());
    if (options.story) {
        Order order = options.order;
        order.seed = options.first;
        const Outcome outcome = Tell(order);
        std::printf("%s\n", qUtf8Printable(outcome.Text()));
        return outcome.violation ? 1 : 0;
    }
    if (options.soak)
        return Soak(options);
    return options.matrix ? TellMatrix(options) : TellSeeds(options);
}
