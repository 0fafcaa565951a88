// SPDX-License-Identifier: GPL-3.0-or-later
#include "runtitle.h"

#include "base/title.h"

namespace {
QString Word(RunNews::Kind kind)
{
    switch (kind) {
    case RunNews::Kind::Charge:
        return QStringLiteral("CHARGE ");
    case RunNews::Kind::Discharge:
        return QStringLiteral("DECHARGE ");
    case RunNews::Kind::Capacity:
        return QStringLiteral("MESURE ");
    }
    return {};
}
} // namespace

RunTitle::RunTitle(const RunProgress &progress, QList<QWidget *> windows, QObject *parent)
    : QObject(parent), windows_(std::move(windows))
{
    connect(&progress, &RunProgress::Changed, this,
            [this, &progress] { Say(Word(progress.Run().What()) + progress.Text()); });
    connect(&progress.Run(), &RunNews::Over, this, [this] { Say({}); });
}

void RunTitle::Say(const QString &text)
{
    for (QWidget *window : windows_)
        title::Say(*window, text);
}
