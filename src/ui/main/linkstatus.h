#pragma once

#include "link/codebas.h"

#include <QLabel>

/// The port, its speed and the state of the connection, for a status bar.
class LinkStatus : public QLabel
{
    Q_OBJECT

public:
    LinkStatus(const Codebas &link, QWidget *parent);

private:
    QString State() const;
    void Show();

    const Codebas &link_;
    bool greeting_ = false;
    bool connected_ = false;
};
