// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/place.h"

#include <QListWidget>
#include <QMainWindow>
#include <QTextBrowser>

/// The user's guide. The page of a window is the one that has its picture.
class Guide : public QMainWindow
{
    Q_OBJECT

public:
    Guide();

    /// Shows the page of the window with this name; the beginning for one of which the guide has no picture.
    void ShowFor(const QString &window);

    /// The heading of the page that is shown.
    QString Page() const;

private:
    void GoTo(int page);

    struct Heading
    {
        QString text;
        int position; ///< in the document
    };
    std::vector<Heading> headings_;
    std::vector<std::pair<QString, int>> pictures_; ///< by their window's name in small letters, and their page
    QListWidget *contents_ = new QListWidget;
    QTextBrowser *text_;
    Place place_{*this};
};
