// SPDX-License-Identifier: GPL-3.0-or-later
#include "album.h"
#include "support/suite.h"

#include <QAbstractButton>
#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QScrollArea>
#include <QSet>
#include <QShortcut>
#include <QSlider>
#include <QSpinBox>
#include <QtTest>

namespace {
void Wheel(QWidget *widget)
{
    const QPointF middle = QRectF(widget->rect()).center();
    QWheelEvent turn(middle, widget->mapToGlobal(middle), {}, QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                     Qt::NoScrollPhase, false);
    QApplication::sendEvent(widget, &turn);
}

/// The pane's button comes with its pane, after what is beside that, and so does the pack.
const QStringList comeLast{QStringLiteral("CbCourbe"), QStringLiteral("accu")};

QRect PlaceOf(const QWidget *widget)
{
    return {widget->mapTo(widget->window(), QPoint()), widget->size()};
}

/// What the tabulator comes to in a window.
QList<QWidget *> TabOrder(QWidget &window)
{
    QList<QWidget *> order;
    for (QWidget *next = window.nextInFocusChain(); next != &window; next = next->nextInFocusChain())
        if (next->window() == &window && next->isVisible() && next->isEnabled() && !next->focusProxy() &&
            (next->focusPolicy() & Qt::TabFocus) == Qt::TabFocus && !qobject_cast<QScrollArea *>(next) &&
            !comeLast.contains(next->objectName()))
            order.append(next);
    return order;
}

/// Whether one comes after the other for somebody who reads: further down, to the right of it in the same line, or at
/// the head of a column further to the right.
bool Follows(const QRect &next, const QRect &before)
{
    if (next.top() > before.bottom() || next.left() > before.right())
        return true;
    return next.bottom() >= before.top() && next.left() >= before.left() && next.top() >= before.top();
}
} // namespace

/// Every window can be used without a mouse, and the wheel does no harm.
class TestKeys : public QObject
{
    Q_OBJECT

private:
    Album album_;

    static void AddWindows()
    {
        QTest::addColumn<QString>("name");
        for (const QString &name : Album::Windows())
            QTest::newRow(qPrintable(name)) << name;
    }
    QWidget &Shown()
    {
        QFETCH(QString, name);
        QWidget &window = album_.Show(name);
        window.activateWindow();
        album_.Time().Run(1s);
        return window;
    }

private Q_SLOTS:
    void EveryButtonHasALetterOfItsOwn_data() { AddWindows(); }
    void EveryButtonHasALetterOfItsOwn()
    {
        const QWidget &window = Shown();
        QSet<QString> keys;
        for (const QShortcut *shortcut : window.findChildren<QShortcut *>(QString(), Qt::FindDirectChildrenOnly)) {
            const QString key = shortcut->key().toString();
            QVERIFY2(!keys.contains(key), qPrintable(key));
            keys.insert(key);
        }
        for (const QMenu *menu : window.findChildren<QMenu *>(QRegularExpression(QStringLiteral("^Mnu"))))
            for (const QAction *action : menu->actions()) {
                if (action->isCheckable() || action->isSeparator())
                    continue; // ports, which come and go
                const QString key = action->shortcut().toString();
                QVERIFY2(!key.isEmpty() && !keys.contains(key), qPrintable(action->text() + u' ' + key));
                keys.insert(key);
            }
        for (const QPushButton *button : window.findChildren<QPushButton *>())
            QVERIFY2(button->window() != &window || button->text().isEmpty() ||
                         button->toolTip().contains(QStringLiteral("Alt+")),
                     qPrintable(button->objectName()));
    }

    void AnIndicatorHasNoLetter()
    {
        const QWidget &window = album_.Show(QStringLiteral("Chargeur"));
        album_.Time().Run(1s);
        QVERIFY(!window.findChild<QCheckBox *>(QStringLiteral("Check1"))->toolTip().contains(QStringLiteral("Alt+")));
        QVERIFY(
            window.findChild<QPushButton *>(QStringLiteral("CBstart"))->toolTip().contains(QStringLiteral("Alt+D")));
    }

