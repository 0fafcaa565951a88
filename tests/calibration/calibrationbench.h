// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/timer.h"
#include "base/window.h"
#include "support/boxes.h"
#include "support/controls.h"
#include "support/programlink.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScreen>
#include <QSlider>
#include <QtTest>

/// A calibration window on a connected scripted board, whose readings are made when a test asks for them.
template <class W>
struct CalibrationBench : ProgramLink
{
    CalibrationBench()
    {
        board.Healthy();
        for (const int memory : {39, 40})
            board.On(static_cast<quint8>(memory), 2, [](const QByteArray &) { return Bytes({6}); });
        link.InitSerialPort();
        link.OpenPort();
    }
    ~CalibrationBench() { AnswerBoxes(); }

    /// Opens the window, sees its writes through and keeps its timer from ticking; gives what was sent.
    QByteArray Open()
    {
        window.Open();
        const QByteArray sent = Settled();
        if (Ticker())
            Ticker()->SetEnabled(false);
        return sent;
    }

    /// One tick of the timer, seen through; gives what was sent.
    QByteArray Tick()
    {
        BeginTick();
        return Settled();
    }
    /// One tick and no more.
    void BeginTick()
    {
        Ticker()->SetEnabled(false);
        Q_EMIT Ticker()->Tick();
    }

    /// Presses a button and sees its exchanges through; gives what was sent.
    QByteArray Press(const char *name)
    {
        Find<QAbstractButton>(name)->click();
        return Settled();
    }

    /// Everything sent until the line has come to rest.
    QByteArray Settled() { return Rests() ? board.TakeReceived() : QByteArray("the line does not come to rest"); }

    /// Lets a command go unanswered; Send() the answer when it is due.
    void HoldBack(int command, int parameters)
    {
        board.On(static_cast<quint8>(command), parameters, [](const QByteArray &) { return QByteArray(); });
    }

    void Type(const char *box, const char *text) { Find<QLineEdit>(box)->setText(QLatin1String(text)); }
    QString BoxText(const char *box) { return Find<QLineEdit>(box)->text(); }
    QString Text(const char *label) { return Find<QLabel>(label)->text(); }
    bool Refused(const char *box)
    {
        return Find<QLineEdit>(box)->palette().color(QPalette::Base) != QPalette().color(QPalette::Base);
    }
    bool Centred()
    {
        const QPoint off = window.geometry().center() - window.screen()->availableGeometry().center();
        return qAbs(off.x()) <= 2 && qAbs(off.y()) <= 2;
    }
    template <class Control>
    Control *Find(const char *name)
    {
        return static_cast<QWidget &>(window).findChild<Control *>(QLatin1String(name));
    }
    Timer *Ticker() { return static_cast<QWidget &>(window).findChild<Timer *>(); }

    ScriptedBoard board{*port};
    Kept<W> window{link};
    Runner others; ///< handlers of other windows
};

/// A request sent so many times.
inline QByteArray Times(int count, std::initializer_list<int> request)
{
    return Bytes(request).repeated(count);
}
