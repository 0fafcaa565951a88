// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QWidget>

class QComboBox;
class QLabel;

/// "Accu": where the user names the battery of a run, and reads what its runs were like. It is empty at each opening of
/// its window, so that no run goes to the battery of another day by mistake.
class PackBox : public QWidget
{
    Q_OBJECT

public:
    explicit PackBox(QWidget *parent);
    static constexpr int longestName = 60;

    /// The name, without blanks around it; empty for none.
    QString Pack() const;
    void SetPack(const QString &name);
    /// The names to choose from; what is entered stays.
    void SetKnown(const QStringList &names);

    /// What is to be said beside the name.
    void Say(const QString &words);
    /// What is to be said in red in its place; empty for nothing.
    void Warn(const QString &words);

Q_SIGNALS:
    /// Another name is entered; not before it is whole.
    void Changed();
    void Opened();

private:
    void showEvent(QShowEvent *event) override;
    void Take();

    QComboBox *name_;
    QLabel *words_, *warning_;
    QString taken_;
};
