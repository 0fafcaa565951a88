// SPDX-License-Identifier: GPL-3.0-or-later
#include "album.h"
#include "complaints.h"
#include "support/suite.h"

#include <QComboBox>
#include <QLayout>
#include <QLineEdit>
#include <QSpinBox>
#include <QToolButton>
#include <QtTest>

namespace {
/// Where values are shown or typed.
QList<QWidget *> Fields(const QWidget &window)
{
    QList<QWidget *> fields;
    for (QWidget *widget : window.findChildren<QWidget *>()) {
        const auto *label = qobject_cast<QLabel *>(widget);
        if (widget->isVisible() &&
            (qobject_cast<QLineEdit *>(widget) || qobject_cast<QAbstractSpinBox *>(widget) ||
             qobject_cast<QComboBox *>(widget) || (label && label->frameShape() != QFrame::NoFrame)))
            fields.append(widget);
    }
    return fields;
}
} // namespace

/// Every window can be used on the screen at hand: it fits, no text is cut, nothing lies on anything else.
class TestGeometry : public QObject
{
    Q_OBJECT

private:
    Album album_;

private Q_SLOTS:
    void EveryWindowFits_data()
    {
        QTest::addColumn<bool>("atWork");
        for (const bool atWork : {false, true})
            for (const QString &name : Album::Windows())
                QTest::newRow(qPrintable(name + (atWork ? QStringLiteral(" at work") : QString()))) << atWork;
    }
    void EveryWindowFits()
    {
        QFETCH(bool, atWork);
        const QString name = QString::fromLatin1(QTest::currentDataTag()).section(u' ', 0, 0);
        QWidget &window = atWork ? album_.ShowAtWork(name) : album_.Show(name);
        album_.Time().Run(1s);
        const QStringList found =
            complaints::OfPlace(window) + complaints::OfTexts(window) + complaints::OfOverlaps(window);
        QVERIFY2(found.isEmpty(), qPrintable(found.join(u'\n')));
    }

    void ACurveThatIsUnfoldedStaysOnTheScreen_data()
    {
        QTest::addColumn<bool>("atWork");
        for (const bool atWork : {false, true})
            for (const char *name : {"Chargeur", "Dechargeur", "MesCapa"})
                QTest::newRow(qPrintable(QLatin1String(name) + (atWork ? QStringLiteral(" at work") : QString())))
                    << atWork;
    }
    void ACurveThatIsUnfoldedStaysOnTheScreen()
    {
        QFETCH(bool, atWork);
        const QString name = QString::fromLatin1(QTest::currentDataTag()).section(u' ', 0, 0);
        QWidget &window = atWork ? album_.ShowAtWork(name) : album_.Show(name);
        auto *button = window.findChild<QToolButton *>(QStringLiteral("CbCourbe"));
        for (int times = button->isChecked() ? 3 : 2; times > 0; --times) {
            button->click();
            album_.Time().Run(1s);
            const QStringList found = complaints::OfPlace(window) + complaints::OfOverlaps(window);
            QVERIFY2(found.isEmpty(), qPrintable(found.join(u'\n')));
        }
    }

    void FieldsKeepTheirWidthInALargeWindow_data()
    {
        QTest::addColumn<QString>("name");
        for (const QString &name : Album::Windows())
            QTest::newRow(qPrintable(name)) << name;
    }
    void FieldsKeepTheirWidthInALargeWindow()
    {
        QFETCH(QString, name);
        QWidget &window = album_.Show(name);
        album_.Time().Run(1s);
        const QSize before = window.size();
        window.resize(before.expandedTo(window.sizeHint()));
        album_.Time().Run(1s);
        QHash<const QWidget *, int> widths;
        for (const QWidget *field : Fields(window))
            widths.insert(field, field->width());
        window.resize(window.size().expandedTo(window.screen()->availableSize()));
        album_.Time().Run(1s);
        QStringList grown;
        for (auto it = widths.cbegin(); it != widths.cend(); ++it)
            if (it.key()->width() > std::max(it.value(), it.key()->sizeHint().width()))
                grown.append(QStringLiteral("%1 from %2 to %3")
                                 .arg(it.key()->objectName())
                                 .arg(it.value())
                                 .arg(it.key()->width()));
        window.resize(before);
        QVERIFY2(grown.isEmpty(), qPrintable(grown.join(u'\n')));
    }

    void TheWindowsHaveTheSameSpaces()
    {
        for (const QString &name : Album::Windows()) {
            if (name == QLatin1String("Chargeur") || name == QLatin1String("Dechargeur") ||
                name == QLatin1String("MesCapa"))
                continue; // which have a pane
            const auto *layout = album_.Show(name).findChild<QWidget *>(QStringLiteral("central"))->layout();
            QCOMPARE(layout->contentsMargins(), QMargins(9, 9, 9, 9));
            const auto *grid = qobject_cast<const QGridLayout *>(layout);
            QCOMPARE(grid ? grid->verticalSpacing() : layout->spacing(), 8);
        }
    }
};

REGISTER_TEST(TestGeometry)
#include "tst_geometry.moc"
