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
