// SPDX-License-Identifier: GPL-3.0-or-later
#include "tracefile.h"

#include "base/clock.h"
#include "base/errors.h"
#include "traceline.h"

#include <QFileInfo>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {
/// A new ordinary file. Nothing is waited for, as it would be by the opening of a named pipe.
int MakeNew(const QString &path)
{
    const QByteArray name = QFile::encodeName(path);
    const int descriptor =
        open(name.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
    if (descriptor < 0)
        throw FileError(path, qt_error_string(errno));
    return descriptor;
}

/// Whether something may be put in the place of this.
void DemandTraceOrNothing(const QString &path)
{
    struct stat status{};
    if (lstat(QFile::encodeName(path).constData(), &status) != 0)
        return;
    QFile file(path);
    const bool ordinary = S_ISREG(status.st_mode) && file.open(QIODevice::ReadOnly);
    if (!ordinary || (status.st_size > 0 && file.readLine().trimmed() != TraceLine::Title()))
        throw FileError(path, QStringLiteral("ce n'est pas une trace : il n'est pas remplacé"));
}
} // namespace

TraceFile::TraceFile(const QString &path, qint64 largest)
    : path_(QFileInfo(path).absoluteFilePath()), largest_(largest), began_(Clock::Current().LocalTime())
{
    MoveOn();
    Begin();
}

QString TraceFile::PartPath(int number) const
{
    return number == 0 ? path_ : path_ + QStringLiteral(".%1").arg(number);
}

/// Makes room for a new file, by as few moves as will do.
void TraceFile::MoveOn()
{
    int free = 0;
    while (free < mostParts - 1 && QFileInfo(PartPath(free)).size() > 0)
        DemandTraceOrNothing(PartPath(free++));
    DemandTraceOrNothing(PartPath(free));
    for (int i = free; i > 0; --i)
        if (rename(QFile::encodeName(PartPath(i - 1)).constData(), QFile::encodeName(PartPath(i)).constData()) != 0)
            throw FileError(PartPath(i), qt_error_string(errno));
}

void TraceFile::Begin()
{
    file_ = std::make_unique<QFile>();
    if (!file_->open(MakeNew(path_), QIODevice::WriteOnly | QIODevice::Unbuffered, QFileDevice::AutoCloseHandle))
        throw FileError(path_, file_->errorString());
    size_ = 0;
    Append(TraceLine::Title() + '\n');
    Append(QStringLiteral("# début %1, partie %2 ; temps en microsecondes, > à la carte, < de la carte, = le port\n")
               .arg(began_.toOffsetFromUtc(began_.offsetFromUtc()).toString(Qt::ISODateWithMs))
               .arg(++part_)
               .toUtf8());
}

void TraceFile::Write(const QByteArray &line)
{
    if (Ended())
        return;
    if (size_ + line.size() > largest_) {
        file_.reset();
        MoveOn();
        Begin();
    }
    Append(line);
}

void TraceFile::Append(const QByteArray &line)
{
    if (file_->write(line) == line.size()) {
        size_ += line.size();
        return;
    }
    const QString reason = file_->errorString();
    file_->resize(size_); // a part of a line is none
    throw FileError(path_, reason);
}
