// SPDX-License-Identifier: GPL-3.0-or-later
#include "drive.h"

#include "errors.h"

#include <QDir>

namespace drive {
namespace {
QString root;
}

void SetRoot(const QString &folder)
{
    root = folder;
}

QString Root()
{
    if (!root.isEmpty())
        return root;
#ifdef Q_OS_WIN
    return QStringLiteral("C:/");
#else
    return QDir::home().filePath(QStringLiteral("Voltaire"));
#endif
}

QString Folder(const QString &name)
{
    return QDir(Root()).filePath(name.toLower());
}

QString SettingsFile()
{
    return Root() + QStringLiteral("/voltaire.ini");
}

void Prepare()
{
    const QString temp = Folder(QStringLiteral("temp"));
    if (!QDir().mkpath(temp))
        throw FileError(temp, QStringLiteral("le dossier ne peut pas être créé"));
}
} // namespace drive
