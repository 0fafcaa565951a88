// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/handlers.h"

#include <QStringList>

#include <utility>
#include <vector>

/// Runs coroutines for a test, each as a handler of its own, and keeps what they threw.
class Runner
{
public:
    void Start(Task<void> handler) { handlers_.Start(std::move(handler)); }
    void Drop() { handlers_.Drop(); }
    bool Idle() const { return handlers_.Empty(); }

    /// Whether the only thing thrown so far is an E; forgets it.
    template <class E>
    bool Threw()
    {
        const auto thrown = std::exchange(thrown_, {});
        if (thrown.size() != 1)
            return false;
        try {
            std::rethrow_exception(thrown.front());
        } catch (const E &) {
            return true;
        } catch (...) {
            return false;
        }
    }
    int Failures() const { return static_cast<int>(thrown_.size()); }
    bool ThrewNothing() const { return thrown_.empty(); }

private:
    std::vector<std::exception_ptr> thrown_;
    Handlers handlers_{[this](std::exception_ptr thrown) { thrown_.push_back(thrown); }};
};

/// Writes into a log when it is destroyed.
class Trace
{
public:
    Trace(QStringList *log, QString name) : log_(log), name_(std::move(name)) {}
    Trace(const Trace &) = delete;
    Trace &operator=(const Trace &) = delete;
    ~Trace() { log_->append(u'~' + name_); }

private:
    QStringList *log_;
    QString name_;
};
