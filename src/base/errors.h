// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QString>

#include <exception>

/// An error that stops what a handler was doing; its text is French and is shown to the user.
class Error : public std::exception
{
public:
    explicit Error(QString text) : text_(std::move(text)), bytes_(text_.toUtf8()) {}
    const QString &Text() const { return text_; }
    const char *what() const noexcept override { return bytes_.constData(); }

private:
    QString text_;
    QByteArray bytes_;
};

/// A number that does not fit where it must go. `where` says in what, in French.
class Overflow : public Error
{
public:
    explicit Overflow(const QString &where) : Error(QStringLiteral("Dépassement de capacité : %1").arg(where)) {}
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
