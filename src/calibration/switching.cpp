#include "switching.h"

#include "runs/measurement.h"

Switching::Switching(Codebas &link, Handlers::Failed failed) : link_(link), handlers_(std::move(failed))
{
    patience_.setSingleShot(true);
    patience_.setInterval(Line::patience); // of the wire: not scaled
    connect(&patience_, &QTimer::timeout, this, &Switching::Next);
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
    patience_.stop();
    busy_ = !steps_.empty();
    if (!busy_)
        return;
    const Step step = steps_.front();
    steps_.pop_front();
    handlers_.Start(Do(step, ++begun_));
}

Task<void> Switching::Do(Step step, int number)
{
    const std::function<QByteArray()> request = [this, step] {
        patience_.start(); // it is on the line: from here on the board is expected to answer
        return Request(step.write.number, step.write.value);
    };
    try {
        Task<QByteArray> exchange = link_.Exchange(request, Reply::Acknowledge());
        co_await exchange;
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
