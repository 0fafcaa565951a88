// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "support/linkfixture.h"

/// What a handler of a test was answered.
struct Result
{
    QByteArray reply;
    bool done = false;
};

/// A handler that asks once.
inline Task<void> Ask(Codebas *link, QByteArray request, Reply reply, Result *result)
{
    Task<QByteArray> exchange = link->Exchange(request, reply);
    result->reply = co_await exchange;
    result->done = true;
}

/// One that must not be interrupted.
inline Task<void> AskUndisturbed(Codebas *link, QByteArray request, Reply reply, Result *result)
{
    Task<QByteArray> exchange = link->Exchange(request, reply, {}, Exchanges::Overtaking::Refused);
    result->reply = co_await exchange;
    result->done = true;
}

/// One that may be called off until its turn has come.
inline Task<void> AskIf(Codebas *link, std::function<bool()> wanted, QByteArray request, Reply reply, Result *result)
{
    Task<QByteArray> exchange = link->Exchange(request, reply, wanted);
    result->reply = co_await exchange;
    result->done = true;
}
