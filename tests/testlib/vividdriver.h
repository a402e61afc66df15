#pragma once

#include <QDir>
#include <QFile>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
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

// "brightness,gain" → {"brightness": 200, "gain": 42}, as the driver reports them.
inline QMap<QString, int> values(const QString &names)
{
    QProcess ctl;
    ctl.start(QStringLiteral("v4l2-ctl"),
              {QStringLiteral("-d"), captureNode(), QStringLiteral("-C"), names});
    ctl.waitForFinished(10000);
    QMap<QString, int> values;
    static const QRegularExpression line(QStringLiteral("^(\\w+): (-?\\d+)$"),
                                         QRegularExpression::MultilineOption);
    auto matches = line.globalMatch(QString::fromUtf8(ctl.readAllStandardOutput()));
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        values.insert(match.captured(1), match.captured(2).toInt());
    }
    return values;
}

inline bool set(const QString &assignment)
{
    return QProcess::execute(
               QStringLiteral("v4l2-ctl"),
               {QStringLiteral("-d"), captureNode(), QStringLiteral("-c"), assignment})
        == 0;
}

} // namespace VividDriver
