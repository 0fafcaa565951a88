#pragma once

#include "calibration/switching.h"
#include "support/boxes.h"
#include "support/controls.h"
#include "support/coroutines.h"
#include "support/programlink.h"
#include "support/scriptedboard.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScreen>
#include <QSlider>
#include <QtTest>

#include <type_traits>

/// A calibration window on a connected scripted board, whose readings are made when a test asks for them.
template <class W>
struct CalibrationBench : ProgramLink
{
    CalibrationBench()
    {
        board.Healthy();
        for (const int memory : {39, 40})
            board.On(static_cast<quint8>(memory), 2, [](const QByteArray &) { return Bytes({6}); });
        com.SetPortName(board.Port());
        link.InitSerialPort();
        link.OpenPort();
        link.line.SetPatience(2000); // however long the test takes between two of its steps
    }
    ~CalibrationBench()
    {
        AnswerBoxes();
        Timer::SetScale(1);
    }

    /// Opens the window, sees its writes through and keeps its timer from ticking; gives what was sent.
    QByteArray Open()
    {
        window.Open();
        if (Clock())
            Clock()->stop();
        return Settled();
    }

    /// One tick of the timer, seen through; gives what was sent.
    QByteArray Tick()
    {
        BeginTick();
        return Settled();
    }
    void BeginTick()
    {
        bool ticked = false;
        const auto seen = QObject::connect(Clock(), &QTimer::timeout, Clock(), [&ticked] { ticked = true; });
        const int interval = Clock()->interval();
        Clock()->start(1);
        [[maybe_unused]] const bool done = QTest::qWaitFor([&ticked] { return ticked; });
        Clock()->stop();
        Clock()->setInterval(interval);
        QObject::disconnect(seen);
    }

    /// Presses a button and sees its exchanges through; gives what was sent.
    QByteArray Press(const char *name)
    {
        Find<QAbstractButton>(name)->click();
        return Settled();
    }

    /// Everything sent until the line has come to rest.
    QByteArray Settled()
    {
        for (int quiet = 0; quiet < 3; ++quiet) { // what was asked for begins, and what followed from it too
            QTest::qWait(1);
            if (!QTest::qWaitFor([this] { return link.line.Reader() == 0; }))
                return "the line does not come to rest";
        }
        return board.TakeReceived();
    }

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
    QTimer *Clock() { return static_cast<QWidget &>(window).findChild<QTimer *>(); }

    ScriptedBoard board;
    int switchFailures = 0;
    Switching switching{link, [this](std::exception_ptr) { ++switchFailures; }};
    W window = Make();
    Runner others; ///< handlers of other windows

private:
    W Make()
    {
        if constexpr (std::is_constructible_v<W, Codebas &, Switching &>)
            return W(link, switching);
        else
            return W(link);
    }
};

/// A request sent so many times.
inline QByteArray Times(int count, std::initializer_list<int> request)
{
    return Bytes(request).repeated(count);
}
