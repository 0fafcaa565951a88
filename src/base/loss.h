// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QMessageBox>
#include <QPointer>

class QWidget;

/// What stands between a window's ways out and the work that would be lost by them: asks once before it closes.
class Loss
{
public:
    /// Whether `window` may close, although `what` ("3 octets modifiés ne sont pas écrits.") goes with it; empty if
    /// nothing does. If not yet, the user is asked, and his yes closes it, as does a second attempt of his.
    bool MayClose(QWidget &window, const QString &what);

private:
    QPointer<QMessageBox> question_;
    bool agreed_ = false;
};
