// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "runentry.h"

#include <QByteArray>

#include <vector>

/// What a pack has come to, on one page.
struct PackSheet
{
    Pack pack;
    std::vector<PackCycle> cycles; ///< the oldest first; the last of them are listed
    std::vector<RunEntry> runs;    ///< the newest first; the sums go over all
    QDateTime made;

    /// The page as a PDF document, A4.
    QByteArray Pdf() const;
};
