#include "textfile.h"

#include "errors.h"

TextFile::TextFile(const QString &path) : file_(path)
{
    if (!file_.open(QIODevice::WriteOnly | QIODevice::Truncate))
        throw FileError(path, file_.errorString());
}

void TextFile::WriteLine(const QString &line)
{
    const QByteArray bytes = line.toUtf8() + "\r\n";
    if (file_.write(bytes) != bytes.size() || !file_.flush())
        throw FileError(file_.fileName(), file_.errorString());
}
