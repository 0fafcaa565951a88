// SPDX-License-Identifier: GPL-3.0-or-later
#include "chargerules.h"

#include "base/number.h"

#include <algorithm>

bool DeltaPeak::Add(int count)
{
    highest_ = std::max(highest_, count);
    return count < highest_ - fall;
}

bool DeltaSaturation::Add(int count)
{
    atEnd_ = count <= 0 || count >= ceiling ? std::min(atEnd_ + 1, steps) : 0;
    return atEnd_ == steps;
}

namespace {
constexpr int blockSteps = 50;
constexpr double earlyRise = 10;        // stands for the first two blocks, which have nothing before them
constexpr int earlyBlocks = 3;          // blocks before this one are early
constexpr double implausibleRise = 300; // more counts as no rise
constexpr double earliest = 500;        // seconds before which nothing is suspected
constexpr int confirmingBlocks = 4;
} // namespace

void RiseIndicator::Restart()
{
    RiseIndicator fresh;
    fresh.riseAverage_ = riseAverage_;
    fresh.peakRise_ = peakRise_;
    *this = fresh;
}

bool RiseIndicator::Add(int count, double elapsed)
{
    blockSum_ += count;
    if (++sampleCount_ < blockSteps)
        return false;
    EndBlock(elapsed);
    return true;
}

void RiseIndicator::EndBlock(double elapsed)
{
    sampleCount_ = 0;
    blockRise_ = std::max(0.0, blockSum_ - previousBlockSum_);
    previousBlockSum_ = blockSum_;
    blockSum_ = 0;
    if (++blockCount_ < earlyBlocks)
        blockRise_ = earlyRise;
    if (blockRise_ > implausibleRise)
        blockRise_ = 0;
    riseSum_ += blockRise_;
    riseAverage_ = number::Int(riseSum_ / blockCount_);

    if (elapsed > earliest && state_ == 0 && blockRise_ > 3 * riseAverage_) {
        state_ = 1;
        indicator_ = Suspected;
        peakRise_ = blockRise_;
        blocks_ = 0;
    }
    // The block that raises the suspicion counts as the first one.
    if (state_ == 1 && ++blocks_ == confirmingBlocks) {
        state_ = 2;
        indicator_ = Set;
    }
    if (state_ == 1 && blockRise_ > peakRise_) { // still growing: count again
        blocks_ = 0;
        peakRise_ = blockRise_;
    }
    if (state_ == 2 && blockRise_ > peakRise_)
        indicator_ = Clear;
}
