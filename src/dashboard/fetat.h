// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/flag.h"
#include "base/onset.h"
#include "base/opening.h"
#include "base/timer.h"
#include "base/window.h"
#include "link/codebas.h"
#include "link/freshness.h"
#include "link/quantity.h"
#include "ui_fetat.h"

/// The dashboard: shows the board's readings, ports and clock, and drives each of its outputs by hand.
class FEtat : public Window
{
    Q_OBJECT

public:
    explicit FEtat(Codebas &link);

    int THardware = 0; ///< 1: the booster hardware is selected
    int REF = 0;       ///< 1 while a refresh is running
    int Autoon = 0;    ///< 1 while automatic refresh is on
    int PotFreq = 0;   ///< last values of the PWM sliders
    int PotDelta = 0;

    // States of the output buttons, 0 or 1
    int CutVdbl = 0;
    int boost = 0; ///< CutVdbl after its last toggle
    int CutPower = 0;
    int Cutchrg = 0;
    int Cutdech = 0;
    int Cutventilo = 0;
    int Gndbat = 0;
    int LedState = 0;

    /// Reads and shows everything once, when a refresh that is running is over. Ends early when the window is closed.
    Task<void> StRefresh();

    /// Asks for a reply of 27, data bytes and one more, which no other exchange overtakes. `clearFirst` as in Reply.
    Task<QByteArray> Mgetsrl(quint8 command, int dataBytes, bool clearFirst = true);

protected:
    void Load() override;
    void Failed(const Error &error) override;
    void closeEvent(QCloseEvent *event) override;

private:
    class Hold;
    class Pass;

    /// A press of an output button in one of its two states: what is sent and how the indicator looks then.
    struct Change
    {
        quint8 sent;
        QColor colour;
    };
    struct Output
    {
        quint8 command;
        int *state;
        QLabel *indicator;
        Change from1;
        Change from0;
    };

    Task<void> Form_Load();
    Task<void> TmrEtat_Timer();
    Task<void> Cbcutch_Click();
    Task<void> CbCutdech_Click();
    Task<void> CbCutpwr_Click();
    Task<void> Cbgndbat_Click();
    Task<void> CbLed_Click();
    Task<void> Cbventillo_Click();
    Task<void> CbCutDBl_Click();
    Task<void> CbBeep_Click();
    Task<void> CBmanuel_Click();
    void CBAUTO_Click();
    void CBfermeretat_Click();
    void Check1_Click();
    Task<void> Slider1_Change(int value);
    Task<void> Slider2_Change(int value);
    Task<void> Slider3_Change(int value);
    Task<void> Slider4_Change(int value);
    Task<void> SliderPWMFreq_Change(int value);
    Task<void> SliderPWMDelta_Change(int value);

    Task<void> Toggle(Output output);
    Task<void> SendSlider(QSlider *slider, std::function<void()> show, std::function<QByteArray()> request);
    QByteArray BoosterRequest(quint8 cut) const;

    Task<int> ReadCount(quint8 channel, QLabel *rawLabel);
    Task<quint8> ReadPort(quint8 command, bool clearFirst = true);
    Task<void> ReadQuantity(const Quantity &quantity, QLabel *rawLabel, QLabel *valueLabel);
    Task<void> ReadAnalogue();
    Task<void> ReadStates();
    Task<void> ReadClock();
    Task<void> ReadPushButtons();

    void ShowBooster(bool selected);
    void Leave();

    Ui::FEtat ui_;
    Codebas &link_;
    Timer tmrEtat_;
    Flag passOver_;
    Opening opening_; ///< what is read and shown belongs to it
    Newest loads_;    ///< what was pressed before the last one and has not been sent yet is void
    int holds_ = 0;   ///< handlers that keep TmrEtat disabled
    std::map<QSlider *, Newest> moves_;
    Onset portClosed_;
    Freshness freshness_{link_, this};
};
