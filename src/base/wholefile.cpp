#include "wholefile.h"

#include "errors.h"

#include <QFile>
#include <QSaveFile>

namespace wholefile {
QByteArray Read(const QString &path, qint64 largest)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw FileError(path, file.errorString());
    const QByteArray bytes = file.read(largest + 1);
    if (file.error() != QFileDevice::NoError)
        throw FileError(path, file.errorString());
    if (bytes.size() > largest)
        throw FileError(path, QStringLiteral("le fichier est trop grand"));
    return bytes;
}

void Replace(const QString &path, const QByteArray &bytes)
{
    QSaveFile file(path);
    // Not left to commit(), which would put a file in place whose last bytes did not fit the disk.
    const auto written = [&] { return file.write(bytes) == bytes.size() && file.flush(); };
    if (!file.open(QIODevice::WriteOnly) || !written() || !file.commit())
        throw FileError(path, file.errorString());
}
} // namespace wholefile
