// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include <exception>

/// An error that stops what a handler was doing; its text is French and is shown to the user, with a hint how to avoid
/// it where there is one.
class Error : public std::exception
{
public:
    explicit Error(QString text, QString hint = {})
        : text_(std::move(text)), hint_(std::move(hint)), bytes_(text_.toUtf8())
    {
    }
    const QString &Text() const { return text_; }
    const QString &Hint() const { return hint_; }
    const char *what() const noexcept override { return bytes_.constData(); }

private:
    QString text_;
    QString hint_;
    QByteArray bytes_;
};

/// A number that does not fit where it must go. `where` says in what, in French.
class Overflow : public Error
{
public:
    explicit Overflow(const QString &where, const QString &hint = {})
        : Error(QStringLiteral("Dépassement de capacité : %1").arg(where), hint)
    {
    }
};

class DivisionByZero : public Error
{
public:
    explicit DivisionByZero(const QString &where) : Error(QStringLiteral("Division par zéro : %1").arg(where)) {}
};

/// A text that should have been a number.
class TypeMismatch : public Error
{
public:
    explicit TypeMismatch(const QString &where) : Error(QStringLiteral("Incompatibilité de type : %1").arg(where)) {}
};

/// A file or folder that cannot be opened, made or written; `reason` is the system's.
class FileError : public Error
{
public:
    FileError(const QString &path, const QString &reason)
        : Error(QStringLiteral("Erreur de fichier : %1 (%2)").arg(path, reason))
    {
    }
};
