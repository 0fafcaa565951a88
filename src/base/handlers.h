// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "task.h"

#include <functional>
#include <set>

/// The event handlers of one owner that are under way. Each is a coroutine that starts at once, is forgotten when it
/// ends and is destroyed, wherever it waits, with this object or by Drop().
class Handlers
{
public:
    using Failed = std::function<void(std::exception_ptr)>;

    /// `failed` is told what a handler threw, when that handler is already over.
    explicit Handlers(Failed failed);
    Handlers(const Handlers &) = delete;
    Handlers &operator=(const Handlers &) = delete;
    ~Handlers();

    /// Starts a handler; it is younger than all that any Handlers object has started before.
    void Start(Task<void> handler);

    /// Ends every handler where it waits. Not to be called by one of them, but by `failed` it may.
    void Drop();

    bool Empty() const { return live_.empty(); }

private:
    struct Root
    {
        struct promise_type
        {
            promise_type(Handlers &owner, Task<void> &);
            promise_type(const promise_type &) = delete;
            promise_type &operator=(const promise_type &) = delete;
            ~promise_type();
            Root get_return_object() const noexcept { return {}; }
            std::suspend_never initial_suspend() const noexcept { return {}; }
            std::suspend_never final_suspend() const noexcept { return {}; }
            void return_void() const noexcept {}
            void unhandled_exception() const noexcept { std::terminate(); }

            Handlers &owner;
            HandlerNumber handler;
        };
    };
    Root Run(Task<void> handler);

    Failed failed_;
    std::set<std::coroutine_handle<Root::promise_type>> live_;
};
