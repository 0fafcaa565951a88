// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QEventLoop>
#include <QTimer>

#include <functional>

/// Runs events until the condition holds; false when it does not within a minute. Unlike QTest::qWaitFor it does not
/// sleep between two looks, which counts where thousands of exchanges follow each other.
inline bool RunUntil(const std::function<bool()> &holds)
{
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (holds())
            loop.quit();
    });
    look.start(1);
    QTimer::singleShot(60000, &loop, &QEventLoop::quit);
    loop.exec();
    return holds();
}
