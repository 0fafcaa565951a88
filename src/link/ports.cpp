// SPDX-License-Identifier: GPL-3.0-or-later
#include "ports.h"

#include <QCoreApplication>
#include <QDir>
#include <QSerialPortInfo>

#include <algorithm>
#include <filesystem>
#include <string>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace ports {
namespace {
// Device numbers of the ends of pseudo-terminals, as Linux gives them out.
constexpr unsigned firstPseudoTerminal = 136;
constexpr unsigned lastPseudoTerminal = 143;

QString folder = QStringLiteral("/dev");

bool IsIn(const QString &path)
{
    return QFileInfo(path).absolutePath() == QDir(folder).absolutePath();
}
} // namespace

void SetFolder(const QString &devices)
{
    folder = devices;
}

const QString &Folder()
{
    return folder;
}

QString PathOf(const QString &name)
{
    return name.startsWith(u'/') ? name : QDir(folder).filePath(name);
}

QString Found::Text() const
{
    QStringList parts = {name};
    if (!description.isEmpty())
        parts.append(description);
    if (!serial.isEmpty())
        parts.append(QStringLiteral("n° ") + serial);
    return parts.join(QStringLiteral(" – "));
}

std::vector<Found> List()
{
    std::vector<Found> found;
    const auto infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &info : infos)
        if (IsIn(info.systemLocation())) {
            const QString maker = info.manufacturer();
            const bool named = info.description().contains(maker, Qt::CaseInsensitive); // or there is none
            found.push_back({info.portName(), named ? info.description() : info.description() + u' ' + maker,
                             info.serialNumber(), AdapterOf(info)});
        }
    const auto entries = QDir(folder).entryList(QDir::System | QDir::Files | QDir::NoDotAndDotDot);
    for (const QString &name : entries)
        if (IsPseudoTerminal(DeviceOf(PathOf(name))))
            found.push_back({name, QStringLiteral("pseudo-terminal"), {}, {}});
    std::ranges::sort(found, {}, &Found::name);
    return found;
}

QString AdapterOf(const QSerialPortInfo &info)
{
    if (!info.hasVendorIdentifier())
        return {};
    return QStringLiteral("%1:%2:%3")
        .arg(info.vendorIdentifier())
        .arg(info.productIdentifier())
        .arg(info.serialNumber());
}

bool IsPseudoTerminal(dev_t device)
{
    return major(device) >= firstPseudoTerminal && major(device) <= lastPseudoTerminal;
}

dev_t DeviceOf(const QString &path)
{
    struct stat status{};
    return stat(QFile::encodeName(path).constData(), &status) == 0 && S_ISCHR(status.st_mode) ? status.st_rdev : 0;
}

QString HoldersOf(const QString &path)
{
    namespace fs = std::filesystem; // looks at links without looking at what they lead to, which may not answer
    const fs::path device = QFileInfo(path).canonicalFilePath().toStdString();
    const std::string own = std::to_string(QCoreApplication::applicationPid());
    QStringList holders;
    std::error_code ignored;
    for (const fs::directory_entry &process : fs::directory_iterator("/proc", ignored)) {
        const std::string number = process.path().filename().string();
        if (number == own || number.find_first_not_of("0123456789") != std::string::npos)
            continue;
        const fs::directory_iterator descriptors(process.path() / "fd", ignored); // at its end where we may not look
        const bool holds = std::any_of(begin(descriptors), end(descriptors), [&](const fs::directory_entry &each) {
            std::error_code gone;
            return fs::read_symlink(each.path(), gone) == device;
        });
        QFile name(QString::fromStdString(process.path() / "comm"));
        if (holds && name.open(QIODevice::ReadOnly))
            holders.append(QStringLiteral("%1 (processus %2)")
                               .arg(QString::fromUtf8(name.readAll().trimmed()), QString::fromStdString(number)));
    }
    return holders.join(QStringLiteral(", "));
}
} // namespace ports
