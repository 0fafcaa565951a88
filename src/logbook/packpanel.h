// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "logbook.h"

#include <QWidget>

#include <memory>

namespace Ui {
class PackPanel;
}

/// The user's packs: what they are, how they age, and a report of one. What is entered holds at once.
class PackPanel : public QWidget
{
    Q_OBJECT

public:
    explicit PackPanel(QWidget *parent = nullptr);
    ~PackPanel() override;

    /// To be called before it is shown.
    void SetBook(Logbook &book);
    /// Shows what the logbook has now; the pack that is chosen stays. Throws DatabaseError.
    void Refresh();

Q_SIGNALS:
    /// The user wants to see the runs of this pack.
    void RunsWanted(const QString &pack);
    void Failed(const Error &error);

private:
    void CbNouveau_Click();
    void CbSupprimer_Click();
    void CbRapport_Click();

    void Try(const std::function<void()> &work);
    void ShowChosen();
    void ShowForm(const Pack &pack);
    void Keep();
    QString Chosen() const;
    void Choose(const QString &name);

    std::unique_ptr<Ui::PackPanel> ui_;
    Logbook *book_ = nullptr;
    std::vector<Pack> packs_;
    std::optional<Pack> shown_; ///< in the form, before the user changes it
};
