// SPDX-License-Identifier: GPL-3.0-or-later
#include "filewatch.h"

#include <QFileInfo>

namespace {
QString FolderOf(const QString &path)
{
    return QFileInfo(path).absolutePath();
}
} // namespace

FileWatch::FileWatch()
{
    connect(&watcher_, &QFileSystemWatcher::fileChanged, this, &FileWatch::FileChanged);
    connect(&watcher_, &QFileSystemWatcher::directoryChanged, this, &FileWatch::FolderChanged);
}

bool FileWatch::Add(const QString &path)
{
    paths_.insert(path);
    watcher_.addPath(FolderOf(path));
    return watcher_.addPath(path);
}

void FileWatch::Remove(const QString &path)
{
    paths_.remove(path);
    watcher_.removePath(path);
}

void FileWatch::FileChanged(const QString &path)
{
    if (!watcher_.files().contains(path) && QFileInfo::exists(path))
        watcher_.addPath(path); // another one already
    Q_EMIT Changed(path);
}

void FileWatch::FolderChanged(const QString &folder)
{
    const QStringList watched = watcher_.files();
    const QSet<QString> paths = paths_; // who hears of one may remove it
    for (const QString &path : paths)
        if (FolderOf(path) == folder && !watched.contains(path) && watcher_.addPath(path))
            Q_EMIT Changed(path);
}
