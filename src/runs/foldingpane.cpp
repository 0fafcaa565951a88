// SPDX-License-Identifier: GPL-3.0-or-later
#include "foldingpane.h"

#include "base/remembered.h"
#include "base/screenfit.h"
#include "warning.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QMainWindow>
#include <QScreen>
#include <QSignalBlocker>
#include <QToolButton>

#include <algorithm>

namespace {
const QString key = QStringLiteral("courbe");

// Widths in pixels.
constexpr int least = 180;
constexpr int inviting = 360; // less room than this has to be asked for
constexpr int usual = 520;
constexpr int leastHeight = 160;
} // namespace

FoldingPane::FoldingPane(QMainWindow &window, QWidget *content, QWidget *frame, const QString &caption)
    : window_(window), controls_(window.takeCentralWidget()), button_(new QToolButton(frame->parentWidget()))
{
    auto *both = new QWidget(&window);
    both->setObjectName(QStringLiteral("withPane"));
    auto *row = new QHBoxLayout(both);
    row->setContentsMargins({});
    row->setSpacing(0);
    row->addWidget(controls_);
    row->addWidget(this, 1);
    controls_->show();
    window.setCentralWidget(both);

    auto *own = new QHBoxLayout(this);
    QMargins margins = controls_->layout()->contentsMargins();
    margins.setLeft(0);
    own->setContentsMargins(margins);
    own->addWidget(content);
    content->setMinimumSize(1, leastHeight);

    button_->setObjectName(QStringLiteral("CbCourbe"));
    button_->setText(caption);
    button_->setToolTip(QStringLiteral("Montre ou cache la courbe"));
    button_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    button_->setAutoRaise(true);
    button_->setCheckable(true);
    button_->setFocusPolicy(Qt::TabFocus);
    button_->setFixedHeight(button_->fontMetrics().height() + 2); // as high as the title line
    button_->setIconSize(QSize(8, 8));
    PutOnTitleLine(button_, frame);
    connect(button_, &QToolButton::toggled, this, &FoldingPane::Fold);
    window.installEventFilter(this);
    Show(false);
}

void FoldingPane::Recall()
{
    const QVariant kept = Remembered(window_).value(key);
    const int room = RoomOnScreen(window_).width() - controls_->sizeHint().width();
    setMinimumWidth(OpeningWidth()); // until the window has taken its size
    Show(kept.isValid() ? kept.toBool() : room >= inviting);
}

void FoldingPane::Show(bool shown)
{
    const QSignalBlocker quiet(button_);
    button_->setChecked(shown);
    button_->setArrowType(shown ? Qt::LeftArrow : Qt::RightArrow);
    setVisible(shown);
    parentWidget()->layout()->activate(); // so that the window knows what it needs
    window_.layout()->activate();
}

/// The user's wish: the window grows and shrinks by the pane.
void FoldingPane::Fold(bool shown)
{
    Remembered(window_).setValue(key, shown);
    const int before = window_.width();
    const int pane = shown ? OpeningWidth() : width();
    Show(shown);
    if (window_.isMaximized() || window_.isFullScreen())
        return;
    window_.resize(shown ? std::min(before + pane, RoomOnScreen(window_).width()) : before - pane, window_.height());
    if (window_.centralWidget() != parentWidget()) // it scrolls, and would not have to grow
        FitOnScreen(window_);
    KeepOnScreen();
}

/// What the screen has room for beside the controls.
int FoldingPane::OpeningWidth() const
{
    return std::clamp(RoomOnScreen(window_).width() - controls_->sizeHint().width(), least, usual);
}

/// A window that has grown is moved to the left if it has to be.
void FoldingPane::KeepOnScreen()
{
    const QRect room = window_.screen()->availableGeometry();
    const QRect frame = window_.frameGeometry();
    if (isVisible() && frame.right() > room.right())
        window_.move(std::max(room.left(), frame.x() - (frame.right() - room.right())), window_.y());
}

bool FoldingPane::eventFilter(QObject *object, QEvent *event)
{
    if (object == &window_ && event->type() == QEvent::Show && !event->spontaneous()) {
        setMinimumWidth(least);
        KeepOnScreen();
    }
    return QWidget::eventFilter(object, event);
}
