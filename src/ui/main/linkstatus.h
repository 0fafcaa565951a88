// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/elidedlabel.h"
#include "link/codebas.h"

/// The port, its speed and the state of the connection, for a status bar.
class LinkStatus : public ElidedLabel
{
    Q_OBJECT

public:
    LinkStatus(const Codebas &link, QWidget *parent);

Q_SIGNALS:
    /// It says something else.
    void Changed();

private:
    QString State() const;
    void Show();

    const Codebas &link_;
    bool greeting_ = false;
    bool connected_ = false;
};
