// SPDX-License-Identifier: GPL-3.0-or-later
// Takes a picture of each window into a folder, the same each time: scripts/screenshots.

#include "album.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QPixmap>
#include <QTextStream>

int main(int argc, char *argv[])
{
    const QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    QApplication app(argc, argv);
    QApplication::setCursorFlashTime(0);
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("folder"), QStringLiteral("where the pictures go"));
    parser.addOption({QStringLiteral("at-work"), QStringLiteral("with something to see in them")});
    parser.process(app);
    const QString folder = parser.positionalArguments().value(0, QStringLiteral("."));
    Album album;
    QTextStream out(stdout);
    for (const QString &name : Album::Windows()) {
        QWidget &window = parser.isSet(QStringLiteral("at-work")) ? album.ShowAtWork(name) : album.Show(name);
        album.Time().Run(1s);
        const QString path = folder + QLatin1Char('/') + name.toLower() + QStringLiteral(".png");
        if (!window.grab().save(path)) {
            out << path << ": cannot be written\n";
            return 1;
        }
        out << path << '\n';
    }
    return 0;
}
