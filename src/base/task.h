// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <coroutine>
#include <exception>
#include <optional>
#include <utility>

/// The number of the handler (see Handlers) on whose behalf a coroutine runs: a larger number is a younger handler.
using HandlerNumber = unsigned long long;

namespace detail {
struct TaskPromiseBase
{
    struct FinalAwaiter
    {
        bool await_ready() const noexcept { return false; }
        template <class Promise>
        std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> finished) const noexcept
        {
            return finished.promise().continuation;
        }
        void await_resume() const noexcept {}
    };

    std::suspend_always initial_suspend() const noexcept { return {}; }
    FinalAwaiter final_suspend() const noexcept { return {}; }
    void unhandled_exception() noexcept { error = std::current_exception(); }

    std::coroutine_handle<> continuation = std::noop_coroutine();
    std::exception_ptr error;
    HandlerNumber handler = 0;
};

template <class T>
struct TaskPromise : TaskPromiseBase
{
    template <class U>
    void return_value(U &&result)
    {
        value.emplace(std::forward<U>(result));
    }
    T Take()
    {
        if (error)
            std::rethrow_exception(error);
        return std::move(*value);
    }
    std::optional<T> value;
};

template <>
struct TaskPromise<void> : TaskPromiseBase
{
    void return_void() const noexcept {}
    void Take() const
    {
        if (error)
            std::rethrow_exception(error);
    }
};
} // namespace detail

/// A coroutine that gives a T. It starts when it is awaited, belongs to whoever holds it, and is destroyed with its
/// holder wherever it waits; what it throws comes out of the co_await.
///
/// GCC 12 destroys some temporaries of a co_await expression twice (a lambda with captures among its arguments, for
/// one): make arguments with destructors in a statement of their own.
template <class T>
class [[nodiscard]] Task
{
public:
    struct promise_type : detail::TaskPromise<T>
    {
        Task get_return_object() { return Task(std::coroutine_handle<promise_type>::from_promise(*this)); }
    };

    Task(Task &&other) noexcept : coroutine_(std::exchange(other.coroutine_, nullptr)) {}
    Task(const Task &) = delete;
    Task &operator=(const Task &) = delete;
    Task &operator=(Task &&) = delete;
    ~Task()
    {
        if (coroutine_)
            coroutine_.destroy();
    }

    bool await_ready() const noexcept { return false; }
    template <class Promise>
    std::coroutine_handle<> await_suspend(std::coroutine_handle<Promise> caller) noexcept
    {
        coroutine_.promise().continuation = caller;
        coroutine_.promise().handler = caller.promise().handler;
        return coroutine_;
    }
    T await_resume() { return coroutine_.promise().Take(); }

private:
    explicit Task(std::coroutine_handle<promise_type> coroutine) : coroutine_(coroutine) {}
    std::coroutine_handle<promise_type> coroutine_;
};
