// SPDX-License-Identifier: GPL-3.0-or-later
#include "logfile.h"

#include "base/errors.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace {
constexpr qint64 pieceSize = 1 << 20;
constexpr qint64 endingSize = 64;

/// Feeds a reader with the rest of a file; keeps the last bytes in `ending`, and gives how many there were.
qint64 ReadRest(QFile &file, LogReader &reader, QByteArray &ending)
{
    qint64 read = 0;
    while (!reader.Foreign()) {
        const QByteArray piece = file.read(pieceSize);
        if (piece.isEmpty())
            break;
        reader.Take({piece.constData(), static_cast<size_t>(piece.size())});
        read += piece.size();
        ending = (ending + piece).right(endingSize);
    }
    if (file.error() != QFileDevice::NoError)
        throw FileError(file.fileName(), file.errorString());
    return read;
}
} // namespace

LogFile::LogFile(const QString &path) : path_(QFileInfo(path).absoluteFilePath())
{
    QFile file(path_);
    if (QFileInfo::exists(path_) && !QFileInfo(path_).isFile()) // whose reading might last for ever
        throw FileError(path, QStringLiteral("ce n'est pas un fichier ordinaire"));
    if (!file.open(QIODevice::ReadOnly))
        throw FileError(path, file.errorString());
    read_ = ReadRest(file, reader_, ending_);
    if (!reader_.Contents())
        throw FileError(path, read_ == 0 ? QStringLiteral("il est vide")
                                         : QStringLiteral("ce n'est pas un journal de charge, de décharge, de mesure "
                                                          "de capacité ou du moniteur"));
}

LogFile::News LogFile::Continue()
{
    QFile file(path_);
    if (!QFileInfo(path_).isFile() || !file.open(QIODevice::ReadOnly))
        return News::Nothing;
    if (!file.seek(read_ - ending_.size()) || file.read(ending_.size()) != ending_) {
        try {
            *this = LogFile(path_);
        } catch (const FileError &) {
            return News::Nothing; // as yet
        }
        return News::Anew;
    }
    const size_t records = Contents().Records();
    read_ += ReadRest(file, reader_, ending_);
    return Contents().Records() > records ? News::More : News::Nothing;
}
