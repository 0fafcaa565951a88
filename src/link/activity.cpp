// SPDX-License-Identifier: GPL-3.0-or-later
#include "activity.h"

#include "base/messages.h"

#include <algorithm>

Activity::Activity(All &all, Kind kind, QString name, std::function<bool()> isOn)
    : all_(all), kind_(kind), name_(std::move(name)), isOn_(std::move(isOn))
{
    all_.push_back(this);
}

Activity::~Activity()
{
    std::erase(all_, this);
}

const Activity *Activity::On(const All &all)
{
    const auto on = std::ranges::find_if(all, [](const Activity *each) { return each->isOn_(); });
    return on == all.end() ? nullptr : *on;
}

/// The calibration's menu leaves its windows open side by side: they do not bar each other.
bool Activity::Bars(const Activity &fresh) const
{
    return this != &fresh && (kind_ == Kind::Run || fresh.kind_ == Kind::Run) && isOn_();
}

bool Activity::IsBarred(QWidget *over, const QString &title) const
{
    const auto other = std::ranges::find_if(all_, [this](const Activity *each) { return each->Bars(*this); });
    if (other == all_.end())
        return false;
    const QString saying =
        (*other)->kind_ == Kind::Run
            ? QStringLiteral("%1 est en cours, et c'est le programme qui la termine.\n"
                             "Arrêtez-la d'abord : les deux se disputeraient les sorties de la carte.")
            : QStringLiteral("%1 est ouverte et laisse passer un courant.\n"
                             "Fermez-la d'abord : les deux se disputeraient les sorties de la carte.");
    messages::Show(over, QMessageBox::Warning, title, saying.arg((*other)->name_));
    return true;
}
