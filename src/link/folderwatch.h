// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFileSystemWatcher>

/// Tells when something comes into a folder, or goes.
class FolderWatch : public QObject
{
    Q_OBJECT

public:
    FolderWatch();

    /// Watches this folder, and none that was watched before.
    void Watch(const QString &folder);
    void Stop();

Q_SIGNALS:
    void Changed();

private:
    QFileSystemWatcher watcher_;
};
