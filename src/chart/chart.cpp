#include "chart.h"

#include "base/errors.h"
#include "base/number.h"
#include "base/wholefile.h"

#include <QTemporaryDir>

#include <algorithm>
#include <cmath>

namespace {
constexpr double shortest = 10;  // along the axis of keys, so that the first points do not fill it
constexpr double nearEnough = 5; // pixels from the cursor to a curve's end
constexpr int legendColumns = 4;
constexpr qint64 largestPicture = 1 << 28;

/// What an axis shows for values between two extremes: a little more.
QCPRange WithMargin(const QCPRange &extremes)
{
    const double margin = extremes.size() > 0 ? 0.08 * extremes.size() : std::max(1.0, 0.05 * std::abs(extremes.lower));
    return {extremes.lower - margin, extremes.upper + margin};
}

void Paint(QCPAxis *axis, const QColor &colour)
{
    axis->setBasePen(colour);
    axis->setTickPen(colour);
    axis->setSubTickPen(colour);
    axis->setTickLabelColor(colour);
    axis->setLabelColor(colour);
}
} // namespace

Chart::Chart(QWidget *parent) : QCustomPlot(parent)
{
    MakeFrame();
    MakeCursor();
    FitAxes();
}

void Chart::MakeFrame()
{
    yAxis->setVisible(false); // until a curve has it
    QSharedPointer<QCPAxisTickerTime> time(new QCPAxisTickerTime);
    time->setTimeFormat(QStringLiteral("%h:%m:%s"));
    time->setFieldWidth(QCPAxisTickerTime::tuHours, 1);
    xAxis->setTicker(time);
    xAxis->setLabel(tr("Temps (h:min:s)"));

    plotLayout()->addElement(1, 0, legend); // below the curves, not over them
    legend->setFillOrder(QCPLegend::foColumnsFirst);
    legend->setWrap(legendColumns);
    legend->setBorderPen(Qt::NoPen);
    legend->setMaximumSize(QWIDGETSIZE_MAX / 2, QWIDGETSIZE_MAX); // an empty one would leave the curves no room
    plotLayout()->setRowStretchFactor(1, 0.001);

    setInteractions(QCP::iRangeDrag | QCP::iRangeZoom);
    setNoAntialiasingOnDrag(true);
    // Stroked as one path, or wider than a pixel, a curve that crosses itself in every column takes seconds to draw.
    setPlottingHint(QCP::phFastPolylines);
    SetDraggedAxes();
    connect(xAxis, qOverload<const QCPRange &>(&QCPAxis::rangeChanged), this, [this] {
        if (!fitting_)
            followed_ = false;
    });
    connect(this, &QCustomPlot::mouseDoubleClick, this, &Chart::ShowAll);
}

/// The cursor has a layer of its own: moving it does not draw the curves again.
void Chart::MakeCursor()
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

void Chart::SetTitle(const QString &title)
{
    setAccessibleName(title);
    QFont bold = font();
    bold.setPointSizeF(1.3 * bold.pointSizeF());
    bold.setBold(true);
    plotLayout()->insertRow(0);
    plotLayout()->addElement(0, 0, new QCPTextElement(this, title, bold));
}

// ---- the curves

QCPAxis *Chart::ValueAxis(const QString &name)
{
    const auto found = std::ranges::find(axes_, name, &Axis::name);
    if (found != axes_.end())
        return found->axis;
    QCPAxisRect *const frame = axisRect();
    QCPAxis *axis = axes_.empty()       ? yAxis
                    : axes_.size() == 1 ? yAxis2
                                        : frame->addAxis(axes_.size() % 3 == 0 ? QCPAxis::atLeft : QCPAxis::atRight);
    axis->setVisible(true);
    axis->setTicks(true);
    axis->setTickLabels(true);
    axis->setNumberPrecision(6);
    axis->setNumberFormat(QStringLiteral("g"));
    connect(axis, qOverload<const QCPRange &>(&QCPAxis::rangeChanged), this, [this] {
        if (!fitting_)
            followed_ = false;
    });
    axes_.push_back({name, axis});
    SetDraggedAxes();
    return axis;
}

void Chart::Add(Curve *curve, const QColor &colour)
{
    curve->setPen(colour);
    curve->setScatterStyle(QCPScatterStyle::ssNone);
    if (std::ranges::none_of(curves_, [curve](const Curve *other) { return other->valueAxis() == curve->valueAxis(); }))
        Paint(curve->valueAxis(), colour);
    curves_.push_back(curve);
    legend->setVisible(true);
    Changed();
}

void Chart::RemoveCurves()
{
    for (Curve *curve : std::exchange(curves_, {}))
        removePlottable(curve);
    for (const Axis &used : std::exchange(axes_, {})) {
        used.axis->setLabel({});
        used.axis->setVisible(false);
        used.axis->disconnect(this);
        if (used.axis != yAxis && used.axis != yAxis2)
            axisRect()->removeAxis(used.axis);
    }
    SetDraggedAxes();
    HideCursor();
    Changed();
}

void Chart::SetDraggedAxes()
{
    QList<QCPAxis *> axes{xAxis};
    for (const Axis &used : axes_)
        axes.append(used.axis);
    axisRect()->setRangeDragAxes(axes);
    axisRect()->setRangeZoomAxes(axes);
}

