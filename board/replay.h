// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "replay_script.h"

#include <functional>
#include <string>

namespace Board {

/// Answers as a board did that was traced: to each request with the bytes of then, after the pauses of then. Where the
/// PC asks something else than it did then, it says so; it goes on behind what was left out, or gives the answer that
/// this request had last.
class Replay
{
public:
    /// `say` is told in French where the PC goes another way.
    Replay(ReplayScript script, bool booster, std::function<void(const std::string &)> say);

    struct Answer
    {
        const std::vector<ReplayScript::Byte> *bytes = nullptr; ///< null while no request is complete
        bool greeting = false; ///< what is still to come is void, as a board that streams ends that
    };
    Answer Take(std::uint8_t byte);

private:
    const std::vector<ReplayScript::Byte> *Find(const Bytes &request);

    const ReplayScript script_;
    RequestSplitter splitter_;
    std::function<void(const std::string &)> say_;
    std::size_t next_ = 0; ///< step that is to come
    bool overSaid_ = false;
};

} // namespace Board
