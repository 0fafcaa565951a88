// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QSpinBox>

#include <functional>
#include <optional>

class QSlider;

/// A number box beside a slider, by its name ("Slider1Box"): the same setting in the same range, typed or stepped. A
/// number moves the slider once it is entered, not key by key; whoever listens to the slider needs not know the box.
/// The tabulator passes it by: a digit that is pressed on the slider goes there.
class SliderBox : public QSpinBox
{
    Q_OBJECT

public:
    /// What a setting amounts to in the box's unit; nothing while nobody knows, and the setting itself is shown.
    using Amount = std::function<std::optional<double>(int)>;

    /// Takes its place in the slider's layout: behind it, or below one that is upright.
    explicit SliderBox(QSlider *slider, Amount amount = {}, const QString &unit = {});

    /// Shows what the slider is set to; for whoever has moved it without its signals.
    void Follow();

    /// Shows no number until the slider is moved. A number that is entered before counts as a move, even where the
    /// slider stands already.
    void Empty();
    bool IsEmpty() const { return empty_; }

    /// Moves the slider as a number that is entered does.
    void Enter(int setting);

    /// What a setting is called here: "1.92 A", or "150".
    QString Text(int setting) const;

Q_SIGNALS:
    /// It shows another number, or none.
    void Changed();

protected:
    QString textFromValue(int setting) const override;
    int valueFromText(const QString &text) const override;
    QValidator::State validate(QString &text, int &place) const override;
    void showEvent(QShowEvent *event) override;
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    double NumberOf(int setting) const;
    QString Bare(QString text) const;
    bool TakesKey(const QKeyEvent &key);
    std::optional<double> Number(const QString &text) const;
    void Show();

    QSlider *const slider_;
    const Amount amount_;
    const QString unit_;
    bool empty_ = false;
    bool typed_ = false; ///< a number, which is not entered yet
};
