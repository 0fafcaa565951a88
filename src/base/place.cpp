// SPDX-License-Identifier: GPL-3.0-or-later
#include "place.h"

#include "remembered.h"

#include <QEvent>
#include <QScreen>

#include <algorithm>

namespace {
const QString key = QStringLiteral("place");
}

Place::Place(QWidget &window) : window_(window)
{
    window.installEventFilter(this);
}

bool Place::Restore()
{
    if (!window_.restoreGeometry(Remembered(window_).value(key).toByteArray()))
        return false;
    const QRect room = window_.screen()->availableGeometry();
    QRect there(window_.pos(), window_.size().boundedTo(room.size()));
    there.moveLeft(std::clamp(there.left(), room.left(), room.right() + 1 - there.width()));
    there.moveTop(std::clamp(there.top(), room.top(), room.bottom() + 1 - there.height()));
    window_.resize(there.size());
    window_.move(there.topLeft());
    return true;
}

bool Place::eventFilter(QObject *object, QEvent *event)
{
    if (event->type() == QEvent::Close)
        Remembered(window_).setValue(key, window_.saveGeometry());
    return QObject::eventFilter(object, event);
}
