// SPDX-License-Identifier: GPL-3.0-or-later
#include "runcurve.h"

#include "chargerules.h"
#include "chart/colours.h"
#include "chart/picturemenu.h"

#include <algorithm>
#include <cmath>

namespace {
enum : size_t
{
    Volts,
    Amperes,
    MilliampereHours,
    Temperature,
    Delta
};
constexpr double deltaInView = 7 * DeltaPeak::fall; // counts, so that the fall at the end is seen

// Pixels.
constexpr int perLegend = 120;   // for a curve's name
constexpr int perAxis = 55;      // for an axis and what stands along it
constexpr int perTime = 75;      // from one time to the next
constexpr int leastCurves = 160; // for the curves themselves

QColor ColourOfPhase(const QString &name)
{
    if (name == QLatin1String("Charge"))
        return {226, 240, 226};
    if (name == QLatin1String("Decharge"))
        return {250, 232, 214};
    return {236, 236, 240};
}
} // namespace

struct RunCurve::Quantity
{
    const char *name; ///< as in the logs
    const char *unit;
};
const std::array<RunCurve::Quantity, 5> RunCurve::quantities = {
    {{"V Batterie", "V"}, {"Courant", "A"}, {"Capacité", "mAh"}, {"Température", "°C"}, {"V Delta", ""}}};

RunCurve::RunCurve(const RunNews &news, QWidget *parent) : Chart(parent), news_(news)
{
    setObjectName(QStringLiteral("Courbe"));
    legend->setIconSize(20, 14);
    connect(&news, &RunNews::Began, this, &RunCurve::Begin);
    connect(&news, &RunNews::PhaseBegan, this, &RunCurve::BeginPhase);
    connect(&news, &RunNews::Measured, this, &RunCurve::Take);
    connect(&news, &RunNews::Over, this, [this] { EndBand(news_.Seconds()); });
}

void RunCurve::Begin()
{
    drawn_.fill(nullptr);
    peak_ = end_ = nullptr;
    RemoveCurves();
    ShowAll();
}

/// Nothing is drawn from one phase's values to the next one's.
void RunCurve::BeginPhase(const QString &name)
{
    const double seconds = news_.Seconds();
    for (Curve *curve : Curves())
        curve->Break(seconds);
    BeginBand(seconds, name, ColourOfPhase(name));
}

void RunCurve::Take(const RunPoint &point)
{
    Append(Volts, point.volts, point.seconds);
    Append(Amperes, point.amperes, point.seconds);
    Append(MilliampereHours, std::floor(point.milliampereHours), point.seconds); // as the window shows them
    Append(Temperature, point.temperature, point.seconds);
    if (point.delta && point.deltaPeak) {
        Append(Delta, *point.delta, point.seconds);
        ShowDeltaPeak(*point.deltaPeak);
    }
    Changed();
}

/// The charge ends once the count is below the lower line.
void RunCurve::ShowDeltaPeak(int peak)
{
    if (!peak_) {
        QCPAxis *const axis = drawn_[Delta]->valueAxis();
        const QColor colour = drawn_[Delta]->Colour();
        peak_ = AddLevel(axis, QStringLiteral("Maximum"), colour);
        end_ = AddLevel(axis, QStringLiteral("Fin sous"), colour);
        SetMost(axis, deltaInView);
    }
    peak_->Set(peak);
    end_->Set(peak - DeltaPeak::fall);
}

void RunCurve::Append(size_t quantity, double value, double seconds)
{
    if (!drawn_[quantity]) {
        if (std::isnan(value))
            return;
        Make(quantity);
    }
    drawn_[quantity]->Append(seconds, value);
}

void RunCurve::Make(size_t quantity)
{
    const QString name = QString::fromUtf8(quantities[quantity].name);
    const QString unit = QString::fromUtf8(quantities[quantity].unit);
    QCPAxis *const axis = ValueAxis(name);
    axis->setLabel(unit);
    axis->setLabelPadding(0);
    axis->setTickLabelPadding(3);
    axis->setPadding(2);
    drawn_[quantity] = new Curve(xAxis, axis);
    drawn_[quantity]->setName(name);
    drawn_[quantity]->SetUnit(unit);
    Add(drawn_[quantity], colours::Of(name));
    Arrange();
}

/// In a narrow pane the curves go before the numbers along their axes: the cursor tells these too.
void RunCurve::Arrange()
{
    legend->setWrap(std::max(1, width() / perLegend));
    legend->setFillOrder(legend->fillOrder(), true); // those that are there already
    const int axes = std::max(1, (width() - leastCurves) / perAxis);
    int axis = 0;
    for (const Curve *curve : drawn_)
        if (curve)
            curve->valueAxis()->setVisible(axis++ < axes);
    xAxis->ticker()->setTickCount(std::max(2, (width() - perAxis * std::min(axis, axes)) / perTime));
}

void RunCurve::resizeEvent(QResizeEvent *event)
{
    Arrange();
    Chart::resizeEvent(event);
}

FoldingPane *AddRunCurve(QMainWindow &window, const RunNews &news, QWidget *frame,
                         const std::function<void(const Error &)> &failed)
{
    auto *curve = new RunCurve(news);
    AddPictureMenu(*curve, [&news] { return news.Log(); }, failed);
    return new FoldingPane(window, curve, frame, QStringLiteral("Courbe"));
}
