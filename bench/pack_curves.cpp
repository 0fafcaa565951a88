// SPDX-License-Identifier: GPL-3.0-or-later
// The pictures of docs/virtual-board.md: what a cell of 2 Ah shows, as SVG files in the folder that is named.

#include "board/pack_trials.h"

#include <array>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iostream>
#include <string>

using Board::Battery;
using Board::Chemistry;

namespace {

struct Point
{
    double x;
    double y;
};

struct Line
{
    const char *name;
    std::vector<Point> points;
};

struct Axis
{
    const char *name;
    double least;
    double most;
    double step;
    const char *format;
};

struct Chart
{
    const char *file;
    Axis x;
    Axis y;
    std::vector<Line> lines;
};

constexpr double width = 640;
constexpr double height = 360;
constexpr double left = 60;
constexpr double right = 130; // for the names
constexpr double top = 12;
constexpr double bottom = 44;
constexpr std::array colours = {"#1f5f9f", "#c0392b", "#2e8b57", "#8e6f00", "#6a3d9a"};

std::string Text(const char *format, double value)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

void Write(const Chart &chart, const std::string &folder)
{
    std::ofstream out(folder + '/' + chart.file);
    const auto x = [&](double value) {
        return left + (value - chart.x.least) / (chart.x.most - chart.x.least) * (width - left - right);
    };
    const auto y = [&](double value) {
        return height - bottom - (value - chart.y.least) / (chart.y.most - chart.y.least) * (height - top - bottom);
    };
    const auto label = [&out](double atX, double atY, const char *anchor, const std::string &text, const char *more) {
        out << "<text x=\"" << atX << "\" y=\"" << atY << "\" text-anchor=\"" << anchor << "\" " << more << '>' << text
            << "</text>\n";
    };
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << width << "\" height=\"" << height
        << "\" font-family=\"sans-serif\" font-size=\"12\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        << "<clipPath id=\"plot\"><rect x=\"" << left << "\" y=\"" << top << "\" width=\"" << width - left - right
        << "\" height=\"" << height - top - bottom << "\"/></clipPath>\n";
    for (double at = chart.x.least; at < chart.x.most + chart.x.step / 2; at += chart.x.step) {
        out << "<path d=\"M" << x(at) << ' ' << top << 'V' << height - bottom << "\" stroke=\"#dddddd\"/>\n";
        label(x(at), height - bottom + 16, "middle", Text(chart.x.format, at), "");
    }
    for (double at = chart.y.least; at < chart.y.most + chart.y.step / 2; at += chart.y.step) {
        out << "<path d=\"M" << left << ' ' << y(at) << 'H' << width - right << "\" stroke=\"#dddddd\"/>\n";
        label(left - 6, y(at) + 4, "end", Text(chart.y.format, at), "");
    }
    label((left + width - right) / 2, height - 8, "middle", chart.x.name, "");
    label(14, (top + height - bottom) / 2, "middle", chart.y.name,
          ("transform=\"rotate(-90 14 " + Text("%.0f", (top + height - bottom) / 2) + ")\"").c_str());
    for (std::size_t i = 0; i < chart.lines.size(); ++i) {
        const char *colour = colours.at(i % colours.size());
        out << "<polyline clip-path=\"url(#plot)\" fill=\"none\" stroke=\"" << colour
            << "\" stroke-width=\"1.5\" points=\"";
        for (const Point &point : chart.lines[i].points)
            out << Text("%.1f", x(point.x)) << ',' << Text("%.1f ", y(point.y));
        out << "\"/>\n";
        label(width - right + 10, top + 16 + 18 * static_cast<double>(i), "start", chart.lines[i].name,
              (std::string("fill=\"") + colour + '"').c_str());
    }
    out << "</svg>\n";
    if (!out.flush())
        throw std::runtime_error(folder + '/' + chart.file + " cannot be written");
}

/// Follows a cell under a current until the value on the horizontal axis is past its end, or the voltage below 0.8 V.
Line Follow(const char *name, Battery cell, double amps, double most,
            const std::function<Point(const Battery &, double seconds)> &look)
{
    Line line{name, {}};
    double seconds = 0;
    for (Point point = look(cell, 0); point.x <= most && cell.Volts(amps) > 0.8; point = look(cell, seconds)) {
        line.points.push_back(point);
        for (int step = 0; step < 10; ++step, ++seconds)
            cell.Pass(1, amps);
    }
    return line;
}

Battery CellOf(Chemistry chemistry, double soc, double celsius, double restDays = 0)
{
    Board::PackOptions options = trials::Cell(chemistry, soc, celsius);
    options.restDays = restDays;
    return Battery(options);
}

} // namespace

