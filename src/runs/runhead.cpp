// SPDX-License-Identifier: GPL-3.0-or-later
#include "runhead.h"

#include "runcard.h"
#include "runtiles.h"

#include <QShowEvent>
#include <QStackedLayout>
#include <QVBoxLayout>

namespace {
// Pixels.
constexpr int sideMargin = 10;
constexpr int topMargin = 5;
} // namespace

RunHead::RunHead(QWidget *parent) : QFrame(parent)
{
    setFrameShape(QFrame::StyledPanel);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void RunHead::Watch(const RunNews &news)
{
    tiles_ = new RunTiles(news, this);
    auto *card = new RunCard(news, this);
    auto *whole = new QVBoxLayout(this);
    whole->setContentsMargins(sideMargin, topMargin, sideMargin, topMargin);
    auto *place = new QStackedLayout;
    whole->addLayout(place);
    place->addWidget(tiles_);
    place->addWidget(card);
    connect(&news, &RunNews::Began, place, [this, place] { place->setCurrentWidget(tiles_); });
    connect(card, &RunCard::Filled, place, [place, card] { place->setCurrentWidget(card); });
    connect(card, &RunCard::Closed, place, [this, place] { place->setCurrentWidget(tiles_); });
}

QList<QWidget *> RunHead::Readings() const
{
    return tiles_->Readings();
}

/// Its window opens: nothing is measured yet.
void RunHead::showEvent(QShowEvent *event)
{
    if (!event->spontaneous())
        tiles_->Clear();
    QFrame::showEvent(event);
}
