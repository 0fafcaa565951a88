// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "ptyboard.h"

#include <QFile>
#include <QTemporaryDir>

#include <memory>

/// A board whose port can be pulled and plugged in again under the same name.
class Plug
{
public:
    Plug() { In(); }
    QString Path() const { return folder_.filePath(QStringLiteral("ttyBoard")); }
    PtyBoard &Board() { return *board_; }
    void Out()
    {
        QFile::remove(Path());
        board_->Unplug();
    }
    void In()
    {
        board_ = std::make_unique<PtyBoard>();
        QFile::link(board_->Port(), Path());
    }

private:
    QTemporaryDir folder_;
    std::unique_ptr<PtyBoard> board_;
};