    void ALetterPressesItsButtonAndNoOther()
    {
        QWidget &window = album_.Show(QStringLiteral("Main"));
        window.activateWindow();
        album_.Time().Run(1s);
        auto *button = window.findChild<QPushButton *>(QStringLiteral("Cb_Reglage"));
        QTest::keyClick(&window, Qt::Key_R, Qt::AltModifier);
        album_.Time().Run(1s);
        QVERIFY(button->toolTip().contains(QStringLiteral("Alt+R")));
        const auto widgets = QApplication::topLevelWidgets();
        const QWidget *opened = *std::ranges::find(widgets, QStringLiteral("Reglage"), &QWidget::objectName);
        QVERIFY(opened->isVisible());
    }

    void EnterPressesTheButtonThatHasTheFocus()
    {
        const QWidget &window = album_.Show(QStringLiteral("FEtat"));
        auto *button = window.findChild<QPushButton *>(QStringLiteral("CBAUTO"));
        QSignalSpy pressed(button, &QPushButton::clicked);
        for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter})
            QTest::keyClick(button, key);
        QCOMPARE(pressed.size(), 2);
    }

    void EscapeLeavesAWindow_data() { AddWindows(); }
    void EscapeLeavesAWindow()
    {
        QWidget &window = Shown();
        QTest::keyClick(&window, Qt::Key_Escape);
        album_.Time().Run(1s);
        QCOMPARE(window.isVisible(), window.objectName() == QLatin1String("Main"));
    }

    void EscapeDoesNotLeaveARun_data()
    {
        QTest::addColumn<QString>("name");
        for (const char *name : {"Chargeur", "Dechargeur", "MesCapa"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }
    void EscapeDoesNotLeaveARun()
    {
        QFETCH(QString, name);
        QWidget &window = album_.ShowAtWork(name);
        window.findChild<QPushButton *>(QStringLiteral("CBstart"))->click(); // one may have come to its end
        album_.Time().Run(10s);
        QTest::keyClick(&window, Qt::Key_Escape);
        album_.Time().Run(1s);
        QVERIFY(window.isVisible());
        window.findChild<QPushButton *>(QStringLiteral("CBStop"))->click();
        album_.Time().Run(5s);
    }

    void TheTabulatorGoesAsOneReads_data() { AddWindows(); }
    void TheTabulatorGoesAsOneReads()
    {
        QWidget &window = Shown();
        const QList<QWidget *> order = TabOrder(window);
        QVERIFY(!order.isEmpty());
        QStringList backwards;
        const QWidget *before = order.constLast();
        for (const QWidget *next : order) {
            if (!Follows(PlaceOf(next), PlaceOf(before)))
                backwards.append(next->objectName() + QStringLiteral(" comes after ") + before->objectName());
            before = next;
        }
        QVERIFY2(backwards.size() <= 1, qPrintable(backwards.join(u'\n'))); // the order goes round
    }

    void TheWheelChangesNothingThatHasNotTheFocus_data() { AddWindows(); }
    void TheWheelChangesNothingThatHasNotTheFocus()
    {
        QWidget &window = Shown();
        if (QWidget *focus = QApplication::focusWidget())
            focus->clearFocus();
        for (auto *slider : window.findChildren<QSlider *>()) {
            const int before = slider->value();
            Wheel(slider);
            QCOMPARE(slider->value(), before);
            QVERIFY(slider->focusPolicy() != Qt::WheelFocus);
        }
        for (auto *box : window.findChildren<QSpinBox *>()) {
            const int before = box->value();
            Wheel(box);
            QCOMPARE(box->value(), before);
        }
        for (auto *box : window.findChildren<QComboBox *>()) {
            const int before = box->currentIndex();
            Wheel(box);
            QCOMPARE(box->currentIndex(), before);
        }
    }

    void TheWheelTurnsASliderThatHasTheFocus()
    {
        const QWidget &window = album_.Show(QStringLiteral("Exteepr"));
        window.findChild<QAbstractButton *>(QStringLiteral("Option2"))->click();
        album_.Time().Run(60s);
        auto *slider = window.findChild<QSlider *>(QStringLiteral("Slider1"));
        slider->setFocus();
        SOON(slider->hasFocus());
        const int before = slider->value();
        Wheel(slider);
        QVERIFY(slider->value() != before);
    }
};

REGISTER_TEST(TestKeys)
#include "tst_keys.moc"
