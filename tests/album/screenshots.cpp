// SPDX-License-Identifier: GPL-3.0-or-later
// Takes a picture of each window into a folder, the same each time: scripts/screenshots.

#include "album.h"
#include "support/palettes.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QMessageBox>
#include <QPixmap>
#include <QTextStream>

namespace {
/// As a user does who has read what the program says of it.
void PlugAgain(Album &album)
{
    const auto widgets = QApplication::topLevelWidgets();
    for (QWidget *widget : widgets)
        if (qobject_cast<QMessageBox *>(widget))
            widget->close();
    album.Plug();
    album.Time().Run(30s);
}
} // namespace

int main(int argc, char *argv[])
{
    const QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    QApplication app(argc, argv);
    QApplication::setCursorFlashTime(0);
    QCommandLineParser parser;
    parser.addPositionalArgument(QStringLiteral("folder"), QStringLiteral("where the pictures go"));
    parser.addOption({QStringLiteral("at-work"), QStringLiteral("with something to see in them")});
    parser.addOption({QStringLiteral("dark"), QStringLiteral("as on a dark desktop")});
    parser.addOption({QStringLiteral("fault"), QStringLiteral("at work, and then the cable is pulled out")});
    parser.process(app);
    if (parser.isSet(QStringLiteral("dark")))
        QApplication::setPalette(palettes::Dark());
    const bool fault = parser.isSet(QStringLiteral("fault"));
    const bool atWork = fault || parser.isSet(QStringLiteral("at-work"));
    const QString folder = parser.positionalArguments().value(0, QStringLiteral("."));
    Album album;
    QTextStream out(stdout);
    for (const QString &name : Album::Windows()) {
        QWidget &window = atWork ? album.ShowAtWork(name) : album.Show(name);
        if (fault)
            album.Unplug();
        album.Time().Run(fault ? 20s : 1s);
        const QString path = folder + QLatin1Char('/') + name.toLower() + QStringLiteral(".png");
        if (!window.grab().save(path)) {
            out << path << ": cannot be written\n";
            return 1;
        }
        out << path << '\n';
        if (fault)
            PlugAgain(album);
    }
    return 0;
}
