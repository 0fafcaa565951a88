#include "switching.h"

#include "runs/measurement.h"

Switching::Switching(Codebas &link, Handlers::Failed failed) : link_(link), handlers_(std::move(failed))
{
    silent_.setSingleShot(true);
    connect(&silent_, &QTimer::timeout, this, &Switching::Next);
    connect(&link_, &Codebas::PortCut, &silent_, &QTimer::stop); // what was under way goes out again
}

void Switching::Write(const Writes &writes, const std::function<void()> &done)
{
    for (const Register &write : writes)
        steps_.push_back({write, {}});
    steps_.back().done = done;
    if (!busy_)
        Next();
}

void Switching::Override(const Writes &writes)
{
    steps_.clear();
    for (const Register &write : writes)
        measurement::SendRegister(link_, write.number, write.value);
}

void Switching::Next()
{
    silent_.stop();
    busy_ = !steps_.empty();
    if (!busy_)
        return;
    const Step step = steps_.front();
    steps_.pop_front();
    handlers_.Start(Do(step, ++begun_));
}

Task<void> Switching::Do(Step step, int number)
{
    const measurement::Wanted begins = [this] {
        silent_.start(link_.line.Patience()); // it is on the line: from here on the board is expected to answer
        return true;
    };
    try {
        Task<void> write = measurement::WriteRegister(link_, step.write.number, step.write.value, begins);
        co_await write;
    } catch (const PortClosed &) {
        steps_.clear();
        Next();
        throw;
    }
    if (step.done)
        step.done();
    if (number == begun_)
        Next();
}
