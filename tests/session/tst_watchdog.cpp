#include "badgehistory.h"
#include "mainwindowtestaccess.h"
#include "sessionwaits.h"
#include "testmain.h"
#include "virtualcamera.h"

#include <QTimer>

using namespace SessionWaits;

namespace {
const QString silentCamera = QStringLiteral("Silent Cam");
const QString goodCamera = QStringLiteral("Good Cam");

QList<VirtualCamera::Camera> cameras()
{
    const QList<VirtualCamera::Format> formats = {
        {1920, 1080, 60, "YUY2"}, {1280, 720, 30, "YUY2"}, {640, 480, 30, "NV12"}};
    return {{silentCamera, true, false, formats}, {goodCamera, false, true, formats}};
}

// Status texts that stay long enough to be seen between events, with their times.
class StatusLog : public QObject
{
public:
    explicit StatusLog(QLabel *label)
        : label(label)
    {
        clock.start();
        connect(&poll, &QTimer::timeout, this, [this] {
            if (texts.isEmpty() || texts.constLast().second != this->label->text())
                texts.append({clock.elapsed(), this->label->text()});
        });
        poll.start(20);
    }
    qint64 firstTimeOf(const QString &text) const
    {
        for (const auto &[at, seen] : texts) {
            if (seen == text)
                return at;
        }
        return -1;
    }

private:
    QLabel *label;
    QElapsedTimer clock;
    QTimer poll;
    QList<QPair<qint64, QString>> texts;
};

bool near(qint64 actual, qint64 expected, qint64 tolerance = 600)
{
    return actual >= 0 && qAbs(actual - expected) <= tolerance;
}

} // namespace

class TestWatchdog : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestEnvironment::clearSettings(); }

    void silentCameraIsRetriedThenGivenUp();
    void formatChangeWarnsWhenNoFrameComes();
    void switchingCameraCancelsScheduledRetry();
    void vanishedCameraWaitsForReconnection();
};

void TestWatchdog::silentCameraIsRetriedThenGivenUp()
{
    MainWindow window;
    MainWindowTestAccess access(window);
    BadgeHistory badge(access.connectionBadge());
    StatusLog status(access.statusCard());
    QCOMPARE(access.currentDeviceName(), silentCamera);

    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  无视频画面"), 20000);
    const QString log = badge.describe();
    QCOMPARE(collapsed(badge.texts()),
             QStringList({"●  正在启动", "●  等待画面", "●  正在重试", "●  正在启动", "●  等待画面",
                          "●  正在重试", "●  正在启动", "●  等待画面", "●  无视频画面"}));
    QCOMPARE(badge.entries().constLast().state, QStringLiteral("error"));

    // The first preparation starts the camera 500 ms on, each retry 800 ms after it is
    // announced; the watchdog fires 3500 ms after every start, which is when the badge turns to
    // waiting. The delays only have lower bounds: a loaded machine can stall the main thread.
    const QString preparing = QStringLiteral("●  正在启动");
    const QString waiting = QStringLiteral("●  等待画面");
    const QString retrying = QStringLiteral("●  正在重试");
    QList<qint64> preparations = {badge.firstTimeOf(preparing)};
    QList<qint64> starts;
    QList<qint64> ends; // the two retries, then giving up
    for (int cycle = 0; cycle < 3; ++cycle) {
        starts.append(badge.firstTimeOf(waiting, preparations.constLast()));
        ends.append(badge.firstTimeOf(cycle < 2 ? retrying : QStringLiteral("●  无视频画面"),
                                      starts.constLast()));
        if (cycle == 0)
            QVERIFY2(starts.constLast() - preparations.constLast() >= 450, qPrintable(log));
        // A timer may fire a little early and a busy main thread makes it late.
        const qint64 watched = ends.constLast() - starts.constLast();
        QVERIFY2(watched >= 3300 && watched <= 3950, qPrintable(log));
        if (cycle < 2) {
            preparations.append(badge.firstTimeOf(preparing, ends.constLast()));
            QVERIFY2(preparations.constLast() - ends.constLast() >= 750, qPrintable(log));
        }
    }

    const auto statusNear = [&](const QString &text, qint64 expected) {
        return near(status.firstTimeOf(text), expected, 400);
    };
    QVERIFY(statusNear(QStringLiteral("尚未收到画面，正在重新建立摄像头连接（1/2）…"), ends[0]));
    QVERIFY(statusNear(QStringLiteral("尚未收到画面，正在重新建立摄像头连接（2/2）…"), ends[1]));
    // The second retry runs with the compatible format, which arms the format check as the
    // camera starts.
    QVERIFY(statusNear(QStringLiteral("当前格式没有收到画面，请改回“自动（推荐）”。"),
                       starts[2] + 3000));
    QCOMPARE(access.status(), QStringLiteral("USB 摄像头没有返回画面，请重新插拔后再试。"));
    QCOMPARE(access.formatCombo()->currentText(), QStringLiteral("1280 × 720   30 fps"));
    QCOMPARE(access.camera()->cameraFormat().resolution(), QSize(1280, 720));
    QCOMPARE(access.noFrameRetries(), 2);

    // Given up means given up: nothing further happens to this preparation.
    QTest::qWait(4500);
    QCOMPARE(access.badgeText(), QStringLiteral("●  无视频画面"));
}

void TestWatchdog::formatChangeWarnsWhenNoFrameComes()
{
    MainWindow window;
    MainWindowTestAccess access(window);
    // The camera must be open: a format picked before that is replaced when its list is filled.
    QTRY_VERIFY_WITH_TIMEOUT(access.camera() && access.camera()->isActive(), startTimeoutMs);

    access.formatCombo()->setCurrentIndex(
        access.formatCombo()->findText(QStringLiteral("640 × 480   30 fps")));
    QElapsedTimer clock;
    clock.start();
    const QString warning = QStringLiteral("当前格式没有收到画面，请改回“自动（推荐）”。");
    QTRY_COMPARE_WITH_TIMEOUT(access.status(), warning, 5000);
    QVERIFY2(near(clock.elapsed(), 3000), qPrintable(QString::number(clock.elapsed())));
    // Only a message: the format stays and the badge is not touched.
    QCOMPARE(access.camera()->cameraFormat().resolution(), QSize(640, 480));
    QCOMPARE(access.badgeText(), QStringLiteral("●  等待画面"));
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
    QCOMPARE(access.camera()->cameraDevice().description(), goodCamera);
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
    QVERIFY(VirtualCamera::unplug(silentCamera));
    QVERIFY(waitForDeviceCount(1));

    QTRY_COMPARE_WITH_TIMEOUT(access.badgeText(), QStringLiteral("●  等待重连"), 6000);
    QCOMPARE(access.badgeState(), QStringLiteral("waiting"));
    QCOMPARE(access.status(), QStringLiteral("USB 摄像头已断开，等待重新连接…"));
    QCOMPARE(access.noFrameRetries(), 0);
    QVERIFY(access.camera()); // left in place for the device-change path
}

TARVELO_TEST_MAIN_WITH(TestWatchdog, VirtualCamera::install(cameras()))
#include "tst_watchdog.moc"
