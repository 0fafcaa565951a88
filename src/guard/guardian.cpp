// SPDX-License-Identifier: GPL-3.0-or-later
#include "guardian.h"

#include "protocol.h"
#include "runs/runnote.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>

#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {
constexpr auto beat = 1s;
constexpr auto again = 5s; // one that ends as soon as it is started is not started all the time
} // namespace

Guardian::Guardian(Codebas &link, std::function<int()> descriptor)
    : outputs_(link.outputs), descriptor_(std::move(descriptor))
{
    SetProgram(QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("voltaire-guard")));
    connect(&outputs_, &Outputs::WatchedChanged, this, &Guardian::Follow);
    connect(&link.line, &Exchanges::Usable, this, &Guardian::GivePort);
    connect(&link.line, &Exchanges::Unusable, this, &Guardian::GivePort);
    outputs_.BeforeSwitchingOn([this] { Listen(); });
}

Guardian::~Guardian()
{
    outputs_.BeforeSwitchingOn({});
    if (socket_ >= 0)
        close(socket_); // it does what is left for it to do
}

void Guardian::SetProgram(const QString &path)
{
    program_ = QFile::encodeName(path);
}

/// There is a guard while there is something to be watched.
void Guardian::Follow()
{
    again_.Stop();
    if (outputs_.WhatIsWatched().off.empty()) {
        if (socket_ >= 0)
            GiveOrders(); // none: it ends with its socket
        End();
        SetMissing(false);
        return;
    }
    if (socket_ >= 0)
        GiveOrders();
    else if (StartProcess()) {
        GivePort();
        GiveOrders();
        Beat();
    } else
        again_.Start(again);
    SetMissing(socket_ < 0);
}

/// In a session of its own, and deaf from its first moment to what ends a program and all of its kin: what ends the
/// guard is the end of its work.
bool Guardian::StartProcess()
{
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        return false;
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_adddup2(&files, ends[1], guard::socket);
    for (const int output : {STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&files, output, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int number : {SIGHUP, SIGINT, SIGTERM, SIGPIPE})
        sigaddset(&blocked, number);
    posix_spawnattr_setsigmask(&attributes, &blocked);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK);
    char *const arguments[] = {program_.data(), nullptr};
    const int failed = posix_spawn(&process_, program_.constData(), &files, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&files);
    close(ends[1]);
    if (failed != 0) {
        close(ends[0]);
        process_ = 0;
        return false;
    }
    socket_ = ends[0];
    started_.Restart();
    notifier_ = std::make_unique<QSocketNotifier>(socket_, QSocketNotifier::Read);
    connect(notifier_.get(), &QSocketNotifier::activated, this, &Guardian::Listen);
    return true;
}

void Guardian::End()
{
    beat_.Stop();
    if (socket_ < 0)
        return;
    notifier_->setEnabled(false);
    notifier_.release()->deleteLater(); // this may be its doing
    close(std::exchange(socket_, -1));
    ended_.push_back(std::exchange(process_, 0));
    Reap();
}

/// Those that have ended leave nothing behind once they are looked after.
void Guardian::Reap()
{
    std::erase_if(ended_, [](pid_t process) { return waitpid(process, nullptr, WNOHANG) != 0; });
}

void Guardian::GiveOrders()
{
    const Outputs::Watched &watched = outputs_.WhatIsWatched();
    QByteArray message(1, guard::Watch);
    message.append(static_cast<char>(watched.off.size()));
    for (const Outputs::Write &write : watched.off)
        message.append(static_cast<char>(write.reg)).append(static_cast<char>(write.value));
    message.append(QFile::encodeName(watched.note.isEmpty() ? runnote::PathOf({}) : watched.note));
    Send(message);
}

void Guardian::GivePort()
{
    if (socket_ >= 0)
        Send(QByteArray(1, guard::Port), descriptor_());
}

void Guardian::Beat()
{
    beat_.Start(beat);
    Reap();
    if (!Send(QByteArray(1, guard::Beat)))
        StartAgain();
}

/// A guard that takes no more is none.
bool Guardian::Send(const QByteArray &message, int descriptor)
{
    iovec part{const_cast<char *>(message.constData()), static_cast<size_t>(message.size())};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> extra{};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    if (descriptor >= 0) {
        header.msg_control = extra.data();
        header.msg_controllen = extra.size();
        cmsghdr *const rights = CMSG_FIRSTHDR(&header);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(rights), &descriptor, sizeof descriptor);
    }
    return sendmsg(socket_, &header, MSG_NOSIGNAL | MSG_DONTWAIT) >= 0;
}

/// What the guard says; it is also asked for by whoever is about to switch something on before events run.
void Guardian::Listen()
{
    if (socket_ < 0)
        return;
    char message = 0;
    const ssize_t length = recv(socket_, &message, 1, MSG_DONTWAIT);
    if (length < 0)
        return; // nothing
    if (length == 1 && message == guard::Fired) {
        outputs_.SwitchedOffByOthers();
        QMetaObject::invokeMethod(this, &Guardian::Fired, Qt::QueuedConnection);
    }
    StartAgain();
}

void Guardian::StartAgain()
{
    const bool useless = started_.Elapsed() < beat;
    End();
    SetMissing(useless);
    again_.Start(useless ? again : 0s);
}

void Guardian::SetMissing(bool missing)
{
    if (std::exchange(missing_, missing) != missing)
        Q_EMIT MissingChanged(missing);
}
