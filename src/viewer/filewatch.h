// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QSet>

/// Tells when something is written to files, and when another file takes the place of one.
class FileWatch : public QObject
{
    Q_OBJECT

public:
    FileWatch();

    /// False when the system does not watch it.
    bool Add(const QString &path);
    void Remove(const QString &path);

Q_SIGNALS:
    void Changed(const QString &path);

private:
    void FileChanged(const QString &path);
    void FolderChanged(const QString &folder);

    QFileSystemWatcher watcher_; ///< of the files and of their folders: it forgets a file that is removed
    QSet<QString> paths_;
};
