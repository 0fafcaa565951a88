// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "link/codebas.h"

#include <QLabel>

/// The port, its speed and the state of the connection, for a status bar. It makes room for whatever else has to be
/// said there, and shows an ellipsis then.
class LinkStatus : public QLabel
{
    Q_OBJECT

public:
    LinkStatus(const Codebas &link, QWidget *parent);

    QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString State() const;
    void Show();

    const Codebas &link_;
    bool greeting_ = false;
    bool connected_ = false;
};
