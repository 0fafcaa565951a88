// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"

#include <QObject>
#include <QPointer>
#include <QWidget>

#include <vector>

class Codebas;

/// Whether what a window shows of the board is true at the moment. Readings that are not taken any more, because the
/// run is over, the port closed or lost, or the board silent or on its own, turn quiet until the next one.
class Freshness : public QObject
{
    Q_OBJECT

public:
    /// Belongs to `window`, by which whoever shows its Text finds it.
    Freshness(const Codebas &link, QWidget *window);

    /// Adds widgets whose texts are readings.
    void Add(const QList<QWidget *> &readings);

    /// They were read just now.
    void Read();
    /// They are not read any more.
    void End();
    /// The window opens: nothing was read yet.
    void Forget();

    /// "dernière mesure à 14:03:27"; empty while they are true, and before the first one.
    QString Text() const;

Q_SIGNALS:
    void Changed();

private:
    void Show(bool old);

    std::vector<QPointer<QWidget>> readings_;
    Stopwatch read_; ///< since the last one
    bool any_ = false;
    bool old_ = false;
};
