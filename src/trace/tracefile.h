// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDateTime>
#include <QFile>

#include <memory>

/// A file that is written line by line, each at once, and that begins anew when it has grown large: FILE becomes
/// FILE.1, FILE.1 becomes FILE.2, and so on, and the oldest goes. Each part has the head. Everything throws FileError.
class TraceFile
{
public:
    static constexpr qint64 usualSize = 8LL * 1024 * 1024; ///< bytes of one part; some hours of a charge
    static constexpr int mostParts = 5;

    /// A trace that is there already is moved on; any other file is refused and stays as it is.
    explicit TraceFile(const QString &path, qint64 largest = usualSize);

    void Write(const QByteArray &line);

    /// Nothing is written any more. What is there ends with a whole line.
    void End() { file_.reset(); }
    bool Ended() const { return !file_; }

    const QString &Path() const { return path_; }

private:
    QString PartPath(int number) const;
    void MoveOn();
    void Begin();
    void Append(const QByteArray &line);

    const QString path_;
    const qint64 largest_;
    const QDateTime began_;
    int part_ = 0;
    qint64 size_ = 0;
    std::unique_ptr<QFile> file_;
};
