#pragma once

#include "mainwindowtestaccess.h"
#include "preview/videopreviewwidget.h"
#include "virtualcamera.h"

#include <QMediaDevices>
#include <QProxyStyle>
#include <QSignalSpy>
#include <QStyleFactory>
#include <QTest>
#include <QVideoSink>

namespace SessionTest {
// Generous: a loaded two-core machine starts GStreamer pipelines slowly.
inline constexpr int startTimeoutMs = 8000;

inline bool waitForPreview(const MainWindowTestAccess &access, int timeoutMs = startTimeoutMs)
{
    return QTest::qWaitFor([&] { return access.badgeText() == QStringLiteral("●  预览正常"); },
                           timeoutMs);
}

// Virtual cameras in and out, each call returning once Qt's own device list has caught up.
inline bool listed(qsizetype count)
{
    return QTest::qWaitFor([count] { return QMediaDevices::videoInputs().size() == count; });
}
inline bool plug(const QList<VirtualCamera::Camera> &cameras)
{
    const qsizetype count = QMediaDevices::videoInputs().size() + cameras.size();
    return std::all_of(cameras.begin(), cameras.end(), VirtualCamera::plug) && listed(count);
}
inline bool unplug(const QString &name)
{
    const qsizetype count = QMediaDevices::videoInputs().size() - 1;
    return VirtualCamera::unplug(name) && listed(count);
}
// All of them, so that no test sees another's.
inline bool unplugAll()
{
    for (const QCameraDevice &camera : QMediaDevices::videoInputs())
        VirtualCamera::unplug(camera.description());
    return listed(0);
}

inline void choose(const MainWindowTestAccess &access, const QString &name)
{
    access.deviceCombo()->setCurrentIndex(access.deviceCombo()->findText(name));
}

// Camera choice, format choice, start button and snapshot button: '+' enabled, '-' not.
inline QString enabledInputs(const MainWindowTestAccess &access)
{
    QString marks;
    for (const QWidget *widget : QWidgetList {access.deviceCombo(), access.formatCombo(),
                                              access.primaryButton(), access.snapshotButton()})
        marks += widget->isEnabled() ? u'+' : u'-';
    return marks;
}

// The texts of the connection badge and of the status line, in order, repeats folded. The window
// re-polishes the badge on each change and this style sees every polish, so a text replaced
// within the same event is caught; the status line is also polled. The window must outlive it.
class History : public QProxyStyle
{
public:
    explicit History(const MainWindowTestAccess &access)
        : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion")))
        , badgeLabel(access.connectionBadge())
        , statusLabel(access.statusCard())
    {
        record();
        badgeLabel->setStyle(this);
        startTimer(10);
    }
    ~History() override { badgeLabel->setStyle(nullptr); }
    void polish(QWidget *widget) override
    {
        if (widget == badgeLabel)
            record();
        QProxyStyle::polish(widget);
    }
    using QProxyStyle::polish;

    QStringList badge, status;

    // The texts that are among `wanted`, in the order they were shown, repeats folded.
    static QStringList only(const QStringList &texts, const QStringList &wanted)
    {
        QStringList result;
        for (const QString &text : texts)
            if (wanted.contains(text) && (result.isEmpty() || result.constLast() != text))
                result << text;
        return result;
    }

private:
    void timerEvent(QTimerEvent *) override { record(); }
    void record()
    {
        for (auto [label, texts] : {std::pair(badgeLabel, &badge), std::pair(statusLabel, &status)})
            if (texts->isEmpty() || texts->constLast() != label->text())
                *texts << label->text();
    }

    QLabel *badgeLabel, *statusLabel;
};

inline bool framesFlow(const MainWindowTestAccess &access)
{
    QSignalSpy frames(access.preview()->videoSink(), &QVideoSink::videoFrameChanged);
    QTest::qWait(2000);
    return frames.size() >= 20;
}
} // namespace SessionTest
