// SPDX-License-Identifier: GPL-3.0-or-later
// What the monitor costs: records decoded, logged and charted per second against what the line carries, one more chart
// row on long charts, side by side with Qt Charts where that is installed, memory per row, and how soon a click is
// heard during a burst of 5,000 records.

#include "base/drive.h"
#include "base/timer.h"
#include "drawing.h"
#include "link/codebas.h"
#include "link/systemport.h"
#include "monitor/moni.h"
#include "monitor/monitorchart.h"
#include "monitor/monitorlog.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPushButton>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {
constexpr double lineRecords = 19200.0 / 10 / 30; // a second at 19200 baud, 10 bits a byte
constexpr int burst = 5000;
constexpr int width = 1000, height = 600;

QByteArray Record(int i)
{
    QByteArray record("\n>");
    const auto word = [&record](int value) {
        record.append(static_cast<char>(value / 256));
        record.append(static_cast<char>(value % 256));
    };
    word(i % 32768);
    record.append(static_cast<char>(i / 3600 % 24));
    record.append(static_cast<char>(i / 60 % 60));
    record.append(static_cast<char>(i % 60));
    record.append('=');
    for (const int value : {520 + i % 17, 1500 + i % 13, 250 + i % 5, 700 + i % 11, 40, i / 4 % 32768})
        word(value);
    record.append(char(2));
    record.append(char(3));
    for (const int value : {1365, 2304, 9, 11})
        word(value);
    return record;
}

/// The value of a chart cell in the measurements below.
double Value(int row, int column)
{
    return 100 * column + 20 * std::sin(row / 500.0) + row % 7;
}

// ---- decoding

void DecodeLogAndChart()
{
    constexpr int records = 100000;
    QByteArray bytes;
    for (int i = 1; i <= records; ++i)
        bytes += Record(i);
    MonitorChart chart;
    chart.resize(width, height);
    chart.show();
    const QTemporaryDir folder;
    MonitorLog log(folder.path());
    ChartRules rules;
    QElapsedTimer watch;
    watch.start();
    for (int i = 0; i < records; ++i) {
        rules.BeginRecord();
        stream::RecordDecoder decoder;
        QString line;
        for (int at = 1; at <= stream::recordLength; ++at)
            if (const auto field = decoder.Add(static_cast<quint8>(bytes[30 * i + at]))) {
                MonitorLog::Append(line, *field);
                rules.Take(*field, chart);
            }
        log.WriteLine(line);
        rules.EndRecord();
        if (i % 256 == 0)
            QCoreApplication::processEvents(); // drawing has its share
    }
    const double rate = records / drawing::Seconds(watch);
    std::printf("decoded, logged, charted and drawn     %9.0f records/s  %7.0f times the line's %.0f\n", rate,
                rate / lineRecords, lineRecords);
}

/// The other end of a pseudo-terminal, written to by a thread as fast as the program reads.
struct Terminal
{
    Terminal() : master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        grantpt(master);
        unlockpt(master);
        name = QString::fromLocal8Bit(ptsname(master));
        termios settings{};
        tcgetattr(master, &settings);
        cfmakeraw(&settings);
        tcsetattr(master, TCSANOW, &settings);
    }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;
    ~Terminal()
    {
        if (writer.joinable())
            writer.join();
        close(master);
    }
    void Write(const QByteArray &bytes)
    {
        if (writer.joinable())
            writer.join();
        writer = std::thread([this, bytes] {
            for (qsizetype sent = 0; sent < bytes.size();) {
                const auto length = write(master, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent));
                if (length > 0)
                    sent += length;
            }
        });
    }
    int master;
    QString name;
    std::thread writer;
};

struct Window
{
    Window()
    {
        drive::SetRoot(folder.path());
        drive::Prepare();
        com.SetPortName(terminal.name);
        link.InitSerialPort();
        moni.Open();
        while (!link.Streaming) // what comes before is lost with the speed of before
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        Button("CbDepart")->click();
    }
    QPushButton *Button(const char *name) { return moni.findChild<QPushButton *>(QLatin1String(name)); }
    MonitorChart *Chart() { return moni.findChild<MonitorChart *>(QStringLiteral("MSChart1")); }

