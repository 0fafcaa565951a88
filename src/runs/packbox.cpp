// SPDX-License-Identifier: GPL-3.0-or-later
#include "packbox.h"

#include "warning.h"

#include <QComboBox>
#include <QCompleter>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QShowEvent>
#include <QSignalBlocker>

namespace {
constexpr int nameWidth = 200;
} // namespace

PackBox::PackBox(QWidget *parent)
    : QWidget(parent), name_(new QComboBox(this)), words_(new QLabel(this)), warning_(RedWarning({}, this))
{
    auto *caption = new QLabel(QStringLiteral("Accu"), this);
    name_->setObjectName(QStringLiteral("accu"));
    name_->setToolTip(QStringLiteral("Le nom de la batterie, pour le carnet ; vide : aucune"));
    name_->setEditable(true);
    name_->setInsertPolicy(QComboBox::NoInsert);
    name_->setMinimumWidth(nameWidth);
    name_->completer()->setCaseSensitivity(Qt::CaseSensitive);
    name_->lineEdit()->setObjectName(QStringLiteral("accuNom"));
    name_->lineEdit()->setMaxLength(longestName);
    words_->setObjectName(QStringLiteral("derniereFois"));
    words_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    warning_->setObjectName(QStringLiteral("carnet"));
    warning_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);

    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(caption);
    row->addWidget(name_);
    row->addSpacing(8);
    row->addWidget(warning_, 1);
    row->addWidget(words_, 1);
    setFocusPolicy(Qt::StrongFocus); // a place in the order of the window's controls
    setFocusProxy(name_);

    connect(name_, &QComboBox::activated, this, &PackBox::Take);
    connect(name_->lineEdit(), &QLineEdit::editingFinished, this, &PackBox::Take);
}

QString PackBox::Pack() const
{
    return name_->currentText().trimmed();
}

void PackBox::SetPack(const QString &name)
{
    name_->setEditText(name);
    Take();
}

void PackBox::SetKnown(const QStringList &names)
{
    const QSignalBlocker quiet(name_);
    const QString entered = name_->currentText();
    name_->clear();
    name_->addItems(names);
    name_->setEditText(entered);
}

void PackBox::Take()
{
    if (std::exchange(taken_, Pack()) != taken_)
        Q_EMIT Changed();
}

void PackBox::Say(const QString &words)
{
    words_->setText(words);
    words_->setToolTip(words);
}

void PackBox::Warn(const QString &words)
{
    warning_->setText(words);
    warning_->setToolTip(words);
    warning_->setVisible(!words.isEmpty());
    words_->setVisible(words.isEmpty());
}

void PackBox::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    if (event->spontaneous())
        return;
    taken_ = Pack();
    Q_EMIT Opened();
}
