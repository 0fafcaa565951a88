// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/place.h"
#include "base/window.h"
#include "logbook.h"
#include "runtable.h"

#include <memory>

namespace Ui {
class Carnet;
}

/// The logbook: its runs, and its packs. It needs no board.
class Carnet : public Window
{
    Q_OBJECT

public:
    explicit Carnet(Logbook &book);
    ~Carnet() override;

Q_SIGNALS:
    /// The user wants to see the curve of this log.
    void CurveWanted(const QString &log);

protected:
    void Load() override;

private:
    void CbCourbe_Click();
    void CbEnlever_Click();
    void CbRanger_Click();

    void Refresh();
    void ShowPacks();
    void ShowRuns();
    void ShowChosen();
    RunFilter Filter() const;
    QStringList Chosen() const;
    void ShowRunsOf(const QString &pack);

    std::unique_ptr<Ui::Carnet> ui_;
    Logbook &book_;
    RunTable table_{book_};
    Place place_{*this};
};
