#include "monitorchart.h"

#include "base/number.h"
#include "seriesgraph.h"

#include <cmath>

namespace {
constexpr QColor colours[] = {QColor(31, 95, 191), QColor(192, 57, 43), QColor(34, 125, 80)};
constexpr int fewestRows = 10; // along an axis, so that the first rows do not fill it

/// Rows are whole: no ticks between them.
class RowTicker : public QCPAxisTicker
{
protected:
    double getTickStep(const QCPRange &range) override { return std::max(1.0, QCPAxisTicker::getTickStep(range)); }
    int getSubTickCount(double step) override { return step < 2 ? 0 : QCPAxisTicker::getSubTickCount(step); }
};

/// What an axis shows for values between two extremes: a little more.
QCPRange WithMargin(const QCPRange &extremes)
{
    const double margin = extremes.size() > 0 ? 0.08 * extremes.size() : std::max(1.0, 0.05 * std::abs(extremes.lower));
    return {extremes.lower - margin, extremes.upper + margin};
}
} // namespace

MonitorChart::MonitorChart(QWidget *parent) : QCustomPlot(parent)
{
    MakeFrame();
    MakeCursor();
    FitAxes();
}

void MonitorChart::MakeFrame()
{
    const QString title = tr("Courbe de Charge/Decharge");
    setAccessibleName(title);
    QFont bold = font();
    bold.setPointSizeF(1.3 * bold.pointSizeF());
    bold.setBold(true);
    plotLayout()->insertRow(0);
    plotLayout()->addElement(0, 0, new QCPTextElement(this, title, bold));

    QCPAxisRect *const frame = axisRect();
    QCPAxis *const values[] = {yAxis, yAxis2, frame->addAxis(QCPAxis::atRight)};
    for (size_t i = 0; i < series_.size(); ++i) {
        values[i]->setVisible(true);
        values[i]->setNumberPrecision(6);
        values[i]->setNumberFormat(QStringLiteral("g"));
        for (const auto &set : {&QCPAxis::setBasePen, &QCPAxis::setTickPen, &QCPAxis::setSubTickPen})
            (values[i]->*set)(QPen(colours[i]));
        values[i]->setTickLabelColor(colours[i]);
        values[i]->setLabelColor(colours[i]);
        series_[i] = new SeriesGraph(xAxis, values[i]);
        series_[i]->setPen(colours[i]);
        series_[i]->setScatterStyle(QCPScatterStyle::ssNone);
    }
    xAxis->setTicker(QSharedPointer<QCPAxisTicker>(new RowTicker));
    xAxis->setNumberFormat(QStringLiteral("f"));
    xAxis->setNumberPrecision(0);
    xAxis->setLabel(tr("Ligne (une par dix enregistrements)"));

    plotLayout()->addElement(2, 0, legend); // below the curves, not over them
    legend->setVisible(true);
    legend->setFillOrder(QCPLegend::foColumnsFirst);
    legend->setBorderPen(Qt::NoPen);
    plotLayout()->setRowStretchFactor(2, 0.001);

    setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
    const QList<QCPAxis *> axes{xAxis, values[0], values[1], values[2]};
    frame->setRangeDragAxes(axes);
    frame->setRangeZoomAxes(axes);
    setNoAntialiasingOnDrag(true);
    // Stroked as one path, or wider than a pixel, a curve that crosses itself in every column takes seconds to draw.
    setPlottingHint(QCP::phFastPolylines);
    for (const QCPAxis *axis : axes)
        connect(axis, qOverload<const QCPRange &>(&QCPAxis::rangeChanged), this, [this] {
            if (!fitting_)
                followed_ = false;
        });
    connect(this, &QCustomPlot::mouseDoubleClick, this, &MonitorChart::ShowAll);
}

/// The cursor has a layer of its own: moving it does not draw the curves again.
void MonitorChart::MakeCursor()
{
    addLayer(QStringLiteral("cursor"));
    layer(QStringLiteral("cursor"))->setMode(QCPLayer::lmBuffered);
    cursorLine_ = new QCPItemStraightLine(this);
    cursorLine_->setPen(QPen(QColor(90, 90, 90), 0, Qt::DashLine));
    cursorText_ = new QCPItemText(this);
    cursorText_->setPadding(QMargins(6, 4, 6, 4));
    cursorText_->setPen(QPen(QColor(150, 150, 150)));
    cursorText_->setBrush(QColor(255, 255, 240, 235));
    cursorText_->setTextAlignment(Qt::AlignLeft);
    cursorText_->position->setType(QCPItemPosition::ptAbsolute);
    for (QCPAbstractItem *item : std::initializer_list<QCPAbstractItem *>{cursorLine_, cursorText_}) {
        item->setLayer(QStringLiteral("cursor"));
        item->setVisible(false);
    }
    connect(this, &QCustomPlot::mouseMove, this, [this](const QMouseEvent *event) { ShowCursor(event->position()); });
}

