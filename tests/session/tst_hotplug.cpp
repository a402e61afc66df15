#include "badgehistory.h"
#include "mainwindowtestaccess.h"
#include "preview/videopreviewwidget.h"
#include "sessionwaits.h"
#include "testmain.h"
#include "virtualcamera.h"

#include <QVideoSink>

using namespace SessionWaits;

namespace {
const QList<VirtualCamera::Format> lightFormats = {{640, 480, 30, "YUY2"}, {1280, 720, 30, "NV12"}};

VirtualCamera::Camera camera(const QString &name, bool isDefault = false, bool frames = true)
{
    return {name, isDefault, frames, lightFormats};
}

// Frames keep flowing, not just the first one.
bool framesFlow(VideoPreviewWidget *preview, int atLeast = 20, int withinMs = 2000)
{
    QSignalSpy frames(preview->videoSink(), &QVideoSink::videoFrameChanged);
    QTest::qWait(withinMs);
    int valid = 0;
    for (const QList<QVariant> &arguments : std::as_const(frames))
        valid += arguments.first().value<QVideoFrame>().isValid();
    if (valid < atLeast)
        qWarning("only %d frames in %d ms", valid, withinMs);
    return valid >= atLeast;
}
} // namespace

class TestHotplug : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { TestEnvironment::clearSettings(); }

    void closingRightAfterFirstFrame();
    void burstOfChangesGivesOneRefresh();
    void unplugCurrentFallsBackToNextCamera();
    void unplugLastCameraThenReplug();
    void changeDuringPendingStartAndFormatChange();
    void replugOfSilentCameraDuringRetry();
};

// The first frame arrives while the camera is still renegotiating; taking the camera out of the
// session at that moment used to deadlock about one time in fifteen.
void TestHotplug::closingRightAfterFirstFrame()
{
    for (int i = 0; i < 30; ++i) {
        MainWindow window;
        MainWindowTestAccess access(window);
        QVERIFY(waitForPreview(access));
    }
}

void TestHotplug::burstOfChangesGivesOneRefresh()
{
    MainWindow window;
    MainWindowTestAccess access(window);
    QVERIFY(waitForPreview(access));
    const QString current = access.currentDeviceName();

    QSignalSpy refreshes(&access.deviceChangeTimer(), &QTimer::timeout);
    QMediaDevices watcher;
    QElapsedTimer sinceLastChange;
    connect(
        &watcher, &QMediaDevices::videoInputsChanged, this, [&] { sinceLastChange.start(); },
        Qt::QueuedConnection);

    QVERIFY(VirtualCamera::plug(camera(QStringLiteral("Extra 1"))));
    QTRY_COMPARE(access.badgeText(), QStringLiteral("●  设备变化"));
    QCOMPARE(access.status(), QStringLiteral("检测到摄像头变化，正在重新连接…"));
    QVERIFY(!access.camera());
    QVERIFY(!access.formatCombo()->isEnabled());
    QVERIFY(!access.primaryButton()->isEnabled());
    QTest::qWait(300);
    QVERIFY(VirtualCamera::unplug(QStringLiteral("Extra 1")));
    QTest::qWait(300);
    QVERIFY(VirtualCamera::plug(camera(QStringLiteral("Extra 2"))));

    QVERIFY(refreshes.wait(3000));
    QVERIFY2(qAbs(sinceLastChange.elapsed() - 700) <= 300,
             qPrintable(QString::number(sinceLastChange.elapsed())));
    QVERIFY(waitForPreview(access));
    QCOMPARE(refreshes.size(), 1);
    // The same camera comes back: it is still the system default and nothing else is stored.
    QCOMPARE(access.currentDeviceName(), current);
    QCOMPARE(access.deviceCombo()->count(), 3);
    QVERIFY(VirtualCamera::unplug(QStringLiteral("Extra 2")));
    QVERIFY(waitForDeviceCount(2));
    QVERIFY(waitForPreview(access));
}

void TestHotplug::unplugCurrentFallsBackToNextCamera()
{
    MainWindow window;
    MainWindowTestAccess access(window);
    QVERIFY(waitForPreview(access));
    QCOMPARE(access.currentDeviceName(), QStringLiteral("Cam A"));
    BadgeHistory badge(access.connectionBadge());

    QVERIFY(VirtualCamera::unplug(QStringLiteral("Cam A")));
    QTRY_COMPARE(access.badgeText(), QStringLiteral("●  设备变化"));
    QVERIFY(waitForPreview(access));
    QCOMPARE(access.currentDeviceName(), QStringLiteral("Cam B"));
    QCOMPARE(collapsed(badge.texts()).mid(1, 2), QStringList({"●  设备变化", "●  正在启动"}));
    QVERIFY(framesFlow(access.preview()));
}

