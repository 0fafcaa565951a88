// SPDX-License-Identifier: GPL-3.0-or-later
#include "runmark.h"

#include "base/drive.h"
#include "base/filelock.h"
#include "link/command.h"
#include "runs/runnote.h"

#include <QCoreApplication>
#include <QDir>

namespace {
const QString prefix = QStringLiteral("voltaire-en-marche-");

QDir Folder()
{
    return QDir(drive::Folder(QStringLiteral("temp")));
}
} // namespace

RunMark::RunMark(const Codebas &link) : link_(link)
{
    connect(&link_.outputs, &Outputs::WatchedChanged, this, &RunMark::Follow);
    connect(&link_.outputs, &Outputs::LinesChanged, this, &RunMark::Follow);
    connect(&link_.com, &Com::Changed, this, &RunMark::Follow); // it names the port
}

void RunMark::Follow()
{
    const Outputs &outputs = link_.outputs;
    const Outputs::Watched &watched = outputs.WhatIsWatched();
    const bool isWatched = !watched.off.empty();
    const bool flows =
        outputs.IsOn(command::CutDischarge) || (outputs.IsOn(command::CutCharge) && outputs.IsOn(command::CutPower));
    if (!isWatched && !flows) {
        if (file_.isOpen())
            file_.remove();
        written_.clear();
        return;
    }
    const QString note = watched.note.isEmpty() ? runnote::PathOf({}) : watched.note;
    const QByteArray content = (link_.com.PortName() + u'\n' + (isWatched ? note : QString()) + u'\n').toUtf8();
    if (content == written_)
        return;
    written_ = content;
    if (!file_.isOpen()) {
        file_.setFileName(Folder().filePath(prefix + QString::number(QCoreApplication::applicationPid())));
        if (!file_.open(QIODevice::WriteOnly)) // a disk that takes nothing more: the next start knows less
            return;
        filelock::Take(file_);
    }
    file_.resize(0);
    file_.seek(0);
    file_.write(content);
    file_.flush();
}

std::vector<RunMark::Found> RunMark::TakeFound()
{
    std::vector<Found> found;
    const auto marks = Folder().entryList({prefix + u'*'}, QDir::Files, QDir::Name);
    for (const QString &name : marks) {
        QFile file(Folder().filePath(name));
        if (!file.open(QIODevice::ReadOnly) || !filelock::Take(file))
            continue; // its program lives
        const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n');
        if (lines.size() >= 2)
            found.push_back({lines[0], lines[1]});
        file.remove();
    }
    return found;
}
