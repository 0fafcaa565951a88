#pragma once

#include "base/window.h"
#include "link/codebas.h"
#include "ui_micro.h"

/// The microcontroller tools: the way to the board's memories and to the dashboard.
class Micro : public Window
{
    Q_OBJECT

public:
    explicit Micro(Codebas &link);

Q_SIGNALS:
    /// The window opens: the main window goes out of sight until Returning.
    void Opened();
    /// "Tableau de bord".
    void DashboardWanted();

protected:
    void Load() override;
    void closeEvent(QCloseEvent *event) override;

private:
    void MQuitter_Click();

    Ui::Micro ui_;
    Codebas &link_;
};
