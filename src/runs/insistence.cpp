#include "insistence.h"

Insistence::Insistence(Codebas &link, std::function<void()> sendAll) : link_(link)
{
    constexpr int others = 25; // ms; those who may be overtaken have been when the patience is over
    stuck_.setSingleShot(true);
    stuck_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&stuck_, &QTimer::timeout, std::move(sendAll));
    stuck_.start(link_.line.Patience() + others);
}

void Insistence::Advance()
{
    stuck_.start(4 * link_.line.Patience());
}
