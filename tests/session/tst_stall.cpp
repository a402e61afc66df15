// Streams that fall silent after their first frames, slow ones that do not, and padded frames.

#include "sessiontest.h"
#include "testmain.h"
#include "virtualcamera.h"

using namespace SessionTest;

namespace {
const QString stallingCamera = QStringLiteral("Stalling Cam");

void choose(MainWindowTestAccess &access, const QString &name)
{
    access.deviceCombo()->setCurrentIndex(access.deviceCombo()->findText(name));
}

} // namespace

class TestStall : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestEnvironment::clearSettings(); }

    void silentStream_data()
    {
        QTest::addColumn<QString>("camera");
        QTest::addColumn<bool>("userStops");
        QTest::addColumn<QStringList>("badges"); // since the first picture, live ones included

        const QString live = QStringLiteral("●  预览正常");
        const QString retry = QStringLiteral("●  正在重试");
        // Each start delivers its frames and falls silent again: two retries, then given up.
        QTest::newRow("stops mid-stream")
            << stallingCamera << false
            << QStringList({live, retry, live, retry, live, QStringLiteral("●  无视频画面")});
        QTest::newRow("2 fps") << "Slow Cam" << false << QStringList(live);
        QTest::newRow("stopped by the user") << stallingCamera << true << QStringList(live);
    }

    void silentStream()
    {
        QFETCH(QString, camera);
        QFETCH(bool, userStops);
        QFETCH(QStringList, badges);

        MainWindow window;
        MainWindowTestAccess access(window);
        choose(access, camera);
        QVERIFY(QTest::qWaitFor([&] { return access.currentDeviceName() == camera; }, 2000));
        History history(access);
        QVERIFY(waitForPreview(access));
        if (userStops)
            access.toggleCamera();

        if (badges.size() > 1)
            QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), badges.constLast(), 30000);
        else
            QTest::qWait(6000); // well past the 3500 ms a silent stream is given
        const QStringList watched = {QStringLiteral("●  预览正常"), QStringLiteral("●  正在重试"),
                                     QStringLiteral("●  无视频画面")};
        QStringList seen;
        for (const QString &text : History::only(history.badge, watched)) {
            if (seen.isEmpty() || seen.constLast() != text)
                seen << text;
        }
        QCOMPARE(seen, badges);
    }

    void paddedFramesCount()
    {
        MainWindow window;
        MainWindowTestAccess access(window);
        choose(access, QStringLiteral("Padded Cam"));
        QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  等待画面"), 5000);
        access.formatCombo()->setCurrentIndex(1); // 1920 × 1080, the only one

        const auto frame = [](int width, int height) {
            return QVideoFrame(
                QVideoFrameFormat(QSize(width, height), QVideoFrameFormat::Format_YUYV));
        };
        access.handleVideoFrame(frame(1280, 720)); // one of another format, still queued
        QVERIFY(!access.frameReceived());
        access.handleVideoFrame(frame(1920, 1088));
        QCOMPARE(access.badgeText(), QStringLiteral("●  预览正常"));
    }
};

namespace {
void installCameras()
{
    VirtualCamera::Camera stalling {stallingCamera, true, true, {{640, 480, 30, "YUY2"}}};
    stalling.stopsAfterFrames = 15;
    VirtualCamera::install(
        {stalling,
         {QStringLiteral("Slow Cam"), false, true, {{640, 480, 2, "YUY2"}}},
         {QStringLiteral("Padded Cam"), false, false, {{1920, 1080, 30, "YUY2"}}}});
}
} // namespace

TARVELO_TEST_MAIN_WITH(TestStall, if (!TestEnvironment::canServeVirtualCameras()) return 77;
                       installCameras())
#include "tst_stall.moc"
