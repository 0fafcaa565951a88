// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "guide.h"

#include <memory>

/// The menu "Aide" of the main window, and F1 in all windows, which opens the guide at the page of that window.
class HelpMenu : public QObject
{
    Q_OBJECT

public:
    HelpMenu(QMainWindow &main, const QString &version);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void ShowGuide(const QString &window);
    void ShowAbout();

    QMainWindow &main_;
    const QString version_;
    std::unique_ptr<Guide> guide_; ///< made when it is first asked for
};
