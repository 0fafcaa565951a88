// SPDX-License-Identifier: GPL-3.0-or-later
#include "runnote.h"

#include "base/clock.h"
#include "base/drive.h"

#include <QFileInfo>

namespace runnote {
QString PathOf(const QString &log)
{
    if (log.isEmpty())
        return drive::Folder(QStringLiteral("temp")) + QStringLiteral("/voltaire.note");
    const QFileInfo file(log);
    return file.absolutePath() + u'/' + file.completeBaseName() + QStringLiteral(".note");
}

QString LastLine(const QString &note)
{
    QFile file(note);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll().trimmed().split('\n').constLast());
}

void Add(const QString &log, const QString &text)
{
    QFile file(PathOf(log));
    if (file.open(QIODevice::Append))
        file.write(Clock::Current().LocalTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")).toUtf8() + "  " +
                   text.toUtf8() + '\n');
}
} // namespace runnote
