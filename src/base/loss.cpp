// SPDX-License-Identifier: GPL-3.0-or-later
#include "loss.h"

#include "messages.h"
#include "title.h"

#include <utility>

bool Loss::MayClose(QWidget &window, const QString &what)
{
    if (std::exchange(agreed_, false) || what.isEmpty())
        return true;
    if (question_ && question_->isVisible()) {
        question_->close();
        return true;
    }
    constexpr int loses = 0;
    question_ =
        messages::Ask(&window, title::Of(window), what, {QStringLiteral("Fermer et perdre"), QStringLiteral("Rester")},
                      [this, &window](int answer) {
                          if (answer != loses)
                              return;
                          agreed_ = true;
                          window.close();
                      });
    return !question_;
}
