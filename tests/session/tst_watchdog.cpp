#include "sessiontest.h"
#include "testmain.h"

using namespace SessionTest;

namespace {
const QString silentCamera = QStringLiteral("Silent Cam");
const QString goodCamera = QStringLiteral("Good Cam");
} // namespace

// A camera that gives no picture, and cameras that come and go.
class TestWatchdog : public QObject
{
    Q_OBJECT
    Cameras cameras;

    bool plugSilentAndGood()
    {
        const QList<VirtualCamera::Format> formats = {
            {1920, 1080, 60, "YUY2"}, {1280, 720, 30, "YUY2"}, {640, 480, 30, "NV12"}};
        return cameras.plug(
            {{silentCamera, true, false, formats}, {goodCamera, false, true, formats}});
    }

private slots:
    void init() { TestEnvironment::clearSettings(); }
    void cleanup() { QVERIFY(cameras.unplugAll()); }

    void silentCameraIsRetriedThenGivenUp()
    {
        QVERIFY(plugSilentAndGood());
        MainWindow window;
        MainWindowTestAccess access(window);
        History history(access);
        QCOMPARE(access.currentDeviceName(), silentCamera);

        QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  无视频画面"), 20000);
        QCOMPARE(
            history.badge,
            QStringList({"●  正在启动", "●  等待画面", "●  正在重试", "●  正在启动", "●  等待画面",
                         "●  正在重试", "●  正在启动", "●  等待画面", "●  无视频画面"}));
        QCOMPARE(access.badgeState(), QStringLiteral("error"));
        // The second retry runs with the compatible format, whose check warns before the watchdog
        // gives up.
        const QStringList messages = {
            QStringLiteral("尚未收到画面，正在重新建立摄像头连接（1/2）…"),
            QStringLiteral("尚未收到画面，正在重新建立摄像头连接（2/2）…"),
            QStringLiteral("当前格式没有收到画面，请改回“自动（推荐）”。"),
            QStringLiteral("USB 摄像头没有返回画面，请重新插拔后再试。")};
        QVERIFY2(History::only(history.status, messages) == messages,
                 qPrintable(history.status.join(QLatin1Char('|'))));
        QCOMPARE(access.formatCombo()->currentText(), QStringLiteral("1280 × 720   30 fps"));
        QCOMPARE(access.camera()->cameraFormat().resolution(), QSize(1280, 720));
        QCOMPARE(access.noFrameRetries(), 2);

        // Given up means given up: nothing further happens to this preparation.
        QTest::qWait(4500);
        QCOMPARE(history.badge.size(), 9);
        QCOMPARE(history.status.constLast(), messages.constLast());
    }

    void switchingCameraCancelsScheduledRetry()
    {
        QVERIFY(plugSilentAndGood());
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

    void vanishedCameraWaitsForReconnection()
    {
        QVERIFY(plugSilentAndGood());
        MainWindow window;
        MainWindowTestAccess access(window);
        QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  等待画面"),
                                  startTimeoutMs);

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

    // The first frame arrives while the camera is still renegotiating; taking the camera out of the
    // session at that moment used to deadlock about one time in fifteen.
    void closingRightAfterFirstFrame()
    {
        QVERIFY(cameras.plug({camera(QStringLiteral("Cam A"), true)}));
        for (int i = 0; i < 30; ++i) {
            MainWindow window;
            MainWindowTestAccess access(window);
            QVERIFY(waitForPreview(access));
        }
    }

    void changesDuringFirstStartGiveOneRefresh()
    {
        QVERIFY(
            cameras.plug({camera(QStringLiteral("Cam A"), true), camera(QStringLiteral("Cam B"))}));
        MainWindow window;
        MainWindowTestAccess access(window);
        QSignalSpy refreshes(&access.deviceChangeTimer(), &QTimer::timeout);

        QVERIFY(cameras.plug({camera(QStringLiteral("Extra 1"))}));
        QTRY_COMPARE(access.badgeText(), QStringLiteral("●  设备变化"));
        QCOMPARE(access.status(), QStringLiteral("检测到摄像头变化，正在重新连接…"));
        QCOMPARE(enabledInputs(access), QStringLiteral("+--+"));
        QTest::qWait(300);
        QVERIFY(cameras.unplug(QStringLiteral("Extra 1")));
        QTest::qWait(300);
        QVERIFY(cameras.plug({camera(QStringLiteral("Extra 2"))}));

        QVERIFY(waitForPreview(access));
        QCOMPARE(refreshes.size(), 1);
        // The same camera comes back: it is still the system default and nothing else is stored.
        QCOMPARE(access.currentDeviceName(), QStringLiteral("Cam A"));
        QCOMPARE(access.deviceCombo()->count(), 3);
    }

    void unplugLastCameraThenReplug()
    {
        QVERIFY(cameras.plug({camera(QStringLiteral("Cam B"), true)}));
        MainWindow window;
        MainWindowTestAccess access(window);
        // Twice in the same window. Pulled while streaming, its source fails as a real camera's
        // does.
        for (int round = 0; round < 2; ++round) {
            QVERIFY(waitForPreview(access));
            QVERIFY(cameras.unplug(QStringLiteral("Cam B")));
            QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  未连接"), 5000);
            QCOMPARE(access.badgeState(), QStringLiteral("error"));
            QCOMPARE(access.status(), QStringLiteral("未检测到摄像头，请连接 USB 摄像头后刷新。"));
            QCOMPARE(access.deviceCombo()->count() + access.formatCombo()->count(), 0);
            QCOMPARE(enabledInputs(access), QStringLiteral("----"));
            QVERIFY(access.currentDeviceName().isEmpty());
            QVERIFY(!access.camera());

            QVERIFY(cameras.plug({camera(QStringLiteral("Cam B"), true)}));
            QVERIFY(waitForPreview(access));
            QCOMPARE(access.currentDeviceName(), QStringLiteral("Cam B"));
            QCOMPARE(enabledInputs(access), QStringLiteral("++++"));
            QVERIFY(framesFlow(access));
        }
    }

    // A format check armed for the old camera must not speak for a new one that gives no frame.
    void oldFormatCheckStaysQuiet()
    {
        QVERIFY(cameras.plug({camera(QStringLiteral("Good"), true),
                              camera(QStringLiteral("Silent"), false, false)}));
        MainWindow window;
        MainWindowTestAccess access(window);
        QVERIFY(waitForPreview(access));
        History history(access);

        access.formatCombo()->setCurrentIndex(1);
        QVERIFY(cameras.unplug(QStringLiteral("Good")));
        QTRY_COMPARE(access.badgeText(), QStringLiteral("●  设备变化"));
        QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  等待画面"),
                                  startTimeoutMs);
        QCOMPARE(access.currentDeviceName(), QStringLiteral("Silent"));
        QCOMPARE(access.formatCombo()->currentIndex(), 0); // a new camera starts automatic
        // The old check is due before the new camera's watchdog retries.
        QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  正在重试"),
                                  startTimeoutMs);
        QVERIFY(!history.status.contains(
            QStringLiteral("当前格式没有收到画面，请改回“自动（推荐）”。")));
    }
};

TARVELO_TEST_MAIN_WITH(TestWatchdog, if (!TestEnvironment::canServeVirtualCameras()) return 77;
                       VirtualCamera::install({}))
#include "tst_watchdog.moc"
