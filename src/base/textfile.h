// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QFile>

#include <memory>

/// A text file opened for output (what it held is gone): UTF-8, lines ended by CR LF, each on disk before WriteLine
/// returns. One that somebody removes meanwhile is written anew with all its lines, in its folder, which is made again
/// if need be, or else in "temp" of the drive; the user is told. Everything throws FileError.
class TextFile
{
public:
    explicit TextFile(const QString &path);
    void WriteLine(const QString &line);
    /// Where it is, whatever becomes of the current folder.
    QString Path() const { return path_; }

private:
    bool IsRemoved() const;
    void WriteAnew();

    std::unique_ptr<QFile> file_;
    QString path_;
};
