// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "readingwindow.h"

#include <QSlider>

class SettingBox;

/// What the calibrations of the charge and the discharge current have in common: a current that the user sets with a
/// slider, the mean count that the board makes of it, what a meter shows, and the word and the scale that follow.
class CurrentWindow : public ReadingWindow
{
    Q_OBJECT

protected:
    /// What makes a window the charge's or the discharge's.
    struct Kind
    {
        QString name; ///< of the window, in a sentence
        int readingMs;
        QString readingText;
        quint8 channel;
        quint8 settingRegister;
        quint8 wordAddress; ///< in the slave's EEPROM
        quint8 scaleAddress;
        Outputs::Writes opening;
        Outputs::Writes leaving; ///< with which the current is off
    };

    struct Panel
    {
        QLineEdit *reading;
        QLineEdit *count, *measured, *setting;
        QLineEdit *word, *scale;
        QSlider *slider;
        QLabel *storedWord, *storedScale;
    };

    CurrentWindow(const QString &name, Codebas &link, Kind kind);

    /// To be called once the controls are made.
    void SetPanel(const Panel &panel);

    bool MayOpen() override;
    void Load() override;
    void Failed(const Error &error) override;
    void closeEvent(QCloseEvent *event) override;
    void ShowStored() override;
    Task<void> Read() override;
    bool eventFilter(QObject *watched, QEvent *event) override;

    /// What the user has entered; 0 where a text begins with no number.
    double CountEntry() const;
    double MeasuredTens() const; ///< in units of 10 mA
    double PotValue() const;

    struct Result
    {
        double word;
        double scale;
    };
    /// Computes and shows both; nothing measured throws DivisionByZero.
    Result Compute();

    /// Checks both, then writes them; throws Overflow before anything is sent.
    Task<void> WriteResult(Result result);

    void Complain(const QString &text);

private:
    Task<void> Slider_Change(int value);
    Task<void> Setting_Click();
    Task<int> SumOfCounts();

    const Kind kind_;
    Outputs::RunPtr current_; ///< that the window lets flow while it is open
    const Activity activity_;
    Panel panel_{};
    SettingBox *box_ = nullptr; ///< beside the slider
    Newest settings_;           ///< that were asked for
};
