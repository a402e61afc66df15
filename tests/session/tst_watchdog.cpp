#include "sessiontest.h"
#include "testmain.h"

using namespace SessionTest;

namespace {
const QString silentCamera = QStringLiteral("Silent Cam");
const QString goodCamera = QStringLiteral("Good Cam");
} // namespace

class TestWatchdog : public QObject
{
    Q_OBJECT
    Cameras cameras;

private slots:
    void init()
    {
        TestEnvironment::clearSettings();
        const QList<VirtualCamera::Format> formats = {
            {1920, 1080, 60, "YUY2"}, {1280, 720, 30, "YUY2"}, {640, 480, 30, "NV12"}};
        QVERIFY(cameras.plug(
            {{silentCamera, true, false, formats}, {goodCamera, false, true, formats}}));
    }
    void cleanup() { QVERIFY(cameras.unplugAll()); }

    void silentCameraIsRetriedThenGivenUp();
    void switchingCameraCancelsScheduledRetry();
    void vanishedCameraWaitsForReconnection();
};

void TestWatchdog::silentCameraIsRetriedThenGivenUp()
{
    MainWindow window;
    MainWindowTestAccess access(window);
    TextHistory badge(access.connectionBadge());
    TextHistory status(access.statusCard());
    QCOMPARE(access.currentDeviceName(), silentCamera);

    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  无视频画面"), 20000);
    QCOMPARE(badge.texts,
             QStringList({"●  正在启动", "●  等待画面", "●  正在重试", "●  正在启动", "●  等待画面",
                          "●  正在重试", "●  正在启动", "●  等待画面", "●  无视频画面"}));
    QCOMPARE(access.badgeState(), QStringLiteral("error"));
    // The second retry runs with the compatible format, whose check warns before the watchdog
    // gives up.
    const QStringList messages = {QStringLiteral("尚未收到画面，正在重新建立摄像头连接（1/2）…"),
                                  QStringLiteral("尚未收到画面，正在重新建立摄像头连接（2/2）…"),
                                  QStringLiteral("当前格式没有收到画面，请改回“自动（推荐）”。"),
                                  QStringLiteral("USB 摄像头没有返回画面，请重新插拔后再试。")};
    QCOMPARE(status.only(messages), messages);
    QCOMPARE(access.formatCombo()->currentText(), QStringLiteral("1280 × 720   30 fps"));
    QCOMPARE(access.camera()->cameraFormat().resolution(), QSize(1280, 720));
    QCOMPARE(access.noFrameRetries(), 2);

    // Given up means given up: nothing further happens to this preparation.
    QTest::qWait(4500);
    QCOMPARE(badge.texts.size(), 9);
    QCOMPARE(status.texts.constLast(), messages.constLast());
}

void TestWatchdog::switchingCameraCancelsScheduledRetry()
{
    MainWindow window;
    MainWindowTestAccess access(window);
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  正在重试"), 8000);
    QVERIFY(!access.camera()); // torn down during the pause
    access.toggleCamera(); // nothing to toggle
    QVERIFY(!access.camera());

    access.deviceCombo()->setCurrentIndex(access.deviceCombo()->findText(goodCamera));
    QCOMPARE(access.noFrameRetries(), 0);
    QVERIFY(waitForPreview(access));
    // The retry's delayed start found a newer session and did nothing.
    QTest::qWait(1000);
    QCOMPARE(access.camera()->cameraDevice().description(), goodCamera);
    QCOMPARE(access.noFrameRetries(), 0);
}

void TestWatchdog::vanishedCameraWaitsForReconnection()
{
    MainWindow window;
    MainWindowTestAccess access(window);
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  等待画面"), startTimeoutMs);

    // The system has dropped the camera but the window has not yet heard of it.
    QObject::disconnect(&access.mediaDevices(), nullptr, &window, nullptr);
    QVERIFY(cameras.unplug(silentCamera));
    QVERIFY(waitForDeviceCount(1));

    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  等待重连"), 6000);
    QCOMPARE(access.badgeState(), QStringLiteral("waiting"));
    QCOMPARE(access.status(), QStringLiteral("USB 摄像头已断开，等待重新连接…"));
    QCOMPARE(access.noFrameRetries(), 0);
    QVERIFY(access.camera()); // left in place for the device-change path
}

TARVELO_TEST_MAIN_WITH(TestWatchdog, VirtualCamera::install({}))
#include "tst_watchdog.moc"
