#include "watchdog.h"

namespace {
constexpr int patiences = 40;
}

Watchdog::Watchdog(Codebas &link) : link_(link)
{
    QObject::connect(&silent_, &QTimer::timeout, [this] {
        if (link_.line.Silence() > patiences * link_.line.Patience() / 2) // or else somebody is being served
            link_.AskAgain();
    });
}

void Watchdog::Watch()
{
    silent_.start(patiences * link_.line.Patience());
}