std::optional<QCPRange> Chart::Keys() const
{
    std::optional<QCPRange> keys;
    for (const Curve *curve : curves_) {
        if (curve->Points() == 0)
            continue;
        const QCPRange own(curve->KeyOf(0), curve->KeyOf(curve->Points() - 1));
        keys = keys ? keys->expanded(own) : own;
    }
    return keys;
}

// ---- drawing

void Chart::ShowAll()
{
    followed_ = true;
    Changed();
}

void Chart::Changed()
{
    if (redraw_.IsSet())
        return;
    const Clock::Duration since = lastRedraw_ ? lastRedraw_->Elapsed() : redrawPeriod;
    redraw_.Start(std::max(0us, redrawPeriod - since));
}

void Chart::Redraw()
{
    if (followed_)
        FitAxes();
    if (cursorText_->visible())
        ShowCursor(cursorAt_); // something else may be there now
    replot(rpQueuedRefresh);
    lastRedraw_.emplace();
}

void Chart::FitAxes()
{
    fitting_ = true;
    const QCPRange keys = Keys().value_or(QCPRange(0, 0));
    const double length = std::max(keys.size(), shortest);
    xAxis->setRange(keys.lower - 0.01 * length, keys.lower + 1.01 * length);
    for (const Axis &used : axes_) {
        std::optional<QCPRange> values;
        for (const Curve *curve : curves_) {
            if (curve->valueAxis() != used.axis)
                continue;
            if (const std::optional<QCPRange> own = curve->Extremes())
                values = values ? values->expanded(*own) : *own;
        }
        used.axis->setRange(WithMargin(values.value_or(QCPRange(0, shortest))));
    }
    fitting_ = false;
}

void Chart::Save(const QString &path, Picture picture)
{
    // Made elsewhere first: what the file held is only replaced by a whole picture, and nothing waits to open it.
    const QTemporaryDir folder;
    const QString made = folder.filePath(QStringLiteral("picture"));
    if (!(picture == Picture::Pdf ? savePdf(made) : savePng(made, 0, 0, 2)))
        throw FileError(path, QStringLiteral("l'image ne peut pas être écrite"));
    wholefile::Replace(path, wholefile::Read(made, largestPicture));
}

QPixmap Chart::Whole(const QSize &size, double scale)
{
    FitAxes();
    return toPixmap(size.width(), size.height(), scale);
}

// ---- the cursor

QString Chart::KeyText(double key) const
{
    const auto seconds = static_cast<qint64>(std::llround(std::abs(key)));
    return QStringLiteral("%1%2:%3:%4")
        .arg(key < 0 ? QStringLiteral("-") : QString())
        .arg(seconds / 3600)
        .arg(seconds / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

/// That of a point of some curve.
std::optional<double> Chart::NearestKey(double key) const
{
    std::optional<double> nearest;
    for (const Curve *curve : curves_)
        if (const std::optional<qsizetype> point = curve->Nearest(key)) {
            const double own = curve->KeyOf(*point);
            if (!nearest || std::abs(own - key) < std::abs(*nearest - key))
                nearest = own;
        }
    return nearest;
}

void Chart::ShowCursor(QPointF at)
{
    cursorAt_ = at;
    const std::optional<QCPRange> keys = Keys();
    const double wanted = xAxis->pixelToCoord(at.x());
    const double margin = std::abs(xAxis->pixelToCoord(at.x() + nearEnough) - wanted);
    if (!keys || wanted < keys->lower - margin || wanted > keys->upper + margin ||
        !axisRect()->rect().contains(at.toPoint())) {
        HideCursor();
        return;
    }
    const double key = *NearestKey(wanted);
    QString text = KeyText(key);
    for (const Curve *curve : curves_) {
        const qsizetype points = curve->Points();
        if (points == 0 || key < curve->KeyOf(0) - margin || key > curve->KeyOf(points - 1) + margin)
            continue; // it has not begun, or is over
        const double value = curve->ValueOf(*curve->Nearest(key));
        text += u'\n' + curve->name() + QStringLiteral(" :");
        if (std::isnan(value))
            text += QStringLiteral(" –");
        else
            text += number::Str(value) + (curve->Unit().isEmpty() ? QString() : u' ' + curve->Unit());
    }
    cursorText_->setText(text);
    const bool rightHalf = at.x() > axisRect()->center().x();
    cursorText_->setPositionAlignment(Qt::AlignTop | (rightHalf ? Qt::AlignRight : Qt::AlignLeft));
    cursorText_->position->setCoords(at.x() + (rightHalf ? -12 : 12), axisRect()->top() + 8);
    cursorLine_->point1->setCoords(key, 0);
    cursorLine_->point2->setCoords(key, 1);
    cursorLine_->setVisible(true);
    cursorText_->setVisible(true);
    layer(QStringLiteral("cursor"))->replot();
    Q_EMIT Pointed(key);
}

void Chart::HideCursor()
{
    if (!cursorText_->visible())
        return;
    cursorLine_->setVisible(false);
    cursorText_->setVisible(false);
    layer(QStringLiteral("cursor"))->replot();
}

void Chart::leaveEvent(QEvent *event)
{
    HideCursor();
    QCustomPlot::leaveEvent(event);
}
