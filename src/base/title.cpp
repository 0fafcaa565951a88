// SPDX-License-Identifier: GPL-3.0-or-later
#include "title.h"

#include <QVariant>
#include <QWidget>

namespace title {
namespace {
constexpr const char *kept = "ownTitle"; // a property of the window while its bar says something else
}

void Say(QWidget &window, const QString &text)
{
    const QString own = Of(window);
    window.setProperty(kept, text.isEmpty() ? QVariant() : QVariant(own));
    window.setWindowTitle(text.isEmpty() ? own : text);
}

QString Of(const QWidget &window)
{
    const QVariant own = window.property(kept);
    return own.isValid() ? own.toString() : window.windowTitle();
}
} // namespace title
