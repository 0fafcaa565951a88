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
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        throw FileError(path, file.errorString());
}
} // namespace wholefile
