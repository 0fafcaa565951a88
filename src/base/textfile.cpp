// SPDX-License-Identifier: GPL-3.0-or-later
#include "textfile.h"

#include "drive.h"
#include "errors.h"
#include "messages.h"

#include <QCoreApplication>
#include <QDir>

#include <sys/stat.h>

namespace {
void Write(QFile &file, const QByteArray &bytes)
{
    if (file.write(bytes) != bytes.size() || !file.flush())
        throw FileError(file.fileName(), file.errorString());
}

/// A new file with these bytes.
std::unique_ptr<QFile> Made(const QString &path, QIODevice::OpenModeFlag mode, const QByteArray &bytes = {})
{
    auto file = std::make_unique<QFile>(path);
    if (!file->open(QIODevice::ReadWrite | mode))
        throw FileError(path, file->errorString());
    Write(*file, bytes);
    return file;
}
} // namespace

TextFile::TextFile(const QString &path)
    : file_(Made(path, QIODevice::Truncate)), path_(QFileInfo(path).absoluteFilePath())
{
}

void TextFile::WriteLine(const QString &line)
{
    if (IsRemoved())
        WriteAnew();
    Write(*file_, line.toUtf8() + "\r\n");
}

bool TextFile::IsRemoved() const
{
    struct stat status{};
    return fstat(file_->handle(), &status) == 0 && status.st_nlink == 0;
}

/// Its lines can be read as long as it is open.
void TextFile::WriteAnew()
{
    file_->seek(0);
    const QByteArray lines = file_->readAll();
    const QFileInfo former(path_);
    QDir().mkpath(former.absolutePath());
    if (QDir::currentPath().isEmpty()) // that folder was it: the next file has a place again
        QDir::setCurrent(former.absolutePath());
    try {
        file_ = Made(path_, QIODevice::NewOnly, lines); // what somebody has put there since is his
    } catch (const FileError &) {
        drive::Prepare();
        file_ =
            Made(QDir(drive::Folder(QStringLiteral("temp"))).filePath(former.fileName()), QIODevice::Truncate, lines);
    }
    path_ = file_->fileName();
    messages::Show(nullptr, QMessageBox::Warning, QCoreApplication::applicationName(),
                   QStringLiteral("Le fichier %1 a été supprimé en cours de travail.\n"
                                  "Ce qu'il contenait et la suite sont dans %2.")
                       .arg(former.filePath(), path_));
}
