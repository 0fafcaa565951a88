// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/place.h"
#include "base/window.h"
#include "filewatch.h"
#include "logs/logfile.h"
#include "logtable.h"
#include "overlay.h"

#include <memory>

namespace Ui {
class Courbes;
}

/// The viewer: logs of the program, one over the other, which are followed while they grow. It needs no board.
class Courbes : public Window
{
    Q_OBJECT

public:
    Courbes();
    ~Courbes() override;

    /// Opens logs beside those that are open; the user is told of those that cannot be.
    void OpenLogs(const QStringList &paths);

protected:
    void changeEvent(QEvent *event) override;
    void Load() override;

private:
    struct Opened
    {
        LogFile file;
        bool followed;
    };

    void CbOuvrir_Click();
    void CbEnlever_Click();
    void CbCsv_Click();

    bool IsOpen(const QString &path) const;
    void LogChanged(const QString &path);
    void ShowList();
    void ShowQuantities();
    void Draw();
    void ShowTable();
    void ShowState();
    void ShowRecordAt(double key);
    std::vector<const Log *> Logs() const;
    Opened *Selected();

    std::unique_ptr<Ui::Courbes> ui_;
    std::vector<std::unique_ptr<Opened>> opened_;
    LogTable table_;
    FileWatch watch_;
    std::unique_ptr<Overlay> overlay_;
    Place place_{*this};
};
