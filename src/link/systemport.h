// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/clock.h"
#include "folderwatch.h"
#include "port.h"

#include <QSocketNotifier>

#include <memory>

#include <sys/types.h>
#include <termios.h>

/// A serial port of the system, on a descriptor of our own.
///
/// Not the library's class: it treats a read that finds nothing as an error and may stop telling of what arrives, it
/// waits for the line when it is closed, and its lock is a file that a killed program leaves behind. Here one object
/// reads, nothing waits, and the lock goes with the descriptor.
class SystemPort : public Port
{
    Q_OBJECT

public:
    SystemPort();
    ~SystemPort() override;

    void Open(const QString &name, const LineSettings &settings) override;
    void Close() override;
    bool IsOpen() const override { return open_; }
    bool IsLost() const override { return lost_; }
    void Apply(const LineSettings &settings) override;
    void Send(const QByteArray &bytes) override;
    qsizetype Unsent() const override;
    QByteArray Take() override;

    /// The open descriptor, -1 when there is none.
    int Descriptor() const { return descriptor_; }

private:
    /// What tells one device from another that is given the same name later.
    struct Identity
    {
        QString adapter;   ///< vendor, product and serial number on the USB; empty for others
        dev_t number = 0;  ///< of the device; a pseudo-terminal has none that lasts
        bool link = false; ///< it was opened by a link, which whoever made it keeps for this device
    };

    static Identity IdentityOf(const QString &path);
    bool IsSameDevice(const QString &path) const;
    QStringList PathsOfSame() const;
    void Use(const LineSettings &settings);
    [[noreturn]] static void Refuse(const QString &name, const QString &path, int reason);
    int OpenDevice(const QString &path);
    void Adopt(int descriptor);
    void Release();
    void ReadMore();
    void WriteMore();
    void NoteLoss(int reason);
    void TellLoss();
    void LookAgain();

    int descriptor_ = -1;
    bool open_ = false;
    bool lost_ = false;
    QString lossReason_; ///< of a loss that is still to be told
    QString asked_;      ///< the path that it was opened by
    QString path_;       ///< the one that the device has now
    LineSettings settings_;
    speed_t speed_ = B9600;
    Identity identity_;
    QByteArray arrived_;
    QByteArray unsent_;
    std::unique_ptr<QSocketNotifier> readable_;
    std::unique_ptr<QSocketNotifier> writable_;
    FolderWatch watch_;
    Alarm look_{[this] { LookAgain(); }};
};
