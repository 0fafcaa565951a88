// SPDX-License-Identifier: GPL-3.0-or-later
#include "folderwatch.h"

FolderWatch::FolderWatch()
{
    connect(&watcher_, &QFileSystemWatcher::directoryChanged, this, &FolderWatch::Changed);
}

void FolderWatch::Watch(const QString &folder)
{
    Stop();
    watcher_.addPath(folder);
}

void FolderWatch::Stop()
{
    if (!watcher_.directories().isEmpty())
        watcher_.removePaths(watcher_.directories());
}
