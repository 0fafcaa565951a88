// SPDX-License-Identifier: GPL-3.0-or-later
#include "wholefile.h"

#include "errors.h"

#include <QFile>
#include <QSaveFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace wholefile {
namespace {
/// A descriptor of an ordinary file. Nothing is waited for: the opening of a named pipe would last until somebody
/// writes into it.
int OpenToRead(const QString &path)
{
    const int descriptor = open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        throw FileError(path, qt_error_string(errno));
    struct stat status{};
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))
        return descriptor;
    close(descriptor);
    throw FileError(path, QStringLiteral("ce n'est pas un fichier ordinaire"));
}
} // namespace

QByteArray Read(const QString &path, qint64 largest)
{
    QFile file;
    if (!file.open(OpenToRead(path), QIODevice::ReadOnly, QFileDevice::AutoCloseHandle))
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
