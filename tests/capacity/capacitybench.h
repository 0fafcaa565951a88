// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/drive.h"
#include "capacity/mescapa.h"
#include "support/boxes.h"
#include "support/programlink.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

/// As SOON, for what comes after minutes of preparation and pauses.
#define LATER(condition) QVERIFY(Simulated().RunUntil([&] { return bool(condition); }, 1h))
#define LATER_EQUAL(actual, expected)                                                                                  \
    do {                                                                                                               \
        Simulated().RunUntil([&] { return (actual) == (expected); }, 1h);                                              \
        QCOMPARE(actual, expected);                                                                                    \
    } while (false)

/// A capacity window on a connected scripted board, with a drive of its own.
struct CapacityBench : ProgramLink
{
    CapacityBench()
    {
        drive::SetRoot(folder.path());
        board.Healthy();
        board.channel = {{6, 800}, {7, 900}, {5, 575}, {10, 300}, {11, 200}};
        board.On(13, 0,
                 [this](const QByteArray &) { return Reading(volts.isEmpty() ? usualVolts : volts.takeFirst()); });
        board.On(12, 0,
                 [this](const QByteArray &) { return Reading(deltas.isEmpty() ? usualDelta : deltas.takeFirst()); });
        link.InitSerialPort();
        link.OpenPort();
        SetCalibration(link);
        link.SlaveEeprom[2] = 8; // amperes of the discharge: count / 200
        link.SlaveEeprom[3] = 0;
        link.SlaveEeprom[5] = 40;
        QObject::connect(&window, &MesCapa::StateShown, &window, [this](const QString &text) { states.append(text); });
        window.setUpdatesEnabled(false); // nobody looks: painting would take longer than all else
        window.Open();
    }
    ~CapacityBench()
    {
        for (QMessageBox *box : OpenBoxes())
            delete box;
        QDir::setCurrent(QStringLiteral("/"));
        drive::SetRoot(QString());
    }

    static QByteArray Reading(int count) { return Bytes({27, count / 256, count % 256, 0}); }

    QPushButton *Button(const char *name) { return window.findChild<QPushButton *>(QLatin1String(name)); }
    QString Text(const char *label) { return window.findChild<QLabel *>(QLatin1String(label))->text(); }
    QSlider *SliderOf(const char *name) { return window.findChild<QSlider *>(QLatin1String(name)); }
    Timer *TimerOf(const char *name) { return window.findChild<Timer *>(QLatin1String(name)); }
    QLineEdit *Box(const char *name) { return window.findChild<QLineEdit *>(QLatin1String(name)); }
    QColor Lamp() { return window.findChild<QLabel *>(QStringLiteral("Dspvent"))->palette().color(QPalette::Window); }
    void SetTemperature(int degrees) { board.channel[5] = 600 - degrees; }

    /// Does something once the state label shows the text, in an event of its own.
    template <class F>
    void At(const QString &state, F what)
    {
        const auto done = std::make_shared<bool>(false);
        QObject::connect(&window, &MesCapa::StateShown, &window, [this, done, state, what](const QString &text) {
            if (text == state && !std::exchange(*done, true))
                QMetaObject::invokeMethod(&window, what, Qt::QueuedConnection);
        });
    }
    void Start() { Button("CBstart")->click(); }
    /// Starts, and lets time pass until the charge or the discharge is on and waits for its tick.
    void StartAndCharge()
    {
        Start();
        LATER(Text("LbEtat") == QLatin1String("Charge") && board.ChargeOn() && link.line.Idle());
    }
    void StartAndDischarge()
    {
        deltas = {800, 800, 794};
        Start();
        LATER(Text("LbEtat") == QLatin1String("Decharge") && board.DischargeOn() && link.line.Idle());
    }

