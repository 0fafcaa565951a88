// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "memories.h"

#include <optional>
#include <string>

namespace Board {

/// Reads what SaveMemories wrote. Nothing when there is no such file; throws std::runtime_error, in French, when the
/// file is something else or damaged.
std::optional<Memories::Content> LoadMemories(const std::string &path);

/// What the file holds; without one, or without a path, what the board of a pack is born with.
Memories::Content RememberedContent(const std::string &path, const PackOptions &pack);

/// Replaces the file. Throws std::system_error.
void SaveMemories(const std::string &path, const Memories::Content &content);

} // namespace Board
