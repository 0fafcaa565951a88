// SPDX-License-Identifier: GPL-3.0-or-later
#include "trace.h"

#include <cerrno>
#include <system_error>

namespace Board {

Trace::Trace(const std::string &path)
{
    if (path.empty())
        return;
    file_.reset(std::fopen(path.c_str(), "we"));
    if (!file_)
        throw std::system_error(errno, std::generic_category(), path);
}

void Trace::Note(double seconds, std::string_view direction, const std::uint8_t *bytes, std::size_t count)
{
    if (!file_ || count == 0)
        return;
    char time[32];
    std::snprintf(time, sizeof time, "%.6f ", seconds);
    std::string line = time;
    line += direction;
    for (std::size_t i = 0; i < count; ++i)
        line.append(" ").append(std::to_string(bytes[i]));
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), file_.get());
    std::fflush(file_.get());
}

} // namespace Board
