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

// Virtual cameras in and out, each returning once Qt's own device list has caught up.
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
inline bool unplugAll()
{
    for (const QCameraDevice &camera : QMediaDevices::videoInputs())
        VirtualCamera::unplug(camera.description());
    return listed(0);
}

inline void choose(QComboBox *combo, const QString &text)
{
    combo->setCurrentIndex(combo->findText(text));
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

// The texts the badge and the status line showed, in order, repeats folded. The window re-polishes
// the badge on each change and this style sees every polish, so a text replaced within one event
// is caught; the status line is polled. The window must outlive it.
class History : public QProxyStyle
{
public:
    explicit History(const MainWindowTestAccess &access)
        : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion")))
        , labels {access.connectionBadge(), access.statusCard()}
    {
        record();
        labels[0]->setStyle(this);
        startTimer(10);
    }
    ~History() override { labels[0]->setStyle(nullptr); }
    void polish(QWidget *widget) override
    {
        if (widget == labels[0])
            record();
        QProxyStyle::polish(widget);
    }
    using QProxyStyle::polish;

    // Of what was shown, the texts among `wanted`, repeats folded.
    static QStringList only(const QStringList &texts, const QStringList &wanted)
    {
        QStringList result;
        for (const QString &text : texts)
            if (wanted.contains(text) && (result.isEmpty() || result.constLast() != text))
                result << text;
        return result;
    }

    QStringList badge, status;

private:
    void timerEvent(QTimerEvent *) override { record(); }
    void record()
    {
        for (auto [label, texts] : {std::pair(labels[0], &badge), std::pair(labels[1], &status)})
            if (texts->isEmpty() || texts->constLast() != label->text())
                *texts << label->text();
    }
    QLabel *labels[2];
};

inline bool framesFlow(const MainWindowTestAccess &access)
{
    QSignalSpy frames(access.preview()->videoSink(), &QVideoSink::videoFrameChanged);
    QTest::qWait(2000);
    return frames.size() >= 20;
}
} // namespace SessionTest