    QTemporaryDir folder;
    Terminal terminal;
    Com com{std::make_unique<SystemPort>()};
    Timer timer1{QStringLiteral("Timer1"), 200, nullptr};
    Timer timer2{QStringLiteral("Timer2"), 20, nullptr};
    Codebas link{com, timer1, timer2};
    Moni moni{link};
};

void WholeWindow()
{
    constexpr int records = 50000;
    Window window;
    QByteArray bytes;
    for (int i = 1; i <= records; ++i)
        bytes += Record(i);
    QElapsedTimer watch;
    watch.start();
    window.terminal.Write(bytes);
    while (window.Chart()->Rows() < records / 10)
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 100);
    const double rate = records / drawing::Seconds(watch);
    std::printf("the whole window, by a pseudo-terminal %9.0f records/s  %7.0f times the line's %.0f\n", rate,
                rate / lineRecords, lineRecords);
}

/// Clicks come from a thread, as from a hand; each is heard by a handler of the window.
void ClickDuringBursts()
{
    Window window;
    QByteArray bytes;
    for (int i = 1; i <= burst; ++i)
        bytes += Record(i);
    constexpr int bursts = 20;
    std::vector<double> latencies;
    for (int round = 1; round <= bursts; ++round) {
        window.terminal.Write(bytes);
        std::thread hand([&window, &latencies] {
            for (int i = 0; i < 10; ++i) {
                QThread::usleep(2000);
                QElapsedTimer watch;
                watch.start();
                bool heard = false;
                QMetaObject::invokeMethod(
                    &window.moni,
                    [&] {
                        window.Button("CbDepart")->click(); // ignored, but heard
                        heard = true;
                    },
                    Qt::BlockingQueuedConnection);
                if (heard)
                    latencies.push_back(1000 * drawing::Seconds(watch));
            }
        });
        while (window.Chart()->Rows() < round * burst / 10)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 100);
        std::atomic<bool> over = false;
        std::thread end([&hand, &over] {
            hand.join();
            over = true;
        });
        while (!over)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        end.join();
    }
    std::ranges::sort(latencies);
    std::printf("a click during a burst of %d records  middle %.1f ms, 99 %% %.1f ms, worst %.1f ms\n", burst,
                latencies[latencies.size() / 2], latencies[latencies.size() * 99 / 100], latencies.back());
}

// ---- one more row

drawing::Cost OurRow(int rows)
{
    const double resident = drawing::ResidentKilobytes();
    MonitorChart chart;
    chart.resize(width, height);
    chart.show();
    QCoreApplication::processEvents();
    int row = 0;
    const auto add = [&] {
        chart.SetRowCount(++row);
        for (int column = 1; column <= 3; ++column)
            chart.SetCell(row, column, Value(row, column));
    };
    while (row < rows)
        add();
    const double bytes = (drawing::ResidentKilobytes() - resident) * 1024;
    return {drawing::OneMore(chart, add), bytes / rows};
}
} // namespace

int main(int argc, char *argv[])
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    // The largest first: memory that was freed and is used again would not be counted.
    std::printf("one more row, drawn (%dx%d, three curves)\n", width, height);
    for (const int rows : {1000000, 100000, 1000}) {
        const drawing::Cost ours = OurRow(rows);
        std::printf("  %8d rows  %8.2f ms", rows, ours.milliseconds);
        if (rows == 1000000)
            std::printf(", %.0f bytes a row", ours.bytesPerPoint);
#ifdef WITH_QT_CHARTS
        const drawing::Cost theirs = drawing::QtCharts(rows, 3, Value, {width, height});
        std::printf("   Qt Charts %9.2f ms", theirs.milliseconds);
        if (rows == 1000000)
            std::printf(", %.0f bytes a row", theirs.bytesPerPoint);
        std::printf("   ratio %.1f", theirs.milliseconds / ours.milliseconds);
#endif
        std::printf("\n");
        std::fflush(stdout);
    }
#ifndef WITH_QT_CHARTS
    std::printf("  (Qt Charts is not installed: nothing to compare with)\n");
#endif
    DecodeLogAndChart();
    WholeWindow();
    ClickDuringBursts();
    return 0;
}
