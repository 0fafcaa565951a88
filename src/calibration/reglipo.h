// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "lipocoefficients.h"
#include "readingwindow.h"
#include "ui_reglipo.h"

/// Calibrates the measurement of lithium-polymer packs by five known voltages, and trims its amplifier.
class RegLIPO : public ReadingWindow
{
    Q_OBJECT

public:
    explicit RegLIPO(Codebas &link);

    /// Reads the mean count of the delta channel from the serial line.
    Task<int> Lgetsrl();

protected:
    void Load() override;
    void closeEvent(QCloseEvent *event) override;
    void ShowStored() override;
    Task<void> Read() override;

private:
    class Work;
    class Hold;

    /// The controls of a calibration point.
    struct Row
    {
        QPushButton *button;
        QLabel *reference;
        QCheckBox *measured;
        QLabel *stored;
    };

    void List1_Click(int row);
    Task<void> MeasurePoint(size_t row);
    Task<void> BtnCoef_Click();
    Task<void> BtnPot_Click();
    Task<void> REGDelta_Change(int value);
    Task<void> REGOfs_Change(int value);

    Task<void> SendTrim(QSlider *slider, quint8 trim, int value);
    Task<void> WriteWord(quint8 address, double value, std::function<bool()> wanted);
    Task<void> WriteMaster(quint8 address, quint8 value, std::function<bool()> wanted);
    void EndWork();
    Task<bool> Turn();

    Ui::RegLIPO ui_;
    Outputs::RunPtr lines_; ///< that the window lets through, and leaves so
    std::array<Row, lipo::pointCount> rows_;
    std::array<QCheckBox *, 7> checks_;
    lipo::Table Points;

    int latestCount_ = 0;
    Flag freshSample_;
    Newest works_; ///< what calls the actions of the buttons off
    bool working_ = false;
    Flag workOver_; ///< woken when one of them is over
    int holds_ = 0; ///< handlers that keep TimerLipo stopped
    std::map<QSlider *, Newest> moves_;
};
