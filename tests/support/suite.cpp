// SPDX-License-Identifier: GPL-3.0-or-later
#include "suite.h"

#include <QApplication>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdio>
#include <map>
#include <string>

namespace {
using Classes = std::map<std::string, int (*)(int argc, char **argv)>;

Classes &All()
{
    static Classes classes; // made by the first registration, whichever file that stands in
    return classes;
}

int List()
{
    for (const auto &[name, run] : All())
        std::puts(name.c_str());
    return 0;
}

int RunAll(const QStringList &arguments)
{
    int failed = 0;
    for (const auto &[name, run] : All()) {
        const QStringList ofThis = QStringList(QString::fromStdString(name)) + arguments;
        if (QProcess::execute(QCoreApplication::applicationFilePath(), ofThis) != 0)
            ++failed;
    }
    return failed;
}
} // namespace

suite::Registration::Registration(const char *name, int (*run)(int argc, char **argv))
{
    All().emplace(name, run);
}

int main(int argc, char *argv[])
{
    const std::string first = argc > 1 ? argv[1] : "";
    if (first == "--list")
        return List();

    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen"); // what the tests reckon with
    const QTemporaryDir home;                    // what the program keeps in its user's home is nobody else's
    qputenv("HOME", home.path().toLocal8Bit());
    qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:"); // nor are its notifications for the user's desktop
    QApplication app(argc, argv);
    QApplication::setAttribute(Qt::AA_Use96Dpi);
    if (first.empty() || first.front() == '-')
        return RunAll(QCoreApplication::arguments().mid(1));

    const auto found = All().find(first);
    if (found == All().end()) {
        std::fprintf(stderr, "no test class %s here; --list names them\n", argv[1]);
        return 1;
    }
    argv[1] = argv[0]; // what follows is for QtTest
    return found->second(argc - 1, argv + 1);
}
