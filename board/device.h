// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "battery.h"
#include "front_end.h"

#include <array>
#include <cstdint>

namespace Board {

struct DeviceOptions
{
    PackOptions pack;
    std::uint64_t seed = 1;
    bool slave = true;
    bool booster = false;
    unsigned pressedButtons = 0; ///< bit n - 1: button n, 1 to 6
};

/// Lines 15 to 18 as commands set them; true is "1 was sent".
struct Lines
{
    bool charge = false;    ///< 15
    bool discharge = false; ///< 16
    bool power = false;     ///< 17
    bool ground = true;     ///< 18

    bool operator==(const Lines &) const = default;
};

/// The board's hardware with the pack connected to it: lines, settings, converter, clock and buttons. Time is what it
/// is told, in simulated seconds since power-up.
class Device
{
public:
    static constexpr int buttonCount = 6;

    explicit Device(const DeviceOptions &options);

    /// Brings everything up to the moment. Moments before the last one change nothing.
    void AdvanceTo(double seconds);
    double Now() const { return now_; }

    /// The count of channel 5 to 13.
    int ReadChannel(int channel);
    /// The same with the charge and discharge held off for the reading.
    int ReadChannelAtRest(int channel);
    TrueValues Truth() const { return TruthAt(Amps()); }

    /// Pack current, positive while charging.
    double Amps() const;

    Lines &Switches() { return lines_; }
    const Lines &Switches() const { return lines_; }
    std::uint8_t Setting(int command) const; ///< last value of command 19 to 22
    void Set(int command, std::uint8_t value);
    void SetFan(bool on);
    bool Fan() const { return fan_; }
    void SetLed(bool on) { led_ = on; }
    bool Led() const { return led_; }
    void Beep(std::uint8_t) { ++beeps_; }
    int Beeps() const { return beeps_; }
    void CutDoubler(bool cut) { doublerCut_ = cut; }
    bool DoublerCut() const { return doublerCut_; }
    void SetBooster(std::uint8_t frequency, int width);

    /// Port bits as commands 26, 28 and 31 report them.
    std::uint8_t ButtonPort() const;
    std::uint8_t OutputPort() const;
    std::uint8_t LinePort() const;

    int ClockSeconds() const; ///< of the day
    void SetClock(int hours, int minutes, int seconds);

    void PressButton(int number, bool down); ///< 1 to 6
    bool Pressed(int number) const;

    /// Power off and on: the outputs, settings and clock begin anew, the pack is as it was.
    void Restart();

    /// Puts a laboratory supply in the place of the pack; 0 volts puts the pack back.
    void ConnectSupply(double volts) { benchVolts_ = volts; }
    void SetAmbient(double celsius) { battery_.SetAmbient(celsius); }

    bool Slave() const { return options_.slave; }
    bool Booster() const { return options_.booster; }
    const Battery &Pack() const { return battery_; }
    const FrontEnd &Converter() const { return frontEnd_; }

private:
    TrueValues TruthAt(double amps) const;
    double PackVolts(double amps) const;
    double SourceVolts() const;
    double TaperAmps() const;
    double ChargeAmps() const;
    double DischargeAmps() const;
    int Read(int channel, double amps);
    void NoteTaper();

    DeviceOptions options_;
    Battery battery_;
    FrontEnd frontEnd_;
    Lines lines_;
    std::array<std::uint8_t, 4> settings_{};
    double now_ = 0;
    double clockZero_ = 0; // moment at which the clock showed 00:00:00
    double benchVolts_ = 0;
    int beeps_ = 0;
    int boosterWidth_ = 0;
    std::uint8_t boosterFrequency_ = 40;
    bool fan_ = false;
    bool led_ = false;
    bool doublerCut_ = false;
    bool taperEnded_ = false; // LiPo: the current of the constant-voltage end has become small
    unsigned buttons_;
};

} // namespace Board
