#pragma once

#include <QDir>
#include <QFile>
#include <QString>

// The kernel's vivid driver inside the vivid virtual machine (scripts/vivid-check.sh).
namespace VividDriver {

// The capture node the driver has now, empty without vivid: after a rebind, or while an old
// descriptor still holds the number, it may come back under another one.
inline QString captureNode()
{
    const QStringList names = QDir(QStringLiteral("/sys/class/video4linux")).entryList();
    for (const QString &name : names) {
        QFile card(QStringLiteral("/sys/class/video4linux/%1/name").arg(name));
        if (card.open(QIODevice::ReadOnly) && card.readAll().trimmed().endsWith("-vid-cap"))
            return QStringLiteral("/dev/") + name;
    }
    return {};
}

// Unbinding removes the device as pulling a USB camera does: the node goes while programs still
// have it open, and udev reports the removal.
inline bool setBound(bool bound)
{
    QFile control(bound ? QStringLiteral("/sys/bus/platform/drivers/vivid/bind")
                        : QStringLiteral("/sys/bus/platform/drivers/vivid/unbind"));
    return control.open(QIODevice::WriteOnly) && control.write("vivid.0") > 0;
}

} // namespace VividDriver
