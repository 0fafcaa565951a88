// SPDX-License-Identifier: GPL-3.0-or-later
#include "handlers.h"

namespace {
HandlerNumber youngest = 0;
}

Handlers::Root::promise_type::promise_type(Handlers &itsOwner, Task<void> &) : owner(itsOwner), handler(++youngest)
{
    owner.live_.insert(std::coroutine_handle<promise_type>::from_promise(*this));
}

Handlers::Root::promise_type::~promise_type()
{
    owner.live_.erase(std::coroutine_handle<promise_type>::from_promise(*this));
}

Handlers::Handlers(Failed failed) : failed_(std::move(failed))
{
}

Handlers::~Handlers()
{
    Drop();
}

void Handlers::Start(Task<void> handler)
{
    Run(std::move(handler));
}

void Handlers::Drop()
{
    while (!live_.empty())
        live_.begin()->destroy();
}

namespace {
/// Gives a coroutine its own handle.
template <class Promise>
struct Self
{
    bool await_ready() const noexcept { return false; }
    bool await_suspend(std::coroutine_handle<Promise> self) noexcept
    {
        handle = self;
        return false;
    }
    std::coroutine_handle<Promise> await_resume() const noexcept { return handle; }
    std::coroutine_handle<Promise> handle;
};
} // namespace

Handlers::Root Handlers::Run(Task<void> handler)
{
    Self<Root::promise_type> ask;
    const auto self = co_await ask;
    std::exception_ptr error;
    try {
        co_await handler;
    } catch (...) {
        error = std::current_exception();
    }
    live_.erase(self); // from here on Drop() must not touch it: it ends by itself
    if (error)
        failed_(error);
}
