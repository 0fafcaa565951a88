// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

/// The end of a fast charge: the delta-voltage count has fallen more than 9 counts below its highest value.
class DeltaPeak
{
public:
    static constexpr int fall = 9;

    /// Takes a count; true when the charge is over.
    bool Add(int count);
    void Reset() { highest_ = 0; }
    int Highest() const { return highest_; }

private:
    int highest_ = 0;
};

/// Whether the delta amplifier is driven to an end of the converter's range, where no fall can be seen.
class DeltaSaturation
{
public:
    static constexpr int ceiling = 1023;
    static constexpr int steps = 10; ///< in a row, until it is believed

    /// What the user is told.
    static inline const QString warning = QStringLiteral("V Delta saturé : la fin ne peut pas être détectée");

    /// Takes a count; true while it is so.
    bool Add(int count);

private:
    int atEnd_ = 0;
};

/// The dV/dt indicator: the rise of the battery count from one block of 50 steps to the next, compared with the average
/// rise. It is shown and logged and ends nothing.
class RiseIndicator
{
public:
    enum Shown
    {
        Clear = 0,
        Set = 1,
        Suspected = 2
    };

    /// Takes the battery count of a step, `elapsed` seconds into the run; true at the end of a block.
    bool Add(int count, double elapsed);

    /// A new run: the blocks begin anew, the average keeps the former run's value until the first one ends.
    void Restart();

    double BlockRise() const { return blockRise_; }
    double RiseAverage() const { return riseAverage_; }
    Shown Indicator() const { return indicator_; }

private:
    void EndBlock(double elapsed);

    int sampleCount_ = 0;
    double blockSum_ = 0;
    double previousBlockSum_ = 0;
    double blockRise_ = 0;
    int blockCount_ = 0;
    double riseSum_ = 0;
    double riseAverage_ = 0;
    int state_ = 0;  // 1 while a rise is suspected, 2 once it was confirmed
    int blocks_ = 0; // since it was suspected
    double peakRise_ = 0;
    Shown indicator_ = Clear;
};
