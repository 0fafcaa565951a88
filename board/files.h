// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

namespace Board {

/// Replaces the file as a whole: whoever reads it, and whoever comes after this process was killed, finds the
/// old or the new content.
/// Throws std::system_error.
void ReplaceFile(const std::string &path, std::string_view content);

} // namespace Board
