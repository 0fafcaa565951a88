// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "curve.h"
#include "marks.h"

#include <optional>
#include <vector>

/// A chart of curves over a common axis, of time unless said otherwise, each against an axis of its own or one that it
/// shares. The wheel zooms, dragging moves the view, a double click shows everything again; the values under the cursor
/// are told.
class Chart : public QCustomPlot
{
    Q_OBJECT

public:
    explicit Chart(QWidget *parent = nullptr);

    void SetTitle(const QString &title);

    /// The value axis of that name, which is made when there is none: the first one on the left, the others around.
    QCPAxis *ValueAxis(const QString &name);
    /// Shows a curve of this chart's axes; its axis takes the colour of its first curve.
    void Add(Curve *curve, const QColor &colour);
    const std::vector<Curve *> &Curves() const { return curves_; }
    /// No curves, nothing that marks them, and no value axes.
    void RemoveCurves();

    /// The keys from this one on are a phase of that name, until the next one begins or it is ended.
    void BeginBand(double key, const QString &name, const QColor &colour);
    void EndBand(double key);
    const std::vector<Band *> &Bands() const { return bands_; }

    /// A line across at a value of that axis, which is in view with its curves.
    Level *AddLevel(QCPAxis *axis, const QString &name, const QColor &colour);
    const std::vector<Level *> &Levels() const { return levels_; }

    /// With everything in view, an axis that has a level shows no more than `most` of its values, around the highest
    /// level.
    void SetMost(const QCPAxis *axis, double most);

    /// To be called after a change of what the curves or levels hold: draws them soon, or when the chart is seen again.
    void Changed();

    /// The whole chart is in view and stays so as it grows.
    void ShowAll();
    void HideCursor();

    /// Writes the picture as it is seen, but on paper, in place of what the file held. Throws FileError.
    enum class Picture
    {
        Png,
        Pdf
    };
    void Save(const QString &path, Picture picture);
    /// All of it on paper, as a picture that is `scale` times as fine as the screen; nothing need be in sight.
    QPixmap Whole(const QSize &size, double scale);

    /// Milliseconds from one drawing to the next, at least.
    static constexpr auto redrawPeriod = 40ms;

Q_SIGNALS:
    /// The cursor has come to a key.
    void Pointed(double key);

protected:
    /// What the cursor says of a key.
    virtual QString KeyText(double key) const;

private:
    struct Axis
    {
        QString name;
        QCPAxis *axis;
        std::optional<double> most; ///< of its values in view
    };
    void MakeFrame();
    class OnPaper;
    void UseColours(const QPalette &palette);
    void PaintAxes();
    void MakeCursor();
    void SetDraggedAxes();
    void Redraw();
    void FitAxes();
    QCPRange Fitting(const Axis &axis) const;
    bool IsSeen() const;
    std::optional<QCPRange> Keys() const;
    std::optional<double> NearestKey(double key) const;
    void ShowCursor(QPointF at);
    void leaveEvent(QEvent *event) override;
    void changeEvent(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

    std::vector<Axis> axes_; ///< of values
    std::vector<Curve *> curves_;
    std::vector<Band *> bands_;
    std::vector<Level *> levels_;
    QColor ground_; ///< what everything is drawn on
    QColor ink_;    ///< of what belongs to no curve
    QCPTextElement *title_ = nullptr;
    QCPItemStraightLine *cursorLine_;
    QCPItemText *cursorText_;
    QPointF cursorAt_;
    Alarm redraw_{[this] { Redraw(); }};
    std::optional<Stopwatch> lastRedraw_; ///< since it
    bool followed_ = true;                ///< the user has not chosen a view
    bool fitting_ = false;
    bool stale_ = false; ///< it has changed while nobody saw it
};
