// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QtTest>

#include <initializer_list>

/// A control of a window: its name, its class and its caption or first text; nullptr where there is none to check.
struct Control
{
    const char *name, *kind, *caption;
};

/// The rows of a window's table of controls.
inline void AddControls(std::initializer_list<Control> controls)
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("caption");
    for (const Control &control : controls)
        QTest::newRow(control.name) << QString::fromUtf8(control.name) << QString::fromUtf8(control.kind)
                                    << (control.caption ? QString::fromUtf8(control.caption) : QString());
}

/// Holds the row at hand against the window.
inline void CheckControl(const QWidget &window)
{
    QFETCH(QString, name);
    QFETCH(QString, kind);
    QFETCH(QString, caption);
    const auto *control = window.findChild<QWidget *>(name);
    QVERIFY(control);
    QCOMPARE(QString::fromLatin1(control->metaObject()->className()), kind);
    if (!caption.isNull())
        QCOMPARE(control->property(kind == QLatin1String("QGroupBox") ? "title" : "text").toString(), caption);
}