int main(int argc, char **argv)
try {
    if (argc != 2) {
        std::cerr << "usage: pack_curves FOLDER\n";
        return 2;
    }
    const auto putIn = [](const Battery &cell, double) {
        return Point{5 * 1.045 + cell.ChargedAmpHours() / 2 * 100, cell.Volts(0)};
    };
    const auto warmth = [&putIn](const Battery &cell, double seconds) {
        return Point{putIn(cell, seconds).x, cell.Celsius()};
    };
    const auto taken = [](double amps) {
        return [amps](const Battery &cell, double) {
            return Point{cell.DischargedAmpHours() / 2 * 100, cell.Volts(-amps)};
        };
    };
    const auto time = [](const Battery &cell, double seconds) { return Point{seconds / 60, cell.Volts(0)}; };
    const auto nimh = [](double soc, double celsius, double days = 0) {
        return CellOf(Chemistry::NiMh, soc, celsius, days);
    };
    const Axis put{"put in, % of the nominal capacity", 0, 140, 20, "%.0f"};
    const Axis out{"taken out, % of the nominal capacity", 0, 110, 10, "%.0f"};
    const auto open = [](double least, double most, double step) {
        return Axis{"V, current interrupted", least, most, step, "%.2f"};
    };
    const std::array charts = {
        Chart{"pack-charge.svg",
              put,
              open(1.20, 1.52, 0.04),
              {Follow("NiMH 0.1 C", nimh(0.05, 20), 0.2, 140, putIn),
               Follow("NiMH 0.5 C", nimh(0.05, 20), 1, 140, putIn), Follow("NiMH 1 C", nimh(0.05, 20), 2, 140, putIn),
               Follow("NiMH 2 C", nimh(0.05, 20), 4, 140, putIn),
               Follow("NiCd 1 C", CellOf(Chemistry::NiCd, 0.05, 20), 2, 140, putIn)}},
        Chart{"pack-heat.svg",
              put,
              {"°C, of the can", 15, 60, 5, "%.0f"},
              {Follow("NiMH 0.1 C", nimh(0.05, 20), 0.2, 140, warmth),
               Follow("NiMH 0.5 C", nimh(0.05, 20), 1, 140, warmth), Follow("NiMH 1 C", nimh(0.05, 20), 2, 140, warmth),
               Follow("NiCd 1 C", CellOf(Chemistry::NiCd, 0.05, 20), 2, 140, warmth)}},
        Chart{"pack-discharge.svg",
              out,
              {"V, under the current", 0.8, 1.4, 0.1, "%.1f"},
              {Follow("NiMH 0.2 C", nimh(1, 20), -0.4, 110, taken(0.4)),
               Follow("NiMH 1 C", nimh(1, 20), -2, 110, taken(2)), Follow("NiMH 2 C", nimh(1, 20), -4, 110, taken(4)),
               Follow("1 C at 0 °C", nimh(1, 0), -2, 110, taken(2))}},
        Chart{"pack-false-peak.svg",
              {"minutes at 1 C, from half full", 0, 20, 2, "%.0f"},
              open(1.30, 1.42, 0.02),
              {Follow("used today", nimh(0.5, 25), 2, 20, time),
               Follow("a month's rest", nimh(0.5, 25, 30), 2, 20, time),
               Follow("... at 10 °C", nimh(0.5, 10, 30), 2, 20, time)}},
    };
    for (const Chart &chart : charts)
        Write(chart, argv[1]);
    return 0;
} catch (const std::exception &error) {
    std::cerr << "pack_curves: " << error.what() << '\n';
    return 1;
}
