#include "sessiontest.h"
#include "testmain.h"

using namespace SessionTest;

class TestHotplug : public QObject
{
    Q_OBJECT
    Cameras cameras;

private slots:
    void init() { TestEnvironment::clearSettings(); }
    void cleanup() { QVERIFY(cameras.unplugAll()); }

    void closingRightAfterFirstFrame();
    void changesDuringFirstStartGiveOneRefresh();
    void unplugCurrentFallsBackToNextCamera();
    void unplugLastCameraThenReplug();
    void oldFormatCheckStaysQuiet();
    void replugOfSilentCameraDuringRetry();
};

// The first frame arrives while the camera is still renegotiating; taking the camera out of the
// session at that moment used to deadlock about one time in fifteen.
void TestHotplug::closingRightAfterFirstFrame()
{
    QVERIFY(cameras.plug({camera(QStringLiteral("Cam A"), true)}));
    for (int i = 0; i < 30; ++i) {
        MainWindow window;
        MainWindowTestAccess access(window);
        QVERIFY(waitForPreview(access));
    }
}

void TestHotplug::changesDuringFirstStartGiveOneRefresh()
{
    QVERIFY(cameras.plug({camera(QStringLiteral("Cam A"), true), camera(QStringLiteral("Cam B"))}));
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

void TestHotplug::unplugCurrentFallsBackToNextCamera()
{
    QVERIFY(cameras.plug({camera(QStringLiteral("Cam A"), true), camera(QStringLiteral("Cam B"))}));
    MainWindow window;
    MainWindowTestAccess access(window);
    QVERIFY(waitForPreview(access));
    TextHistory badge(access.connectionBadge());

    QVERIFY(cameras.unplug(QStringLiteral("Cam A")));
    QTRY_COMPARE(access.badgeText(), QStringLiteral("●  设备变化"));
    QVERIFY(waitForPreview(access));
    QCOMPARE(access.currentDeviceName(), QStringLiteral("Cam B"));
    QCOMPARE(badge.texts.mid(1, 2), QStringList({"●  设备变化", "●  正在启动"}));
    QVERIFY(framesFlow(access));
}

void TestHotplug::unplugLastCameraThenReplug()
{
    QVERIFY(cameras.plug({camera(QStringLiteral("Cam B"), true)}));
    MainWindow window;
    MainWindowTestAccess access(window);
    // Twice in the same window. Pulled while streaming, its source fails as a real camera's does.
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
void TestHotplug::oldFormatCheckStaysQuiet()
{
    QVERIFY(cameras.plug(
        {camera(QStringLiteral("Good"), true), camera(QStringLiteral("Silent"), false, false)}));
    MainWindow window;
    MainWindowTestAccess access(window);
    QVERIFY(waitForPreview(access));
    TextHistory status(access.statusCard());

    access.formatCombo()->setCurrentIndex(1);
    QVERIFY(cameras.unplug(QStringLiteral("Good")));
    QTRY_COMPARE(access.badgeText(), QStringLiteral("●  设备变化"));
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  等待画面"), startTimeoutMs);
    QCOMPARE(access.currentDeviceName(), QStringLiteral("Silent"));
    QCOMPARE(access.formatCombo()->currentIndex(), 0); // a new camera starts automatic
    // The old check is due before the new camera's watchdog retries.
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  正在重试"), startTimeoutMs);
    QCOMPARE(status.only({QStringLiteral("当前格式没有收到画面，请改回“自动（推荐）”。")}),
             QStringList());
}

void TestHotplug::replugOfSilentCameraDuringRetry()
{
    QVERIFY(cameras.plug({camera(QStringLiteral("Silent"), true, false)}));
    MainWindow window;
    MainWindowTestAccess access(window);
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  正在重试"), 8000);

    // A device change during the retry pause starts a new preparation with a fresh count.
    QVERIFY(cameras.plug({camera(QStringLiteral("Cam D"))}));
    QTRY_COMPARE(access.badgeText(), QStringLiteral("●  设备变化"));
    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  等待画面"), startTimeoutMs);
    QCOMPARE(access.currentDeviceName(), QStringLiteral("Silent"));
    QCOMPARE(access.noFrameRetries(), 0);
}

TARVELO_TEST_MAIN_WITH(TestHotplug, VirtualCamera::install({}))
#include "tst_hotplug.moc"