void MonitorChart::Clear()
{
    SetRowCount(0);
    HideCursor();
    ShowAll();
}

void MonitorChart::SetRowCount(qint64 rows)
{
    for (SeriesGraph *series : series_)
        series->SetRowCount(rows);
    ScheduleRedraw();
}

void MonitorChart::SetCell(qint64 row, int column, double value)
{
    series_[static_cast<size_t>(column - 1)]->SetValue(row, value);
    ScheduleRedraw();
}

qint64 MonitorChart::Rows() const
{
    return series_[0]->Rows();
}

double MonitorChart::Cell(qint64 row, int column) const
{
    return series_[static_cast<size_t>(column - 1)]->Value(row);
}

QColor MonitorChart::Colour(int column) const
{
    return colours[column - 1];
}

void MonitorChart::NameColumn(int column, const QString &name)
{
    SeriesGraph *series = series_[static_cast<size_t>(column - 1)];
    series->setName(name);
    series->valueAxis()->setLabel(name);
    ScheduleRedraw();
}

void MonitorChart::ShowAll()
{
    followed_ = true;
    ScheduleRedraw();
}

// ---- drawing

void MonitorChart::ScheduleRedraw()
{
    if (redraw_.IsSet())
        return;
    const Clock::Duration since = lastRedraw_ ? lastRedraw_->Elapsed() : redrawPeriod;
    redraw_.Start(std::max(0us, redrawPeriod - since));
}

void MonitorChart::Redraw()
{
    if (followed_)
        FitAxes();
    if (cursorText_->visible())
        ShowCursor(cursorAt_); // another row may be there now
    replot(rpQueuedRefresh);
    lastRedraw_.emplace();
}

void MonitorChart::FitAxes()
{
    fitting_ = true;
    const double rows = static_cast<double>(std::max<qint64>(Rows(), fewestRows));
    xAxis->setRange(1 - 0.01 * rows, 1.01 * rows);
    for (const SeriesGraph *series : series_)
        series->valueAxis()->setRange(WithMargin(series->Extremes().value_or(QCPRange(0, fewestRows))));
    fitting_ = false;
}

// ---- the cursor

void MonitorChart::ShowCursor(QPointF at)
{
    cursorAt_ = at;
    const auto row = static_cast<qint64>(std::llround(xAxis->pixelToCoord(at.x())));
    if (row < 1 || row > Rows() || !axisRect()->rect().contains(at.toPoint())) {
        HideCursor();
        return;
    }
    QString text = tr("Ligne") + number::Str(static_cast<double>(row));
    for (const SeriesGraph *series : series_) {
        const double value = series->Value(row);
        text += u'\n' + series->name() + QStringLiteral(" :") +
                (std::isnan(value) ? QStringLiteral(" –") : number::Str(value));
    }
    cursorText_->setText(text);
    const bool rightHalf = at.x() > axisRect()->center().x();
    cursorText_->setPositionAlignment(Qt::AlignTop | (rightHalf ? Qt::AlignRight : Qt::AlignLeft));
    cursorText_->position->setCoords(at.x() + (rightHalf ? -12 : 12), axisRect()->top() + 8);
    cursorLine_->point1->setCoords(static_cast<double>(row), 0);
    cursorLine_->point2->setCoords(static_cast<double>(row), 1);
    cursorLine_->setVisible(true);
    cursorText_->setVisible(true);
    layer(QStringLiteral("cursor"))->replot();
}

void MonitorChart::HideCursor()
{
    if (!cursorText_->visible())
        return;
    cursorLine_->setVisible(false);
    cursorText_->setVisible(false);
    layer(QStringLiteral("cursor"))->replot();
}

void MonitorChart::leaveEvent(QEvent *event)
{
    HideCursor();
    QCustomPlot::leaveEvent(event);
}
