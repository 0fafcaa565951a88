// SPDX-License-Identifier: GPL-3.0-or-later
#include "files.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace Board {

namespace {

[[noreturn]] void Fail(const std::string &path)
{
    throw std::system_error(errno, std::generic_category(), path);
}

bool WriteAll(int file, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t written = write(file, content.data(), content.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace

void ReplaceFile(const std::string &path, std::string_view content)
{
    const std::string draft = path + ".new";
    const int file = open(draft.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0)
        Fail(draft);
    const bool written = WriteAll(file, content);
    const int reason = errno;
    const bool closed = close(file) == 0;
    if (!written || !closed || rename(draft.c_str(), path.c_str()) != 0) {
        if (!written)
            errno = reason;
        const std::error_code error(errno, std::generic_category());
        unlink(draft.c_str());
        throw std::system_error(error, path);
    }
}

} // namespace Board
