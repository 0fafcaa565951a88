#pragma once

#include <QDBusPendingCallWatcher>
#include <QDBusUnixFileDescriptor>
#include <QObject>

/// Keeps the system from going to sleep while it is held, through the login manager of Linux desktops
/// (org.freedesktop.login1 Inhibit); where there is none, nothing happens.
class Awake : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    void Hold();
    void Release();

private:
    bool held_ = false;
    QDBusUnixFileDescriptor lock_; // the system may sleep again when it is closed
};
