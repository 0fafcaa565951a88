// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QColor>
#include <QStringList>

/// In which colours quantities are drawn, named by the labels that the logs' columns have.
namespace colours {
/// What people look at first, in this order.
QStringList Usual();

/// Every quantity has one.
QColor Of(const QString &quantity);
} // namespace colours
