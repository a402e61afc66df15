#pragma once

#include "mainwindowtestaccess.h"
#include "preview/videopreviewwidget.h"
#include "virtualcamera.h"

#include <QMediaDevices>
#include <QPointer>
#include <QProxyStyle>
#include <QSignalSpy>
#include <QStyleFactory>
#include <QTest>
#include <QVideoSink>

namespace SessionTest {
// Generous: a loaded two-core machine starts GStreamer pipelines slowly.
inline constexpr int startTimeoutMs = 8000;

inline bool waitForPreview(MainWindowTestAccess &access, int timeoutMs = startTimeoutMs)
{
    return QTest::qWaitFor([&] { return access.badgeText() == QStringLiteral("●  预览正常"); },
                           timeoutMs);
}

// Waits until Qt's own device list has caught up with a hotplug.
inline bool waitForDeviceCount(qsizetype count)
{
    return QTest::qWaitFor([count] { return QMediaDevices::videoInputs().size() == count; });
}

inline VirtualCamera::Camera camera(const QString &name, bool isDefault = false, bool frames = true)
{
    return {name, isDefault, frames, {{640, 480, 30, "YUY2"}, {1280, 720, 30, "NV12"}}};
}

// The cameras of one test: plugged by the test, all unplugged in cleanup(), so that no test
// sees another's.
class Cameras
{
public:
    bool plug(const QList<VirtualCamera::Camera> &cameras)
    {
        for (const VirtualCamera::Camera &camera : cameras) {
            if (!VirtualCamera::plug(camera))
                return false;
            names << camera.name;
        }
        return waitForDeviceCount(names.size());
    }
    bool unplug(const QString &name)
    {
        return names.removeOne(name) && VirtualCamera::unplug(name);
    }
    bool unplugAll()
    {
        while (!names.isEmpty())
            VirtualCamera::unplug(names.takeLast());
        return waitForDeviceCount(0);
    }

private:
    QStringList names;
};

// Camera choice, format choice, start button and snapshot button: '+' enabled, '-' not.
inline QString enabledInputs(MainWindowTestAccess &access)
{
    QString marks;
    for (const QWidget *widget : QWidgetList {access.deviceCombo(), access.formatCombo(),
                                              access.primaryButton(), access.snapshotButton()})
        marks += widget->isEnabled() ? QLatin1Char('+') : QLatin1Char('-');
    return marks;
}

// The texts of the connection badge and of the status line, in order, repeats folded. The window
// re-polishes the badge after each change and this style sees every polish: it catches a text
// that a later one overwrites within the same event, and a status that a stalled main thread
// held only until the next change of the badge. The status line is also polled.
class History : public QProxyStyle
{
public:
    explicit History(MainWindowTestAccess &access)
        : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion")))
        , badgeLabel(access.connectionBadge())
        , statusLabel(access.statusCard())
    {
        record();
        badgeLabel->setStyle(this);
        QObject::connect(&poll, &QTimer::timeout, this, [this] { record(); });
        poll.start(10);
    }
    ~History() override
    {
        if (badgeLabel)
            badgeLabel->setStyle(nullptr);
    }
    void polish(QWidget *widget) override
    {
        if (widget == badgeLabel)
            record();
        QProxyStyle::polish(widget);
    }
    using QProxyStyle::polish;

    QStringList badge;
    QStringList status;

    // The texts that are among these, in the order they were shown.
    static QStringList only(const QStringList &texts, const QStringList &wanted)
    {
        QStringList result;
        std::copy_if(texts.cbegin(), texts.cend(), std::back_inserter(result),
                     [&](const QString &text) { return wanted.contains(text); });
        return result;
    }

private:
    void record()
    {
        for (auto [label, texts] :
             {std::pair(badgeLabel, &badge), std::pair(statusLabel, &status)}) {
            if (label && (texts->isEmpty() || texts->constLast() != label->text()))
                *texts << label->text();
        }
    }

    QPointer<QLabel> badgeLabel;
    QPointer<QLabel> statusLabel;
    QTimer poll;
};

// Frames keep flowing, not just the first one.
inline bool framesFlow(MainWindowTestAccess &access)
{
    QSignalSpy frames(access.preview()->videoSink(), &QVideoSink::videoFrameChanged);
    QTest::qWait(2000);
    return std::count_if(frames.cbegin(), frames.cend(),
                         [](const QList<QVariant> &arguments) {
                             return arguments.first().value<QVideoFrame>().isValid();
                         })
        >= 20;
}
} // namespace SessionTest
