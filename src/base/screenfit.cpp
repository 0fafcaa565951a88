// SPDX-License-Identifier: GPL-3.0-or-later
#include "screenfit.h"

#include <QEvent>
#include <QLayout>
#include <QMainWindow>
#include <QMenuBar>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QStatusBar>

#include <algorithm>

namespace {
constexpr QSize frame(10, 40); // of a window, in pixels; nobody knows it before the window is shown
const QString scrolled = QStringLiteral("scrolled");

/// The room for a window without its frame.
QSize Room(const QWidget &window)
{
    return window.screen()->availableSize() - frame;
}

/// The height of a window's bars, which do not scroll.
int Bars(const QWidget &window)
{
    int height = 0;
    for (const QWidget *bar : window.findChildren<QWidget *>(QString(), Qt::FindDirectChildrenOnly))
        if (!bar->isHidden() && (qobject_cast<const QStatusBar *>(bar) || qobject_cast<const QMenuBar *>(bar)))
            height += bar->sizeHint().height();
    return height;
}

/// As large as what is in it, or as the screen allows.
class ScrolledContent : public QScrollArea
{
public:
    explicit ScrolledContent(QWidget *content)
    {
        setObjectName(scrolled);
        setFrameShape(QFrame::NoFrame);
        setFocusPolicy(Qt::NoFocus);
        setWidgetResizable(true);
        setWidget(content);
        content->setAutoFillBackground(false); // the window's own is there
        viewport()->setAutoFillBackground(false);
    }

    QSize sizeHint() const override { return Fitting(widget()->sizeHint().expandedTo(widget()->minimumSizeHint())); }
    QSize minimumSizeHint() const override { return Fitting(widget()->minimumSizeHint()); }

protected:
    bool eventFilter(QObject *object, QEvent *event) override
    {
        if (event->type() == QEvent::LayoutRequest)
            updateGeometry();
        return QScrollArea::eventFilter(object, event);
    }

private:
    /// That, with the scroll bars which it takes to have no more than there is room for.
    QSize Fitting(QSize needed) const
    {
        const QSize room = Room(*window()) - QSize(0, Bars(*window()));
        if (needed.height() > room.height())
            needed.rwidth() += verticalScrollBar()->sizeHint().width();
        if (needed.width() > room.width())
            needed.rheight() += horizontalScrollBar()->sizeHint().height();
        return needed.boundedTo(room);
    }
};
} // namespace

void FitOnScreen(QMainWindow &window)
{
    const QRect screen = window.screen()->availableGeometry();
    const QSize room = Room(window);
    window.setMinimumSize(window.minimumSize().boundedTo(room));
    const QSize needed = window.minimumSizeHint();
    if ((needed.width() > room.width() || needed.height() > room.height()) &&
        window.centralWidget()->objectName() != scrolled) {
        auto *content = new ScrolledContent(window.takeCentralWidget());
        window.setCentralWidget(content);
        content->widget()->show();
    }
    const bool scrolls = window.centralWidget()->objectName() == scrolled;
    const QSize wanted = scrolls ? window.size().expandedTo(window.sizeHint()) : window.size();
    window.resize(wanted.boundedTo(room));
    if (!screen.contains(window.geometry()))
        window.move(std::clamp(window.x(), screen.left(), screen.right() - window.width() - frame.width() + 1),
                    std::clamp(window.y(), screen.top(), screen.bottom() - window.height() - frame.height() + 1));
}
