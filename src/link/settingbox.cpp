// SPDX-License-Identifier: GPL-3.0-or-later
#include "settingbox.h"

#include "base/tone.h"
#include "measurement.h"

#include <QEvent>
#include <QLabel>
#include <QShowEvent>
#include <QSignalBlocker>
#include <QSlider>

namespace {
const QString unit = QStringLiteral("A");
const QString unknownTip = QStringLiteral(
    "Le réglage de la carte est inconnu : elle n'a rien reçu d'ici depuis l'ouverture de la fenêtre ou la connexion");
const QString brief = QStringLiteral("inconnu"); // where there is no room for more
constexpr int handle = 20;                       // pixels that the slider's handle needs
constexpr int margin = 4;
} // namespace

SettingBox::SettingBox(QSlider *slider, const Codebas &link, Amount amount, std::function<bool()> sends)
    : SliderBox(slider, std::move(amount), unit), slider_(slider), tip_(slider->toolTip()), note_(new QLabel(slider))
{
    note_->setObjectName(slider->objectName() + QStringLiteral("Note"));
    note_->setAttribute(Qt::WA_TransparentForMouseEvents);
    note_->setAutoFillBackground(true);
    note_->setContentsMargins(margin, 0, margin, 0);
    SetTone(*note_, Tone::Quiet);
    connect(slider, &QSlider::valueChanged, this, [this, sends] {
        if (sends && !sends())
            Empty();
        ShowKnown();
    });
    connect(&link.handshake, &Handshake::Connected, this, &SettingBox::Forget);
    Forget();
}

SliderBox::Amount SettingBox::Amperes(const Codebas &link, size_t scaleAddress)
{
    return [&link, scaleAddress](int setting) -> std::optional<double> {
        const int scale = link.SlaveEeprom[scaleAddress];
        return scale == 0 ? std::nullopt : std::optional(measurement::CurrentSettingAmps(setting, scale));
    };
}

void SettingBox::Follow(int setting)
{
    {
        const QSignalBlocker quiet(slider_);
        slider_->setValue(setting);
    }
    SliderBox::Follow();
    ShowKnown();
}

void SettingBox::Forget()
{
    Empty();
    ShowKnown();
}

void SettingBox::ShowKnown()
{
    const bool known = !IsEmpty();
    QPalette grey;
    if (!known) {
        const QColor faint = palette().color(QPalette::Mid);
        grey.setColor(QPalette::Highlight, faint);
        grey.setColor(QPalette::Button, faint);
    }
    slider_->setPalette(grey);
    SetTone(*this, known ? Tone::Plain : Tone::Quiet);
    note_->setVisible(!known);
    const QString tip = known ? tip_ : tip_.isEmpty() ? unknownTip : tip_ + u'\n' + unknownTip;
    setToolTip(tip);
    slider_->setToolTip(tip);
    Place();
}

/// In the middle of what the handle leaves of the slider.
void SettingBox::Place()
{
    if (note_->isHidden())
        return;
    const int room = slider_->width() - handle - 2 * margin;
    note_->setText(unknown);
    if (note_->sizeHint().width() > room)
        note_->setText(brief);
    note_->adjustSize();
    const bool low = slider_->value() - slider_->minimum() <= (slider_->maximum() - slider_->minimum()) / 2;
    const int free = slider_->width() / 2 > note_->width() + margin ? slider_->width() / 2 : slider_->width() - handle;
    const int gap = (free - note_->width()) / 2;
    note_->move(low ? slider_->width() - free + gap : gap, (slider_->height() - note_->height()) / 2);
}

void SettingBox::showEvent(QShowEvent *event)
{
    if (!event->spontaneous())
        Forget(); // its window opens
    SliderBox::showEvent(event);
}

void SettingBox::changeEvent(QEvent *event)
{
    SliderBox::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        ShowKnown(); // which comes back here, with nothing new
}

bool SettingBox::eventFilter(QObject *object, QEvent *event)
{
    if (object == slider_ && (event->type() == QEvent::Resize || event->type() == QEvent::Show))
        Place();
    return SliderBox::eventFilter(object, event);
}
