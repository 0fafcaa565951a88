// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/drive.h"
#include "base/place.h"
#include "base/remembered.h"
#include "support/suite.h"

#include <QMainWindow>
#include <QScreen>
#include <QTemporaryDir>
#include <QtTest>

namespace {
struct Placed : QMainWindow
{
    Placed() { setObjectName(QStringLiteral("Placed")); }
    Place place{*this};
};

/// A drive's folder of its own.
struct Folder : QTemporaryDir
{
    Folder() { drive::SetRoot(path()); }
    ~Folder() { drive::SetRoot({}); }
};
} // namespace

class TestPlace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void AWindowIsWhereItWasWhenItWasClosed()
    {
        const Folder folder;
        const QRect there(90, 70, 333, 222);
        {
            Placed window;
            QVERIFY(!window.place.Restore());
            window.setGeometry(there);
            window.show();
            window.close();
        }
        Placed window;
        QVERIFY(window.place.Restore());
        QCOMPARE(window.geometry(), there);
    }

    void AWindowWhoseScreenIsGoneIsOnTheOneThatIsThere()
    {
        const Folder folder;
        {
            Placed window;
            window.setGeometry(20000, 15000, 5000, 4000);
            window.show();
            window.close();
        }
        Placed window;
        window.place.Restore();
        window.show();
        const QRect room = window.screen()->availableGeometry();
        QCOMPARE(window.size(), room.size());
        QVERIFY(room.contains(window.pos()));
    }

    void WhatIsDamagedIsNotUsed()
    {
        const Folder folder;
        Placed window;
        Remembered(window).setValue(QStringLiteral("place"), QByteArray("oops"));
        const QRect before = window.geometry();
        QVERIFY(!window.place.Restore());
        QCOMPARE(window.geometry(), before);
    }
};

REGISTER_TEST(TestPlace)
#include "tst_place.moc"
