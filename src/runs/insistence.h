#pragma once

#include "link/codebas.h"

#include <QTimer>

#include <functional>

/// Stands behind register writes that must reach the board. While it lives and the line was not theirs within its
/// patience (somebody keeps it to himself), or a write is not answered in four times that (its answer was lost), all of
/// them are sent at once, without waiting for anything.
class Insistence
{
public:
    Insistence(Codebas &link, std::function<void()> sendAll);

    /// One of the writes begins.
    void Advance();

private:
    Codebas &link_;
    QTimer stuck_;
};
