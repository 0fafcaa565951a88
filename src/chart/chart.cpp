// SPDX-License-Identifier: GPL-3.0-or-later
#include "chart.h"

#include "base/errors.h"
#include "base/number.h"
#include "base/tone.h"
#include "base/wholefile.h"

#include <QTemporaryDir>

#include <algorithm>
#include <cmath>

namespace {
constexpr double shortest = 10;  // along the axis of keys, so that the first points do not fill it
constexpr double nearEnough = 5; // pixels from the cursor to a curve's end
constexpr QMargins cursorPadding(6, 4, 6, 4);
constexpr double cursorGap = 12; // pixels from the line to its text
constexpr int legendColumns = 4;
constexpr double gridPart = 0.22;   // of the ink in what is drawn faintly
constexpr double cursorPart = 0.65; // and in the cursor's line
constexpr int cursorOpacity = 235;  // of 255
constexpr qint64 largestPicture = 1 << 28;

constexpr double headroom = 0.2; // above the highest level, where an axis does not show all its values

/// The least that an axis shows of values in this unit, so that a flat curve looks flat.
double LeastSpan(const QString &unit, double value)
{
    static const QHash<QString, double> spans{
        {QStringLiteral("V"), 0.1}, {QStringLiteral("A"), 0.5},                   // the converter's noise is 0.03
        {QStringLiteral("°C"), 2},  {QStringLiteral("mAh"), 10}, {QString(), 10}, // counts
    };
    return spans.value(unit, std::max(2.0, 0.1 * std::abs(value)));
}

/// At least so much; of values that are not negative nothing below zero.
QCPRange Widened(const QCPRange &extremes, double least)
{
    if (extremes.size() >= least)
        return extremes;
    double lower = extremes.center() - least / 2;
    if (extremes.lower >= 0)
        lower = std::max(0.0, lower);
    return {lower, lower + least};
}

/// What an axis shows for values between two extremes: a little more.
QCPRange WithMargin(const QCPRange &extremes)
{
    const double margin = 0.08 * extremes.size();
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

/// Black on white, whatever the screen is like.
QPalette Paper()
{
    QPalette paper;
    paper.setColor(QPalette::Base, Qt::white);
    paper.setColor(QPalette::Text, Qt::black);
    return paper;
}
} // namespace

/// While it lives the chart has the colours of paper.
class Chart::OnPaper
{
public:
    explicit OnPaper(Chart &chart) : chart_(chart) { chart_.UseColours(Paper()); }
    OnPaper(const OnPaper &) = delete;
    OnPaper &operator=(const OnPaper &) = delete;
    ~OnPaper() { chart_.UseColours(chart_.palette()); }

private:
    Chart &chart_;
};

Chart::Chart(QWidget *parent) : QCustomPlot(parent)
{
    MakeFrame();
    MakeCursor();
    UseColours(palette());
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
    cursorText_ = new QCPItemText(this);
    cursorText_->setPadding(cursorPadding);
    cursorText_->setTextAlignment(Qt::AlignLeft);
    cursorText_->setPositionAlignment(Qt::AlignTop | Qt::AlignLeft);
    cursorText_->setClipToAxisRect(false); // it may be wider than that
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
    title_ = new QCPTextElement(this, title, bold);
    title_->setTextColor(ink_);
    plotLayout()->addElement(0, 0, title_);
}

// ---- colours

/// The curves keep their hues; everything else is of the palette's.
void Chart::UseColours(const QPalette &palette)
{
    ground_ = palette.color(QPalette::Base);
    ink_ = palette.color(QPalette::Text);
    setBackground(QBrush(ground_));
    legend->setBrush(Qt::NoBrush);
    legend->setTextColor(ink_);
    if (title_)
        title_->setTextColor(ink_);
    cursorLine_->setPen(QPen(Mixed(ground_, ink_, cursorPart), 0, Qt::DashLine));
    cursorText_->setPen(QPen(Mixed(ground_, ink_, cursorPart)));
    QColor glass = ground_;
    glass.setAlpha(cursorOpacity);
    cursorText_->setBrush(glass);
    cursorText_->setColor(ink_);
    for (Curve *curve : curves_)
        curve->PaintOn(ground_);
    for (Band *band : bands_)
        band->PaintOn(ground_);
    for (Level *level : levels_)
        level->PaintOn(ground_);
    PaintAxes();
}

/// Each in the colour of its first curve.
void Chart::PaintAxes()
{
    const QColor faint = Mixed(ground_, ink_, gridPart);
    for (QCPAxis *axis : axisRect()->axes()) {
        const auto first =
            std::ranges::find_if(curves_, [axis](const Curve *curve) { return curve->valueAxis() == axis; });
        Paint(axis, first == curves_.end() ? ink_ : Readable((*first)->Colour(), ground_, textContrast));
        axis->grid()->setPen(QPen(faint, 0, Qt::DotLine));
        axis->grid()->setZeroLinePen(QPen(faint, 0, Qt::SolidLine));
    }
}

void Chart::changeEvent(QEvent *event)
{
    if (event->type() == QEvent::PaletteChange) {
        UseColours(palette());
        Changed();
    }
    QCustomPlot::changeEvent(event);
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
    axes_.push_back({name, axis, {}});
    SetDraggedAxes();
    return axis;
}

void Chart::Add(Curve *curve, const QColor &colour)
{
    curve->SetColour(colour);
    curve->PaintOn(ground_);
    curve->setScatterStyle(QCPScatterStyle::ssNone);
    curves_.push_back(curve);
    PaintAxes();
    legend->setVisible(true);
    Changed();
}

void Chart::RemoveCurves()
{
    for (Curve *curve : std::exchange(curves_, {}))
        removePlottable(curve);
    for (Band *band : std::exchange(bands_, {}))
        removeItem(band);
    for (Level *level : std::exchange(levels_, {}))
        removeItem(level);
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
    for (const Band *band : bands_) {
        const QCPRange own(band->From(), band->To().value_or(band->From()));
        keys = keys ? keys->expanded(own) : own;
    }
    return keys;
}

// ---- what marks them

void Chart::BeginBand(double key, const QString &name, const QColor &colour)
{
    EndBand(key);
    bands_.push_back(new Band(this, key, name, colour));
    bands_.back()->PaintOn(ground_);
    Changed();
}

void Chart::EndBand(double key)
{
    if (bands_.empty() || bands_.back()->To())
        return;
    bands_.back()->End(key);
    Changed();
}

Level *Chart::AddLevel(QCPAxis *axis, const QString &name, const QColor &colour)
{
    levels_.push_back(new Level(axis, name, colour));
    levels_.back()->PaintOn(ground_);
    return levels_.back();
}

void Chart::SetMost(const QCPAxis *axis, double most)
{
    std::ranges::find(axes_, axis, &Axis::axis)->most = most;
}

// ---- drawing

void Chart::ShowAll()
{
    followed_ = true;
    Changed();
}

bool Chart::IsSeen() const
{
    return isVisible() && updatesEnabled() && !window()->isMinimized();
}

void Chart::Changed()
{
    if (redraw_.IsSet())
        return;
    stale_ = !IsSeen();
    if (stale_)
        return;
    const Clock::Duration since = lastRedraw_ ? lastRedraw_->Elapsed() : redrawPeriod;
    redraw_.Start(std::max(0us, redrawPeriod - since));
}

void Chart::Redraw()
{
    stale_ = !IsSeen();
    if (stale_)
        return;
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
    for (const Axis &used : axes_)
        used.axis->setRange(Fitting(used));
    fitting_ = false;
}

/// What an axis shows with everything in view.
QCPRange Chart::Fitting(const Axis &axis) const
{
    std::optional<QCPRange> values;
    const auto include = [&values](const QCPRange &own) { values = values ? values->expanded(own) : own; };
    double least = 0;
    for (const Curve *curve : curves_) {
        if (curve->valueAxis() != axis.axis)
            continue;
        if (const std::optional<QCPRange> own = curve->Extremes()) {
            include(*own);
            least = std::max(least, LeastSpan(curve->Unit(), own->lower));
        }
    }
    std::optional<double> highest;
    for (const Level *level : levels_)
        if (level->Axis() == axis.axis && level->Value()) {
            include({*level->Value(), *level->Value()});
            highest = highest ? std::max(*highest, *level->Value()) : *level->Value();
        }
    if (!values)
        return WithMargin({0, shortest});
    if (axis.most && highest && values->size() > *axis.most) {
        const double upper = *highest + headroom * *axis.most;
        return {upper - *axis.most, upper};
    }
    return WithMargin(Widened(*values, least));
}

void Chart::Save(const QString &path, Picture picture)
{
    const OnPaper paper(*this);
    // Made elsewhere first: what the file held is only replaced by a whole picture, and nothing waits to open it.
    const QTemporaryDir folder;
    const QString made = folder.filePath(QStringLiteral("picture"));
    if (!(picture == Picture::Pdf ? savePdf(made) : savePng(made, 0, 0, 2)))
        throw FileError(path, QStringLiteral("l'image ne peut pas être écrite"));
    wholefile::Replace(path, wholefile::Read(made, largestPicture));
}

QPixmap Chart::Whole(const QSize &size, double scale)
{
    const OnPaper paper(*this);
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
    const double key = NearestKey(wanted).value_or(wanted);
    QString text = KeyText(key);
    for (const Band *band : bands_)
        if (band->Has(key))
            text += QStringLiteral(" · ") + band->Name();
    for (const Curve *curve : curves_) {
        const qsizetype points = curve->Points();
        if (points == 0 || key < curve->KeyOf(0) - margin || key > curve->KeyOf(points - 1) + margin)
            continue; // it has not begun, or is over
        const double value = curve->ValueOf(*curve->Nearest(key));
        text += u'\n' + curve->name() + QStringLiteral(" : ");
        if (std::isnan(value))
            text += QStringLiteral("–");
        else
            text += number::Str(value).trimmed() + (curve->Unit().isEmpty() ? QString() : u' ' + curve->Unit());
    }
    cursorText_->setText(text);
    const double length =
        QFontMetricsF(cursorText_->font()).size(0, text).width() + cursorPadding.left() + cursorPadding.right() + 1;
    const bool rightHalf = at.x() > axisRect()->center().x();
    const double left = rightHalf ? at.x() - cursorGap - length : at.x() + cursorGap;
    cursorText_->position->setCoords(std::max(0.0, std::min(left, width() - length)), axisRect()->top() + 8);
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

void Chart::paintEvent(QPaintEvent *event)
{
    if (stale_)
        Changed();
    QCustomPlot::paintEvent(event);
}
