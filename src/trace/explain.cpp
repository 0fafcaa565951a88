// SPDX-License-Identifier: GPL-3.0-or-later
#include "explain.h"

#include "base/errors.h"
#include "meaning.h"
#include "traceline.h"

#include <QFile>

void Explain(const QString &path, const std::function<void(const QByteArray &line)> &print)
{
    constexpr qint64 longest = 1 << 20; // bytes of a line; no trace has one of that length
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw FileError(path, file.errorString());
    Meaning meaning;
    qint64 before = 0;
    for (int number = 1;; ++number) {
        QByteArray text = file.readLine(longest);
        if (file.error() != QFileDevice::NoError)
            throw FileError(path, file.errorString());
        if (!text.endsWith('\n') && text.size() < longest - 1)
            return;
        text.chop(text.endsWith("\r\n") ? 2 : 1);
        try {
            TraceLine line = ReadTraceLine(text);
            if (line.kind != TraceLine::Kind::Remark && line.microseconds < std::exchange(before, line.microseconds))
                throw Error(QStringLiteral("le temps recule"));
            if (line.kind == TraceLine::Kind::Sent)
                line.text = meaning.Sent(line.microseconds, line.bytes);
            else if (line.kind == TraceLine::Kind::Received)
                line.text = meaning.Received(line.microseconds, line.bytes);
            else if (line.kind == TraceLine::Kind::Event && !line.text.startsWith(QStringLiteral("réglé")))
                meaning.Cut();
            print(line.Text());
        } catch (const Error &error) {
            throw FileError(path, QStringLiteral("ligne %1 : %2").arg(number).arg(error.Text()));
        }
    }
}
