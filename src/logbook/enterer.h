// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "logbook.h"
#include "runs/packbox.h"
#include "runs/runsum.h"

/// Enters the runs of a window into the logbook by themselves, and says in its "Accu" how such a run went last time.
/// Nothing is written before the window has told the board what it has to.
class Enterer : public QObject
{
    Q_OBJECT

public:
    /// The window's runs, and where it names the pack.
    Enterer(Logbook &book, const RunNews &news, PackBox &packs);
    /// A run that is on is left.
    ~Enterer() override;

private:
    void Begin();
    void FollowLog();
    void Take(const RunPoint &point);
    void Close(const RunEnd &end);
    void ChangePack();
    void Post();
    void EnterPosted();
    void ShowKnown();
    void ShowWords();
    void ShowProgress();

    Logbook &book_;
    const RunNews &news_;
    PackBox &packs_;
    RunEntry run_;
    RunSum sum_;
    double now_ = 0;               ///< milliampere-hours of the phase at hand
    std::vector<RunEntry> posted_; ///< to be entered when the window's own work is done
    std::optional<LastTime> last_;
    int nominal_ = 0; ///< milliampere-hours of the pack, 0 while nobody has said
};
