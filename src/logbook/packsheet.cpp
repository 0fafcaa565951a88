// SPDX-License-Identifier: GPL-3.0-or-later
#include "packsheet.h"

#include "historychart.h"
#include "runs/runwords.h"
#include "words.h"

#include <QAbstractTextDocumentLayout>
#include <QBuffer>
#include <QPainter>
#include <QPdfWriter>
#include <QTextDocument>

#include <algorithm>
#include <cmath>

namespace {
constexpr int dotsPerInch = 300;
constexpr int marginMm = 15;
constexpr size_t listed = 20; // there is room for so many below the chart
constexpr int longestNote = 300;
constexpr QSize chartSize(860, 400); // in pixels of a screen
constexpr double chartScale = 3;

QString Row(const QStringList &cells, const QString &tag)
{
    QString row = QStringLiteral("<tr>");
    for (const QString &cell : cells)
        row += QStringLiteral("<%1 align=\"right\">%2</%1>").arg(tag, cell);
    return row + QStringLiteral("</tr>");
}

QString Facts(const PackSheet &sheet)
{
    const Pack &pack = sheet.pack;
    QStringList facts;
    const auto add = [&facts](const QString &name, const QString &value) {
        if (!value.isEmpty())
            facts.append(
                QStringLiteral("<tr><td><b>%1</b>&nbsp;&nbsp;</td><td>%2</td></tr>").arg(name, value.toHtmlEscaped()));
    };
    add(QStringLiteral("Chimie"), pack.chemistry);
    add(QStringLiteral("Éléments"), pack.cells > 0 ? QString::number(pack.cells) : QString());
    add(QStringLiteral("Capacité nominale"), pack.nominal > 0 ? runwords::Capacity(pack.nominal) : QString());
    add(QStringLiteral("Date"), pack.since.isValid() ? pack.since.toString(QStringLiteral("dd/MM/yyyy")) : QString());
    add(QStringLiteral("Note"), pack.note.left(longestNote));
    double in = 0, out = 0;
    for (const RunEntry &run : sheet.runs) {
        in += run.figures.milliampereHoursIn;
        out += run.figures.milliampereHoursOut;
    }
    add(QStringLiteral("Travaux"), QStringLiteral("%1, en tout %2 chargés et %3 déchargés")
                                       .arg(sheet.runs.size())
                                       .arg(runwords::Capacity(in), runwords::Capacity(out)));
    const auto last = std::ranges::find_if(sheet.cycles.rbegin(), sheet.cycles.rend(),
                                           [](const PackCycle &cycle) { return cycle.capacity.has_value(); });
    if (last != sheet.cycles.rend()) {
        const QString share = words::Share(*last->capacity, pack.nominal);
        add(QStringLiteral("Dernière capacité"),
            runwords::Capacity(*last->capacity) + (share.isEmpty() ? QString() : QStringLiteral(", ") + share));
    }
    return QStringLiteral("<table>%1</table>").arg(facts.join(QString()));
}

QString Cycles(const PackSheet &sheet)
{
    if (sheet.cycles.empty())
        return QStringLiteral("<p>Aucune décharge complète n'est encore inscrite pour cet accu.</p>");
    QString rows = Row({QStringLiteral("Cycle"), QStringLiteral("Date"), QStringLiteral("Capacité [mAh]"),
                        QStringLiteral("Part de la nominale [%]"), QStringLiteral("Résistance [mΩ]")},
                       QStringLiteral("th"));
    const size_t count = sheet.cycles.size();
    for (size_t i = count; i > 0 && i + listed > count; --i) {
        const PackCycle &cycle = sheet.cycles[i - 1];
        const bool hasShare = cycle.capacity && sheet.pack.nominal > 0;
        rows += Row(
            {QString::number(i), cycle.began.toString(QStringLiteral("dd/MM/yyyy HH:mm")),
             cycle.capacity ? QString::number(std::floor(*cycle.capacity)) : QStringLiteral("–"),
             hasShare ? QString::number(std::round(100 * *cycle.capacity / sheet.pack.nominal)) : QStringLiteral("–"),
             cycle.resistance ? QString::number(*cycle.resistance) : QStringLiteral("–")},
            QStringLiteral("td"));
    }
    const QString title =
        count > listed ? QStringLiteral("Les %1 derniers cycles").arg(listed) : QStringLiteral("Cycles");
    return QStringLiteral("<h3>%1</h3><table width=\"100%\" cellpadding=\"2\">%2</table>").arg(title, rows);
}

/// Draws a piece of the page at `top`; how high it was, in dots.
int Draw(QPainter &painter, const QString &html, int top, int width)
{
    QTextDocument document;
    document.documentLayout()->setPaintDevice(painter.device());
    document.setDefaultFont(QFont(QStringLiteral("DejaVu Sans"), 9));
    document.setDocumentMargin(0);
    document.setHtml(html);
    document.setTextWidth(width);
    painter.save();
    painter.translate(0, top);
    document.drawContents(&painter);
    painter.restore();
    return static_cast<int>(std::ceil(document.size().height()));
}
} // namespace

QByteArray PackSheet::Pdf() const
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QPdfWriter writer(&buffer);
    writer.setResolution(dotsPerInch);
    writer.setPageSize(QPageSize(QPageSize::A4));
    writer.setPageMargins(QMarginsF(marginMm, marginMm, marginMm, marginMm), QPageLayout::Millimeter);
    writer.setTitle(QStringLiteral("Accu %1").arg(pack.name));
    writer.setCreator(QStringLiteral("Voltaire"));
    QPainter painter(&writer);
    const int width = writer.width();
    const int gap = dotsPerInch / 8;

    int top = Draw(painter,
                   QStringLiteral("<h1>Accu %1</h1><p>Rapport du %2</p>%3")
                       .arg(pack.name.toHtmlEscaped(), made.toString(QStringLiteral("dd/MM/yyyy HH:mm")), Facts(*this)),
                   0, width) +
              gap;
    if (!cycles.empty()) {
        HistoryChart chart;
        chart.Show(cycles, pack.nominal);
        const QRect place(0, top, width, width * chartSize.height() / chartSize.width());
        painter.drawPixmap(place, chart.Whole(chartSize, chartScale));
        top += place.height() + gap;
    }
    Draw(painter, Cycles(*this), top, width);
    painter.end();
    return bytes;
}
