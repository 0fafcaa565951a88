// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "runnews.h"

#include <QPushButton>

#include <functional>
#include <vector>

class QLineEdit;
class SliderBox;

/// "Reprendre : 1.92 A, 6 éléments": offers what its window was set to when the last run began, as far as it is set to
/// something else, and sets it to that on a click, as if its user had moved the controls. Nothing happens by itself.
class LastSettings : public QPushButton
{
    Q_OBJECT

public:
    explicit LastSettings(QWidget *parent);

    /// What is offered, in this order, and how it is called: "MODE %1". A slider that the board was not sent is not set
    /// to anything.
    void Keep(SliderBox *box, const QString &words);
    void Keep(QLineEdit *entry, const QString &words);

    /// The runs of the window, at whose beginning its settings are remembered.
    void Watch(const RunNews &news);

    /// Neither offers nor remembers anything from now on: for runs that nobody watches.
    void Rest();

private:
    struct Setting
    {
        QString key;
        QString words;
        std::function<QString()> now; ///< empty: none
        std::function<QString(const QString &)> shown;
        std::function<void(const QString &)> apply;
    };

    void Remember();
    void Offer();
    void Apply();
    std::vector<std::pair<Setting, QString>> Others() const;
    bool eventFilter(QObject *object, QEvent *event) override;

    std::vector<Setting> settings_;
    const RunNews *news_ = nullptr;
    bool rests_ = false;
};
