// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/timer.h"
#include "dashboard/fetat.h"
#include "support/boxes.h"
#include "support/programlink.h"

#include <QtTest>

const QColor green(0, 255, 0);
const QColor red(255, 0, 0);

/// The colour that an indicator has in its palette and on the screen; invalid when these two differ.
inline QColor ColourOf(QLabel *indicator)
{
    const QColor colour = indicator->palette().color(indicator->backgroundRole());
    const QImage picture = indicator->grab().toImage();
    return picture.pixelColor(picture.rect().center()) == colour ? colour : QColor();
}

/// The dashboard on a connected scripted board.
struct DashboardBench : ProgramLink
{
    DashboardBench()
    {
        board.Healthy();
        board.On(0, 0, [](const QByteArray &) { return Bytes({6}); });
        for (const int reading : {26, 28, 31})
            board.On(static_cast<quint8>(reading), 0,
                     [this, reading](const QByteArray &) { return Bytes({27, bits[reading], 0}); });
        board.channel = {{5, 575}, {6, 800}, {7, 900}, {8, 100}, {9, 333}, {10, 300}, {11, 500}, {12, 700}, {13, 600}};
        link.InitSerialPort();
        link.OpenPort();
        SetCalibration(link);
        link.MainLeft = 30;
        link.MainTop = 40;
    }
    ~DashboardBench() { AnswerBoxes(); }

    /// Opens the window and sees its greeting of the board through.
    void Open()
    {
        window.Open();
        SOON_EQUAL(board.Received(), Bytes({27, 0}));
        SOON(link.line.Idle());
        board.TakeReceived();
    }

    /// One refresh by hand.
    void Refresh()
    {
        Button("CBmanuel")->click();
        QCOMPARE(window.REF, 1);
        SOON_EQUAL(window.REF, 0);
    }

    /// Presses a button and sees its exchange through; gives what was sent.
    QByteArray Press(const char *name)
    {
        board.TakeReceived();
        Button(name)->click();
        return Settled();
    }
    /// What was sent once the line has come to rest.
    QByteArray Settled()
    {
        clock.RunUntil([this] { return !board.Received().isEmpty() && window.REF == 0 && link.line.Idle(); });
        return board.TakeReceived();
    }

    /// Keeps the reply to a command back; Send() it when it is due.
    void HoldBack(int command, int parameters = 0)
    {
        board.On(static_cast<quint8>(command), parameters, [](const QByteArray &) { return QByteArray(); });
    }
    void AnswerAgain(int channel)
    {
        board.On(static_cast<quint8>(channel), 0, [this, channel](const QByteArray &) {
            return Bytes({27, board.channel[channel] / 256, board.channel[channel] % 256, 0});
        });
    }

    template <class Control>
    Control *Find(const char *name)
    {
        return static_cast<QWidget &>(window).findChild<Control *>(QLatin1String(name));
    }
    QPushButton *Button(const char *name) { return Find<QPushButton>(name); }
    QSlider *SliderOf(const char *name) { return Find<QSlider>(name); }
    QString Text(const char *label) { return Find<QLabel>(label)->text(); }
    QString BoxText(const char *box) { return Find<QLineEdit>(box)->text(); }
    QColor Colour(const char *indicator) { return ColourOf(Find<QLabel>(indicator)); }
    Timer *Ticker() { return Find<Timer>("TmrEtat"); }

    ScriptedBoard board{*port};
    std::map<int, int> bits; ///< data byte by port command
    Kept<FEtat> window{link};
    Runner others; ///< handlers of other windows
};

/// What a refresh sends.
const QByteArray refreshBytes =
    Bytes({27, 5, 27, 6, 27, 7, 27, 8, 27, 9, 27, 10, 27, 11, 27, 12, 27, 13, 27, 28, 27, 31, 27, 41, 27, 31, 27, 26});
