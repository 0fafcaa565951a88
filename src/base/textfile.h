#pragma once

#include <QFile>

/// A text file opened for output (what it held is gone): UTF-8, lines ended by CR LF, each on disk before WriteLine
/// returns. Everything throws FileError.
class TextFile
{
public:
    explicit TextFile(const QString &path);
    void WriteLine(const QString &line);
    QString Path() const { return file_.fileName(); }

private:
    QFile file_;
};
