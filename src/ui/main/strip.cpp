// SPDX-License-Identifier: GPL-3.0-or-later
#include "strip.h"

#include "base/tone.h"
#include "runs/stopbutton.h"

#include <QStatusBar>

#include <algorithm>

namespace {
constexpr int gap = 10;
constexpr int least = 60;               // of a text that is cut: with less than that nothing of it can be read
constexpr QMargins margins(9, 0, 9, 4); // in line with what is above it

ElidedLabel *Line(const QString &name, QWidget *parent)
{
    auto *label = new ElidedLabel(parent);
    label->setObjectName(name);
    return label;
}
} // namespace

Strip::Strip(const Codebas &link, const BoardState &board, const QString &cutText, QMainWindow &window)
    : QWidget(&window)
    , link_(link)
    , board_(board)
    , freshness_(window.findChild<Freshness *>(QString(), Qt::FindDirectChildrenOnly))
    , lamp_(new StateLamp(this))
    , does_(Line(QStringLiteral("boardDoes"), this))
    , run_(Line(QStringLiteral("otherRun"), this))
    , stop_(new QToolButton(this))
    , warnings_(new WarningStrip(cutText, this))
    , silence_(Line(QStringLiteral("silence"), this))
    , readings_(Line(QStringLiteral("lastReading"), this))
    , watched_(Line(QStringLiteral("watched"), this))
    , port_(new LinkStatus(link, this))
    , note_(Line(QStringLiteral("note"), this))
{
    setObjectName(QStringLiteral("strip"));
    stop_->setText(QStringLiteral("Arret"));
    stop_->setObjectName(QStringLiteral("stopRun"));
    stop_->setFocusPolicy(Qt::TabFocus); // a press takes the focus from nothing
    StopButton::Paint(*stop_);
    SetTone(*silence_, Tone::Danger);
    SetTone(*run_, Tone::Caution);
    SetTone(*readings_, Tone::Quiet);

    QStatusBar *const bar = window.statusBar();
    bar->addPermanentWidget(this, 1); // a passing word, as menus have them, does not hide it
    bar->setSizeGripEnabled(false);
    bar->setContentsMargins(margins);
    bar->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    connect(bar, &QStatusBar::messageChanged, this, [this](const QString &message) {
        spoken_ = !message.isEmpty();
        Arrange();
    });

    connect(stop_, &QToolButton::clicked, this, &Strip::Stop);
    connect(warnings_, &WarningStrip::Cut, this, &Strip::Cut);
    connect(port_, &LinkStatus::Changed, this, &Strip::Arrange);
    connect(&board_, &BoardState::Changed, this, &Strip::ShowBoard);
    connect(&link_.outputs, &Outputs::WatchedChanged, this, &Strip::ShowWatched);
    connect(&link_.silence, &Silence::Changed, this, [this](bool lasts) {
        silence_->setText(lasts && advises_ ? Silence::advice : QString());
        Arrange();
    });
    if (freshness_)
        connect(freshness_, &Freshness::Changed, this, [this] {
            readings_->setText(freshness_->Text());
            Arrange();
        });
    ShowWarnings({}, false);
    ShowRun({});
    ShowBoard();
    ShowWatched();
}

void Strip::ShowWarnings(const QString &unwatched, bool guardMissing)
{
    warnings_->Show(unwatched, guardMissing);
    ShowBoard();
}

void Strip::ShowRun(const QString &text)
{
    run_->setText(text);
    stop_->setToolTip(text);
    Arrange();
}

void Strip::SetNote(const QString &note)
{
    note_->setText(note);
    Arrange();
}

void Strip::ShowBoard()
{
    const bool past = board_.IsPast();
    const QString text = board_.Text();
    const QString known = past ? QStringLiteral("%1 (dernier état connu)").arg(text) : text;
    lamp_->Show(board_.What(), past, warnings_->Warns());
    lamp_->setAccessibleName(QStringLiteral("État de la carte : %1").arg(known));
    lamp_->setToolTip(lamp_->accessibleName());
    does_->setToolTip(lamp_->accessibleName());
    does_->setText(text);
    SetTone(*does_, past || board_.What() == BoardState::Doing::Unknown ? Tone::Quiet : Tone::Plain);
    Arrange();
}

void Strip::ShowWatched()
{
    const Outputs::Watched &watched = link_.outputs.WhatIsWatched();
    watched_->setText(watched.off.empty()      ? QString()
                      : watched.what.isEmpty() ? QStringLiteral("surveillé")
                                               : QStringLiteral("surveillé : %1").arg(watched.what));
    Arrange();
}

// ---- room

/// The first of them matters most.
std::vector<Strip::Part> Strip::Parts() const
{
    const bool alarm = !warnings_->isHidden() || !silence_->text().isEmpty();
    const bool run = !run_->text().isEmpty();
    const bool calm = !alarm && !spoken_;
    // Both if they fit at all, and why the board is out of sight in any case.
    const int both = width() - lamp_->sizeHint().width() - stop_->sizeHint().width() - does_->sizeHint().width() -
                     port_->sizeHint().width() - 4 * gap;
    const bool portFirst = board_.IsPast() || both >= least;
    const Part port{port_, !spoken_}, other{run_, run};
    return {{lamp_, true},
            {stop_, run},
            {warnings_, !warnings_->isHidden()},
            {does_, true},
            {silence_, !silence_->text().isEmpty()},
            {note_, calm && !note_->text().isEmpty()},
            portFirst ? port : other,
            {readings_, calm && !readings_->text().isEmpty()},
            {watched_, calm && !run && !watched_->text().isEmpty()},
            portFirst ? other : port};
}

QSize Strip::sizeHint() const
{
    int width = 0, height = 0;
    for (const Part &part : Parts())
        width += part.wanted ? part.widget->sizeHint().width() + gap : 0;
    for (const QWidget *child : findChildren<QWidget *>()) // also what is out of sight
        height = std::max(height, child->sizeHint().height());
    return {width, height};
}

/// A window is wide enough from the start to say what flows unwatched.
QSize Strip::minimumSizeHint() const
{
    return {lamp_->sizeHint().width() + gap + warnings_->UsualWidth(), sizeHint().height()};
}

/// From left to right what the board does, what is said of it, and at the right end port, note and "Arret".
void Strip::Arrange()
{
    setMaximumWidth(spoken_ ? sizeHint().width() : QWIDGETSIZE_MAX);
    std::map<const QWidget *, int> widths;
    int left = width();
    for (const auto &[widget, wanted] : Parts()) {
        const int hint = widget->sizeHint().width();
        const bool fits = wanted && left >= std::min(hint, least);
        widths[widget] = fits ? std::min(hint, left) : 0;
        left -= fits ? widths[widget] + gap : 0;
        if (widget != warnings_) // which knows when
            widget->setVisible(fits);
    }
    const auto place = [this, &widths](QWidget *widget, int x) {
        const int high = widget == lamp_ ? lamp_->sizeHint().height() : height();
        widget->setGeometry(x, (height() - high) / 2, widths[widget], high);
        return widths[widget] > 0 ? widths[widget] + gap : 0;
    };
    int x = 0;
    for (QWidget *widget :
         std::initializer_list<QWidget *>{lamp_, does_, watched_, run_, readings_, silence_, warnings_})
        x += place(widget, x);
    int right = width();
    for (QWidget *widget : std::initializer_list<QWidget *>{stop_, note_, port_})
        right -= place(widget, right - widths[widget]);
}

void Strip::resizeEvent(QResizeEvent *)
{
    Arrange();
}
