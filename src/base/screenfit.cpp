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
        const QSize room = RoomOnScreen(*window()) - QSize(0, Bars(*window()));
        if (needed.height() > room.height())
            needed.rwidth() += verticalScrollBar()->sizeHint().width();
        if (needed.width() > room.width())
            needed.rheight() += horizontalScrollBar()->sizeHint().height();
        return needed.boundedTo(room);
    }
};
} // namespace

QSize RoomOnScreen(const QWidget &window)
{
    return window.screen()->availableSize() - frame;
}

void FitOnScreen(QMainWindow &window)
{
    const QSize room = RoomOnScreen(window);
    const auto fits = [&room](const QSize &size) { return size.boundedTo(room) == size; };
    bool scrolls = window.centralWidget()->objectName() == scrolled;
    const QSize needed = window.minimumSizeHint();
    const bool folds = window.centralWidget()->objectName() == QLatin1String("withPane"); // rather than scroll sideways
    if (!scrolls && (needed.height() > room.height() || (needed.width() > room.width() && !folds))) {
        auto *content = new ScrolledContent(window.takeCentralWidget());
        window.setCentralWidget(content);
        content->widget()->show();
        window.layout()->activate();
        scrolls = true;
    }
    if (!folds && !fits(window.minimumSize()))
        window.setMinimumSize(window.minimumSize().boundedTo(room));
    const QSize before = window.size();
    if (folds && !scrolls)
        return;
    const QSize wanted = (scrolls ? before.expandedTo(window.sizeHint()) : before).boundedTo(room);
    if (wanted == before)
        return;
    window.resize(wanted);
    if (fits(before))
        return;
    const QRect screen = window.screen()->availableGeometry();
    const QPoint corner = window.pos() + QRect(QPoint(), before).center() - window.rect().center(); // about its middle
    window.move(std::clamp(corner.x(), screen.left(), screen.right() - window.width()),
                std::clamp(corner.y(), screen.top(), screen.bottom() - window.height()));
}
