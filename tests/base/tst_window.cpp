// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/flag.h"
#include "base/opening.h"
#include "base/window.h"
#include "support/boxes.h"
#include "support/suite.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QSlider>
#include <QVBoxLayout>
#include <QtTest>

namespace {
class Sample : public Window
{
public:
    Sample() : Window(QStringLiteral("Sample"))
    {
        setWindowTitle(QStringLiteral("Essai"));
        auto *central = new QWidget(this);
        auto *column = new QVBoxLayout(central);
        for (QWidget *control : std::initializer_list<QWidget *>{label, box, slider, check, button})
            column->addWidget(control);
        setCentralWidget(central);
        slider->setRange(0, 255);
        slider->setValue(12);
        check->setTristate(true);
        RememberDesign();
        OnClick(button, &Sample::Clicked);
        connect(slider, &QSlider::valueChanged, this, [this] { ++changes; });
        connect(box, &QLineEdit::textChanged, this, [this] { ++changes; });
        connect(check, &QCheckBox::stateChanged, this, [this] { ++changes; });
    }

    using Window::DropHandlers;
    using Window::EndProgram;
    using Window::Start;

    QLabel *label = new QLabel(QStringLiteral("Tension"));
    QLineEdit *box = new QLineEdit(QStringLiteral("0"));
    QSlider *slider = new QSlider;
    QCheckBox *check = new QCheckBox;
    QPushButton *button = new QPushButton(QStringLiteral("Go"));
    int loads = 0;
    int changes = 0;
    int clicks = 0;
    QString labelAtLoad;
    Flag goOn;

protected:
    void Load() override
    {
        ++loads;
        labelAtLoad = label->text();
        label->setText(QStringLiteral("Prêt"));
    }

private:
    Task<void> Clicked()
    {
        ++clicks;
        co_await goOn;
        throw DivisionByZero(QStringLiteral("essai"));
    }
};
} // namespace

class TestWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup()
    {
        AnswerBoxes();
        QTRY_VERIFY(OpenBoxes().isEmpty());
    }

    void OpeningLoadsAndShows()
    {
        Sample window;
        QCOMPARE(window.objectName(), QStringLiteral("Sample"));
        QCOMPARE(window.loads, 0);
        window.Open();
        QCOMPARE(window.loads, 1);
        QVERIFY(window.isVisible());
        QTRY_COMPARE(QGuiApplication::focusWindow(), window.windowHandle());
    }

    void AnOpenOneIsOnlyRaised()
    {
        Sample window;
        Sample other;
        window.Open();
        window.label->setText(QStringLiteral("12 V"));
        other.Open();
        QTRY_COMPARE(QGuiApplication::focusWindow(), other.windowHandle());
        window.Open();
        QTRY_COMPARE(QGuiApplication::focusWindow(), window.windowHandle());
        QCOMPARE(window.loads, 1);
        QCOMPARE(window.label->text(), QStringLiteral("12 V"));
    }

    void AMinimisedOneIsShownAgain()
    {
        Sample window;
        window.Open();
        window.showMinimized();
        QVERIFY(window.isMinimized());
        window.Open();
        QVERIFY(!window.isMinimized());
        QVERIFY(window.isVisible());
        QCOMPARE(window.loads, 1);
    }

    void ReopeningRestoresTheDesign()
    {
        Sample window;
        window.Open();
        window.label->setText(QStringLiteral("12 V"));
        window.box->setText(QStringLiteral("7"));
        window.slider->setValue(200);
        window.check->setCheckState(Qt::PartiallyChecked);
        QCOMPARE(window.changes, 3);
        window.close();
        window.Open();
        QCOMPARE(window.loads, 2);
        QCOMPARE(window.labelAtLoad, QStringLiteral("Tension")); // as designed when Load begins
        QCOMPARE(window.label->text(), QStringLiteral("Prêt"));
        QCOMPARE(window.box->text(), QStringLiteral("0"));
        QCOMPARE(window.slider->value(), 12);
        QCOMPARE(window.check->checkState(), Qt::Unchecked);
        QCOMPARE(window.changes, 3); // as if nobody had touched them
    }

    void CentreIsTheMiddleOfTheScreen()
    {
        Sample window;
        window.resize(300, 200);
        window.Centre();
        const QPoint off = window.geometry().center() - window.screen()->availableGeometry().center();
        QVERIFY2(qAbs(off.x()) <= 1 && qAbs(off.y()) <= 1,
                 qPrintable(QStringLiteral("%1, %2 off").arg(off.x()).arg(off.y())));
    }

    void AHandlerThatFailsIsShownInABox()
    {
        Sample window;
        window.Open();
        window.button->click();
        QCOMPARE(window.clicks, 1);
        QVERIFY(OpenBoxes().isEmpty());
        window.goOn.Set();
        QCOMPARE(OpenBoxes().size(), 1);
        QCOMPARE(OpenBoxes().constFirst()->text(), QStringLiteral("Division par zéro : essai"));
        QCOMPARE(OpenBoxes().constFirst()->windowTitle(), QStringLiteral("Essai"));
        QVERIFY(window.isVisible());
        AnswerBoxes();
        window.button->click(); // the program goes on
        QCOMPARE(window.clicks, 2);
        QCOMPARE(OpenBoxes().size(), 1);
    }

    void DroppedHandlersDoNotGoOn()
    {
        Sample window;
        window.Open();
        window.button->click();
        window.DropHandlers();
        window.goOn.Set();
        QVERIFY(OpenBoxes().isEmpty());
    }

    void HandlersEndWithTheirWindow()
    {
        {
            Sample window;
            window.Open();
            window.button->click();
        } // a sanitizer sees it if the handler outlived the window
        QVERIFY(OpenBoxes().isEmpty());
    }

    void AHandlerWhoseOpeningIsOverEndsWithoutAWord()
    {
        Sample window;
        window.Open();
        window.Start([]() -> Task<void> {
            throw Opening::Over();
            co_return;
        }());
        QVERIFY(OpenBoxes().isEmpty());
    }

    void AnErrorThatEndsTheProgramLeavesNothingToDo()
    {
        Sample window;
        window.Open();
        window.button->click();
        window.EndProgram(TypeMismatch(QStringLiteral("essai")));
        QVERIFY(!window.button->isEnabled());
        QCOMPARE(BoxTexts(), QStringList(QStringLiteral("Incompatibilité de type : essai")));
        window.goOn.Set(); // nobody waits for it any more
        QCOMPARE(OpenBoxes().size(), 1);
        QMetaObject::invokeMethod(qApp, &AnswerBoxes, Qt::QueuedConnection);
        QCOMPARE(QCoreApplication::exec(), 1);
    }
};

REGISTER_TEST(TestWindow)
#include "tst_window.moc"
