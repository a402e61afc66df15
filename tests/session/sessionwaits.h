#pragma once

#include "mainwindowtestaccess.h"

#include <QMediaDevices>
#include <QSignalSpy>
#include <QTest>

// Generous limits: a loaded two-core machine starts GStreamer pipelines slowly.
namespace SessionWaits {
inline constexpr int startTimeoutMs = 8000;

inline bool waitForPreview(MainWindowTestAccess &access, int timeoutMs = startTimeoutMs)
{
    return QTest::qWaitFor([&] { return access.badgeText() == QStringLiteral("●  预览正常"); },
                           timeoutMs);
}

// Waits until Qt's own device list has caught up with a hotplug.
inline bool waitForDeviceCount(int count, int timeoutMs = 5000)
{
    return QTest::qWaitFor([count] { return QMediaDevices::videoInputs().size() == count; },
                           timeoutMs);
}

inline QByteArray idOf(const QString &description)
{
    const QList<QCameraDevice> devices = QMediaDevices::videoInputs();
    for (const QCameraDevice &device : devices) {
        if (device.description() == description)
            return device.id();
    }
    return {};
}
// Consecutive repeats folded into one.
inline QStringList collapsed(const QStringList &texts)
{
    QStringList result;
    for (const QString &text : texts) {
        if (result.isEmpty() || result.constLast() != text)
            result << text;
    }
    return result;
}
} // namespace SessionWaits