    bool OutputsOff() { return !board.ChargeOn() && !board.DischargeOn(); }
    /// Whether the window says that it is not certain that all is off.
    bool SaysUnconfirmed() { return window.findChild<QLabel *>(QStringLiteral("unconfirmed"))->isVisible(); }
    QByteArray Result()
    {
        QFile file(window.ResultPath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

    QTemporaryDir folder;
    ScriptedBoard board{*port};
    Kept<MesCapa> window{link};

    QList<int> volts; ///< counts of the next readings of the battery voltage
    int usualVolts = 600;
    QList<int> deltas; ///< and of the delta voltage
    int usualDelta = 800;
    QStringList states; ///< texts of the state label, one after the other
};

// What goes over the line, stated here on its own.
inline const QByteArray idleBytes = Bytes({27, 17, 0, 27, 15, 0, 27, 16, 0, 27, 18, 1});
inline const QByteArray chargeBytes = Bytes({27, 16, 0, 27, 18, 0, 27, 17, 1, 27, 15, 1});
inline const QByteArray dischargeBytes = Bytes({27, 15, 0, 27, 17, 0, 27, 16, 1, 27, 18, 1});
inline const QByteArray resetBytes = Bytes({27, 42, 0, 0, 0});
inline const QByteArray readingsBytes = Bytes({27, 41, 27, 6, 27, 7, 27, 5, 27, 10, 27, 11});
inline const QByteArray batteryBytes = idleBytes + Bytes({27, 13, 27, 12}); // MeasureBattery
inline const QByteArray endSignalBytes = Bytes({27, 24, 10});
inline const QByteArray offBytes = Bytes({27, 17, 0, 27, 16, 0, 27, 15, 0, 27, 18, 1});
inline const QByteArray stopBytes = offBytes + endSignalBytes;
inline const QByteArray backBytes = offBytes + Bytes({27, 19, 0, 27, 20, 0});
inline const QByteArray readLinesBytes = Bytes({27, 31, 27, 31}); // whether all is off, asked twice
inline const QByteArray chargeTickBytes = chargeBytes + readingsBytes + idleBytes + batteryBytes;
inline const QByteArray dischargeTickBytes = dischargeBytes + readingsBytes + idleBytes + batteryBytes;

/// The preparation before the first charge.
inline QByteArray RampBytes()
{
    QByteArray bytes = chargeBytes;
    for (int setting = 1; setting <= 30; ++setting)
        bytes += Bytes({27, 19, setting}) + readingsBytes;
    return bytes + idleBytes;
}

/// The search for the offset that stops at the first place, the count being right at once.
inline QByteArray QuickSearchBytes()
{
    return Bytes({27, 21, 0, 27, 22, 255}) + idleBytes + batteryBytes + Bytes({27, 21, 10});
}

inline QByteArray ResistanceBytes(int setting)
{
    return Bytes({27, 20, 41}) + dischargeBytes + Bytes({27, 13, 27, 20, 1, 27, 13}) + idleBytes +
           Bytes({27, 20, setting});
}

/// A whole measurement of one cycle: two ticks in each phase.
inline void ScriptOneCycle(CapacityBench &bench)
{
    bench.deltas = {800, 800, 794, 100, 100, 100, 800, 800, 794};
    bench.volts = {600, 600, 600, 600, 590, 600, 600, 420};
}
inline QByteArray OneCycleBytes(int chargeSetting, int dischargeSetting)
{
    const QByteArray setting = Bytes({27, 19, chargeSetting});
    return resetBytes + RampBytes() + QuickSearchBytes() + setting + chargeTickBytes + chargeTickBytes // first charge
           + resetBytes + idleBytes + batteryBytes + Bytes({27, 19, 0}) + ResistanceBytes(dischargeSetting) +
           dischargeTickBytes + dischargeTickBytes // discharge
           + resetBytes + QuickSearchBytes() + setting + chargeBytes + idleBytes + batteryBytes +
           chargeTickBytes // second charge; its first wait finds no readings due
           + endSignalBytes;
}
