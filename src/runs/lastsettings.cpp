// SPDX-License-Identifier: GPL-3.0-or-later
#include "lastsettings.h"

#include "base/remembered.h"
#include "base/sliderbox.h"

#include <QEvent>
#include <QLineEdit>

LastSettings::LastSettings(QWidget *parent) : QPushButton(parent)
{
    setFlat(true);
    QFont underlined = font();
    underlined.setUnderline(true);
    setFont(underlined);
    setCursor(Qt::PointingHandCursor);
    setToolTip(QStringLiteral("Remet les réglages du dernier démarrage ; rien n'est envoyé avant ce clic"));
    QSizePolicy policy = sizePolicy();
    policy.setRetainSizeWhenHidden(true); // nothing moves when it appears
    setSizePolicy(policy);
    connect(this, &QPushButton::clicked, this, &LastSettings::Apply);
    hide();
}

void LastSettings::Keep(SliderBox *box, const QString &words)
{
    settings_.push_back({box->objectName(), words,
                         [box] { return box->IsEmpty() ? QString() : QString::number(box->value()); },
                         [box](const QString &setting) { return box->Text(setting.toInt()); },
                         [box](const QString &setting) { box->Enter(setting.toInt()); }});
    connect(box, &SliderBox::Changed, this, &LastSettings::Offer);
}

void LastSettings::Keep(QLineEdit *entry, const QString &words)
{
    settings_.push_back({entry->objectName(), words, [entry] { return entry->text().trimmed(); },
                         [](const QString &text) { return text; },
                         [entry](const QString &text) { entry->setText(text); }});
    connect(entry, &QLineEdit::textChanged, this, &LastSettings::Offer);
}

void LastSettings::Watch(const RunNews &news)
{
    news_ = &news;
    connect(&news, &RunNews::Began, this, &LastSettings::Remember);
    connect(&news, &RunNews::Over, this, &LastSettings::Offer);
    window()->installEventFilter(this);
}

void LastSettings::Rest()
{
    rests_ = true;
    Offer();
}

void LastSettings::Remember()
{
    if (!rests_) {
        Remembered remembered(*window());
        for (const Setting &setting : settings_)
            if (const QString now = setting.now(); !now.isEmpty())
                remembered.setValue(setting.key, now);
    }
    Offer();
}

/// What is remembered and not set now.
std::vector<std::pair<LastSettings::Setting, QString>> LastSettings::Others() const
{
    std::vector<std::pair<Setting, QString>> others;
    const Remembered remembered(*window());
    for (const Setting &setting : settings_)
        if (const QString last = remembered.value(setting.key).toString(); !last.isEmpty() && last != setting.now())
            others.emplace_back(setting, last);
    return others;
}

void LastSettings::Offer()
{
    if (!window()->isVisible())
        return; // when it opens
    QStringList words;
    if (!rests_ && !news_->On())
        for (const auto &[setting, last] : Others())
            words.append(setting.words.arg(setting.shown(last)));
    if (!words.isEmpty())
        setText(QStringLiteral("Reprendre : ") + words.join(QStringLiteral(", ")));
    setVisible(!words.isEmpty());
}

void LastSettings::Apply()
{
    for (const auto &[setting, last] : Others())
        setting.apply(last);
}

bool LastSettings::eventFilter(QObject *object, QEvent *event)
{
    if (object == window() && event->type() == QEvent::Show && !event->spontaneous())
        Offer();
    return QPushButton::eventFilter(object, event);
}