void TestHotplug::unplugLastCameraThenReplug()
{
    VirtualCamera::unplug(QStringLiteral("Cam A")); // gone already when the whole suite runs
    QVERIFY(waitForDeviceCount(1));
    MainWindow window;
    MainWindowTestAccess access(window);
    QVERIFY(waitForPreview(access));
    QCOMPARE(access.currentDeviceName(), QStringLiteral("Cam B"));

    // Pulled while streaming: its source fails like a real camera's does.
    QVERIFY(VirtualCamera::unplug(QStringLiteral("Cam B")));
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  未连接"), 5000);
    QCOMPARE(access.badgeState(), QStringLiteral("error"));
    QCOMPARE(access.status(), QStringLiteral("未检测到摄像头，请连接 USB 摄像头后刷新。"));
    QCOMPARE(access.deviceCombo()->count(), 0);
    QCOMPARE(access.formatCombo()->count(), 0);
    QVERIFY(!access.formatCombo()->isEnabled());
    QVERIFY(!access.primaryButton()->isEnabled());
    QVERIFY(!access.snapshotButton()->isEnabled());
    QVERIFY(access.currentDeviceName().isEmpty());
    QVERIFY(!access.camera());

    QVERIFY(VirtualCamera::plug(camera(QStringLiteral("Cam B"), true)));
    QVERIFY(waitForPreview(access));
    QCOMPARE(access.currentDeviceName(), QStringLiteral("Cam B"));
    QVERIFY(access.primaryButton()->isEnabled());
    QVERIFY(framesFlow(access.preview()));

    // And once more: a second pull and replug in the same window.
    QVERIFY(VirtualCamera::unplug(QStringLiteral("Cam B")));
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  未连接"), 5000);
    QVERIFY(VirtualCamera::plug(camera(QStringLiteral("Cam B"), true)));
    QVERIFY(waitForPreview(access));
    QVERIFY(framesFlow(access.preview()));
}

void TestHotplug::changeDuringPendingStartAndFormatChange()
{
    MainWindow window;
    MainWindowTestAccess access(window);

    // A change while the first start is still pending.
    QVERIFY(VirtualCamera::plug(camera(QStringLiteral("Cam C"))));
    QTRY_COMPARE(access.badgeText(), QStringLiteral("●  设备变化"));
    QVERIFY(waitForPreview(access));
    QCOMPARE(access.deviceCombo()->count(), 2);

    // A change right after a manual format change: the old format check must stay quiet.
    access.formatCombo()->setCurrentIndex(1);
    QVERIFY(VirtualCamera::unplug(QStringLiteral("Cam C")));
    QTRY_COMPARE(access.badgeText(), QStringLiteral("●  设备变化"));
    QVERIFY(waitForPreview(access));
    QTest::qWait(3500);
    QCOMPARE(access.badgeText(), QStringLiteral("●  预览正常"));
    QVERIFY(access.status().startsWith(QStringLiteral("预览正常：")));
    QCOMPARE(access.formatCombo()->currentIndex(), 0); // a restart returns to the automatic format
}

void TestHotplug::replugOfSilentCameraDuringRetry()
{
    QVERIFY(VirtualCamera::unplug(QStringLiteral("Cam B")));
    QVERIFY(VirtualCamera::plug(camera(QStringLiteral("Silent"), true, false)));
    QVERIFY(waitForDeviceCount(1));
    MainWindow window;
    MainWindowTestAccess access(window);
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  正在重试"), 8000);

    // A device change during the retry pause starts a new preparation with a fresh count.
    QVERIFY(VirtualCamera::plug(camera(QStringLiteral("Cam D"))));
    QTRY_COMPARE(access.badgeText(), QStringLiteral("●  设备变化"));
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  等待画面"), startTimeoutMs);
    QCOMPARE(access.currentDeviceName(), QStringLiteral("Silent"));
    QCOMPARE(access.noFrameRetries(), 0);
}

TARVELO_TEST_MAIN_WITH(TestHotplug,
                       VirtualCamera::install({camera(QStringLiteral("Cam A"), true),
                                               camera(QStringLiteral("Cam B"))}))
#include "tst_hotplug.moc"
