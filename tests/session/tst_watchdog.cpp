#include "sessiontest.h"
#include "testmain.h"

using namespace SessionTest;
using VirtualCamera::Camera;
Q_DECLARE_METATYPE(Camera)

namespace {
const QString live = "●  预览正常", retry = "●  正在重试", givenUp = "●  无视频画面",
              waiting = "●  等待画面", starting = "●  正在启动";
const QString retry1 = "尚未收到画面，正在重新建立摄像头连接（1/2）…",
              retry2 = "尚未收到画面，正在重新建立摄像头连接（2/2）…",
              stall1 = "画面中断，正在重新建立摄像头连接（1/2）…",
              stall2 = "画面中断，正在重新建立摄像头连接（2/2）…",
              recovered = "画面已恢复：640 × 480", recoveredSmall = "画面已恢复：320 × 240",
              formatCheck = "当前格式没有收到画面，请改回“自动（推荐）”。",
              replug = "USB 摄像头没有返回画面，请重新插拔后再试。";
const QList<VirtualCamera::Format> formats = {
    {1920, 1080, 60, "YUY2"}, {1280, 720, 30, "YUY2"}, {640, 480, 30, "NV12"}};
const QList<VirtualCamera::Format> small = {{640, 480, 30, "YUY2"}, {1280, 720, 30, "NV12"}};
const Camera silent {"Silent Cam", true, false, formats}, good {"Good Cam", false, true, formats};
const Camera camA {"Cam A", true, true, small}, extra {"Extra", false, true, small};

Camera stopsAfter(int frames)
{
    Camera camera {"Stalling Cam", true, true, {{640, 480, 30, "YUY2"}, {320, 240, 30, "YUY2"}}};
    camera.stopsAfterFrames = frames;
    return camera;
}
} // namespace

