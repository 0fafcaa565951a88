// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <coroutine>
#include <vector>

/// A yes-or-no that coroutines can wait for: `co_await flag` goes on at once while it is set, else when it is set.
class Flag
{
public:
    class Awaiter
    {
    public:
        explicit Awaiter(Flag &flag) : flag_(&flag) {}
        Awaiter(const Awaiter &) = delete;
        Awaiter &operator=(const Awaiter &) = delete;
        ~Awaiter()
        {
            if (flag_)
                std::erase(flag_->waiting_, this);
        }

        bool await_ready() const noexcept { return flag_->set_; }
        void await_suspend(std::coroutine_handle<> waiter)
        {
            waiter_ = waiter;
            flag_->waiting_.push_back(this);
        }
        void await_resume() const noexcept {}

    private:
        friend class Flag;
        Flag *flag_;
        std::coroutine_handle<> waiter_;
        bool due_ = false;
    };

    Flag() = default;
    Flag(const Flag &) = delete;
    Flag &operator=(const Flag &) = delete;
    ~Flag()
    {
        for (Awaiter *awaiter : waiting_) // they wait for ever now, and are destroyed by their owner
            awaiter->flag_ = nullptr;
    }

    bool IsSet() const { return set_; }
    void Clear() { set_ = false; }

    /// Sets the flag and runs all that waits for it, before it returns.
    void Set()
    {
        set_ = true;
        Wake();
    }

    /// Runs all that waits for the flag without setting it.
    void Wake()
    {
        for (Awaiter *awaiter : waiting_)
            awaiter->due_ = true;
        const auto isDue = [](const Awaiter *awaiter) { return awaiter->due_; };
        for (auto next = std::ranges::find_if(waiting_, isDue); next != waiting_.end();
             next = std::ranges::find_if(waiting_, isDue)) {
            const auto waiter = (*next)->waiter_;
            waiting_.erase(next);
            waiter.resume();
        }
    }

    Awaiter operator co_await() { return Awaiter(*this); }

private:
    bool set_ = false;
    std::vector<Awaiter *> waiting_;
};
