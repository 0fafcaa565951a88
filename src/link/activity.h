// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include <functional>
#include <vector>

class QWidget;

/// Something that lets a current flow until this program ends it. All of them switch the same outputs: a second one
/// would fight the first over them, and the end of either be the end of both.
class Activity
{
public:
    /// Those that there are; the session keeps them.
    using All = std::vector<const Activity *>;

    enum class Kind
    {
        Run,    ///< a charge, a discharge, a measurement: the program ends it by a rule
        Current ///< of a calibration: it flows while its window is open
    };

    /// `name` is what the user is told is on, a feminine one.
    Activity(All &all, Kind kind, QString name, std::function<bool()> isOn);
    Activity(const Activity &) = delete;
    Activity &operator=(const Activity &) = delete;
    ~Activity();

    /// The first of them that is on; null while none is.
    static const Activity *On(const All &all);

    Kind What() const { return kind_; }
    const QString &Name() const { return name_; }

    /// Whether it cannot begin, because another one is on; tells the user so.
    bool IsBarred(QWidget *over, const QString &title) const;

private:
    bool Bars(const Activity &fresh) const;

    All &all_;
    const Kind kind_;
    const QString name_;
    const std::function<bool()> isOn_;
};
