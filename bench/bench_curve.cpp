// SPDX-License-Identifier: GPL-3.0-or-later
// What the curve of a run costs: one more record after a night of them, drawn, side by side with Qt Charts where that
// is installed, its memory, and a record that nobody sees.

#include "drawing.h"
#include "runs/runcurve.h"

#include <cmath>
#include <cstdio>

namespace {
constexpr int night = 10 * 3600; // records, one a second
constexpr int curves = 5;
constexpr QSize pane(520, 520);

/// What is measured in a second; quantities from 1 on.
double Value(int second, int quantity)
{
    const double rise = second / double(night);
    const double values[curves] = {7.2 + 1.3 * rise + 0.01 * (second % 3), 1.5 + 0.01 * (second % 4),
                                   std::floor(second / 2.4), std::floor(24 + 8 * rise * rise),
                                   std::floor(300 + 400 * rise) + second % 2};
    return values[quantity - 1];
}

void Tell(RunNews &news, int second)
{
    RunPoint point;
    point.seconds = second;
    point.volts = Value(second, 1);
    point.amperes = Value(second, 2);
    point.milliampereHours = Value(second, 3);
    point.temperature = Value(second, 4);
    point.delta = static_cast<int>(Value(second, 5));
    point.deltaPeak = static_cast<int>(301 + 400 * (second / double(night)));
    Q_EMIT news.Measured(point);
}

drawing::Cost Ours(int records)
{
    const double resident = drawing::ResidentKilobytes();
    RunNews news(RunNews::Kind::Charge);
    RunCurve curve(news);
    curve.resize(pane);
    curve.show();
    QCoreApplication::processEvents();
    int second = 0;
    while (second < records)
        Tell(news, ++second);
    const double bytes = (drawing::ResidentKilobytes() - resident) * 1024;
    return {drawing::OneMore(curve, [&] { Tell(news, ++second); }), bytes / records};
}

/// Microseconds.
double Unseen()
{
    RunNews news(RunNews::Kind::Charge);
    const RunCurve curve(news);
    QElapsedTimer watch;
    watch.start();
    for (int second = 1; second <= night; ++second)
        Tell(news, second);
    return 1e6 * drawing::Seconds(watch) / night;
}
} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication app(argc, argv);
    constexpr int few = 10; // first, so that what all charts share is not counted
    Ours(few);
    const drawing::Cost ours = Ours(night);
    std::printf("one more record after a night of %d, drawn (%dx%d, five curves)\n", night, pane.width(),
                pane.height());
    std::printf("  ours       %8.2f ms, %.1f MB\n", ours.milliseconds, ours.bytesPerPoint * night / 1e6);
#ifdef WITH_QT_CHARTS
    drawing::QtCharts(few, curves, Value, pane);
    const drawing::Cost theirs = drawing::QtCharts(night, curves, Value, pane);
    std::printf("  Qt Charts  %8.2f ms, %.1f MB   ratio %.1f\n", theirs.milliseconds,
                theirs.bytesPerPoint * night / 1e6, theirs.milliseconds / ours.milliseconds);
#else
    std::printf("  (Qt Charts is not installed: nothing to compare with)\n");
#endif
    std::printf("a record while the pane is folded away  %.2f us\n", Unseen());
    return 0;
}
