// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/errors.h"
#include "chart/chart.h"
#include "foldingpane.h"
#include "runnews.h"

#include <array>
#include <functional>

/// The curve of a run as it goes on: what is measured over the time since its start; the delta count of a charge with
/// the fall that ends it; the phases of a capacity measurement. After the end it stays until the next start.
class RunCurve : public Chart
{
    Q_OBJECT

public:
    explicit RunCurve(const RunNews &news, QWidget *parent = nullptr);

private:
    struct Quantity;
    static const std::array<Quantity, 5> quantities;

    void Begin();
    void BeginPhase(const QString &name);
    void Take(const RunPoint &point);
    void ShowDeltaPeak(int peak);
    void Append(size_t quantity, double value, double seconds);
    void Make(size_t quantity);
    void Arrange();
    void resizeEvent(QResizeEvent *event) override;

    const RunNews &news_;
    std::array<Curve *, 5> drawn_{}; ///< those that have a value
    Level *peak_ = nullptr;
    Level *end_ = nullptr;
};

/// Gives a window the curve of its runs, in a pane whose button stands on the title line of `frame`. What fails when a
/// picture is saved goes to `failed`.
FoldingPane *AddRunCurve(QMainWindow &window, const RunNews &news, QWidget *frame,
                         const std::function<void(const Error &)> &failed);
