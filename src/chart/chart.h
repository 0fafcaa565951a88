#pragma once

#include "base/clock.h"
#include "curve.h"

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
    /// No curves and no value axes.
    void RemoveCurves();

    /// To be called after a change of what the curves hold: draws them soon.
    void Changed();

    /// The whole chart is in view and stays so as it grows.
    void ShowAll();
    void HideCursor();

    /// Writes the picture as it is seen, in place of what the file held. Throws FileError.
    enum class Picture
    {
        Png,
        Pdf
    };
    void Save(const QString &path, Picture picture);
    /// All of it as a picture that is `scale` times as fine as the screen; nothing need be in sight.
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
    void MakeFrame();
    void MakeCursor();
    void SetDraggedAxes();
    void Redraw();
    void FitAxes();
    std::optional<QCPRange> Keys() const;
    std::optional<double> NearestKey(double key) const;
    void ShowCursor(QPointF at);
    void leaveEvent(QEvent *event) override;

    struct Axis
    {
        QString name;
        QCPAxis *axis;
    };
    std::vector<Axis> axes_; ///< of values
    std::vector<Curve *> curves_;
    QCPItemStraightLine *cursorLine_;
    QCPItemText *cursorText_;
    QPointF cursorAt_;
    Alarm redraw_{[this] { Redraw(); }};
    std::optional<Stopwatch> lastRedraw_; ///< since it
    bool followed_ = true;                ///< the user has not chosen a view
    bool fitting_ = false;
};