// Cameras that give no picture, or stop giving one, and cameras that come and go.
class TestWatchdog : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestEnvironment::clearSettings(); }
    void cleanup() { QVERIFY(unplugAll()); }

    // From a silent camera to a good one while a retry is scheduled, the good one pulled out with
    // a format check pending, and the silent one vanishing unheard.
    void switchesDuringRetries()
    {
        QVERIFY(plug({silent, good}));
        MainWindowTestAccess access;
        History history(access);
        QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), retry, startTimeoutMs);
        choose(access.deviceCombo(), good.name);
        QVERIFY(waitForPreview(access));
        QTest::qWait(1000); // the retry's delayed start finds a newer session
        QCOMPARE(std::pair(access.camera()->cameraDevice().description(), access.noFrameRetries()),
                 std::pair(good.name, 0));

        access.formatCombo()->setCurrentIndex(1);
        QVERIFY(unplug(good.name));
        QTRY_COMPARE_WITH_TIMEOUT(access.noFrameRetries(), 1, startTimeoutMs);
        QCOMPARE(access.formatCombo()->currentIndex(), 0);
        QVERIFY(!history.status.contains(formatCheck));

        QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), waiting, startTimeoutMs);
        QObject::disconnect(&access.mediaDevices(), nullptr, &access.window(), nullptr);
        QVERIFY(unplug(silent.name));
        QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  等待重连"), 6000);
        QCOMPARE(access.status(), QStringLiteral("USB 摄像头已断开，等待重新连接…"));
    }

    // Windows closed right after their first frame, while the camera still renegotiates (that
    // used to deadlock); changes during a start give one refresh of the same camera; the last
    // camera goes and comes back twice in one window, pulled while streaming.
    void closingAndHotplug()
    {
        QVERIFY(plug({camA}));
        for (int i = 0; i < 30; ++i)
            QVERIFY(waitForPreview(MainWindowTestAccess()));
        MainWindowTestAccess access;
        QSignalSpy refreshes(&access.deviceChangeTimer(), &QTimer::timeout);
        QVERIFY(plug({extra}));
        QTRY_COMPARE(access.badgeText(), QStringLiteral("●  设备变化"));
        QCOMPARE(QStringList({access.status(), enabledInputs(access)}),
                 QStringList({"检测到摄像头变化，正在重新连接…", "+--+"}));
        QTest::qWait(300);
        QVERIFY(unplug(extra.name));
        QTest::qWait(300);
        QVERIFY(plug({extra}));
        QVERIFY(waitForPreview(access));
        QCOMPARE(std::pair(int(refreshes.size()), access.currentDeviceName()),
                 std::pair(1, camA.name));
        QVERIFY(unplug(extra.name));

        for (int round = 0; round < 2; ++round) {
            QVERIFY(unplug(camA.name));
            QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  未连接"), 5000);
            QCOMPARE(QStringList({access.status(), enabledInputs(access)}),
                     QStringList({"未检测到摄像头，请连接 USB 摄像头后刷新。", "----"}));
            QVERIFY(!access.camera() && !access.formatCombo()->count());
            QVERIFY(plug({camA}));
            QVERIFY(waitForPreview(access));
            QCOMPARE(enabledInputs(access), QStringLiteral("++++"));
            QVERIFY(framesFlow(access));
        }
    }

    // Cameras that never give a picture, that fall silent after some frames each time, that are
    // slow, that the user stops: the badges and messages shown, and the format left chosen.
    void silentStreams_data()
    {
        QTest::addColumn<Camera>("camera");
        QTest::addColumn<QString>("action"); // at the first picture: a format to choose, or "stop"
        QTest::addColumn<QStringList>("badges");
        QTest::addColumn<QStringList>("statuses");
        QTest::addColumn<QString>("format");

        const QStringList attempt = {starting, waiting, retry}, started = {starting, waiting, live},
                          stall = {retry, starting, waiting, live};
        // The second retry runs with the compatible format, whose check warns first.
        QTest::newRow("never a picture")
            << silent << "" << attempt + attempt + QStringList {starting, waiting, givenUp}
            << QStringList {retry1, retry2, formatCheck, replug} << "1280 × 720   30 fps";
        QTest::newRow("stops after half a second")
            << stopsAfter(15) << "" << started + stall + stall + QStringList {givenUp}
            << QStringList {stall1, recovered, stall2, recovered, replug} << "自动（推荐）";
        // Recovered stalls give the retries back: a long session outlives any number of them.
        const QString small = "320 × 240   30 fps", back = recoveredSmall;
        QTest::newRow("stops after four seconds")
            << stopsAfter(120) << small
            << started + QStringList {waiting, live} + stall + stall + stall
            << QStringList {stall1, back, stall1, back, stall1, back} << small;
        Camera slow {good.name, true, true, {{640, 480, 2, "YUY2"}}};
        QTest::newRow("2 fps") << slow << "" << started << QStringList() << "自动（推荐）";
        QTest::newRow("stopped by the user")
            << stopsAfter(15) << "stop" << started << QStringList() << "自动（推荐）";
    }

    void silentStreams()
    {
        QFETCH(Camera, camera);
        QFETCH(QString, action);
        QFETCH(QStringList, badges);
        QFETCH(QStringList, statuses);
        QVERIFY(plug({camera}));
        MainWindowTestAccess access;
        History history(access);
        if (!action.isEmpty()) {
            QVERIFY(waitForPreview(access));
            if (action == "stop")
                access.toggleCamera();
            else
                choose(access.formatCombo(), action);
        }
        const auto shown = [&] {
            return std::pair(
                History::only(history.badge, {starting, waiting, live, retry, givenUp}),
                History::only(history.status,
                              {retry1, retry2, stall1, stall2, recovered, formatCheck, replug,
                               statuses.value(1)}));
        };
        QTRY_VERIFY_WITH_TIMEOUT(shown().first.size() >= badges.size(), 60000);
        // A camera that keeps recovering goes on stalling; the others must then stay as they are.
        const bool endless = camera.stopsAfterFrames > 100;
        QTest::qWait(endless ? 0 : 5000);
        const auto [badgesShown, statusesShown] = shown();
        QCOMPARE(badgesShown.mid(0, endless ? badges.size() : -1), badges);
        QCOMPARE(statusesShown.mid(0, endless ? statuses.size() : -1), statuses);
        QTEST(access.formatCombo()->currentText(), "format");
    }

    // A picture padded to whole macroblocks is of its format; frames of another size, still
    // queued from before a format change, are not.
    void paddedFramesCount()
    {
        QVERIFY(plug({{silent.name, true, false, {{1920, 1080, 30, "YUY2"}}}}));
        MainWindowTestAccess access;
        QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), waiting, 5000);
        access.formatCombo()->setCurrentIndex(1);
        for (const QSize size : {QSize(1280, 720), QSize(1920, 1088)}) {
            access.handleVideoFrame(
                QVideoFrame(QVideoFrameFormat(size, QVideoFrameFormat::Format_YUYV)));
            QCOMPARE(access.frameReceived(), size.height() == 1088);
        }
        QCOMPARE(access.badgeText(), live);
    }
};

TARVELO_TEST_MAIN_WITH(TestWatchdog, if (!TestEnvironment::canServeVirtualCameras()) return 77;
                       VirtualCamera::install({}))
#include "tst_watchdog.moc"
