// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/sliderbox.h"
#include "codebas.h"

class QLabel;

/// The number box of a slider whose setting the board is sent. What the board is set to is not known after an opening
/// of the window or a connection: until it is sent a setting the slider is grey and says so, and can be moved as ever.
class SettingBox : public SliderBox
{
    Q_OBJECT

public:
    /// `sends`, asked at each move, says whether the board is sent it; it is always if there is none.
    SettingBox(QSlider *slider, const Codebas &link, Amount amount = {}, std::function<bool()> sends = {});

    /// What a setting amounts to in amperes, by the scale of this address in the slave's EEPROM.
    static Amount Amperes(const Codebas &link, size_t scaleAddress);

    /// The board is sent another setting than by the slider, which follows without its signals.
    void Follow(int setting);

    static inline const QString unknown = QStringLiteral("réglage de la carte inconnu");

private:
    void Forget();
    void ShowKnown();
    void Place();
    void showEvent(QShowEvent *event) override;
    void changeEvent(QEvent *event) override;
    bool eventFilter(QObject *object, QEvent *event) override;

    QSlider *const slider_;
    const QString tip_;  ///< the slider's own
    QLabel *const note_; ///< on the slider's groove, away from its handle
};
