#include "session/camerapermission.h"
#include "sessiontest.h"
#include "testmain.h"

#include <QSettings>
#include <QTimer>

using namespace SessionTest;
using CameraPermission::Status;

namespace {
QByteArray storedLastId()
{
    return QSettings().value(QStringLiteral("device/lastId")).toByteArray();
}

// What the stand-in platform answers; a request is answered later, as a dialog would be.
Status checkAnswer = Status::Granted;
Status requestAnswer = Status::Granted;
int requests = 0;
} // namespace

class TestDiscovery : public QObject
{
    Q_OBJECT
    Cameras cameras;

private slots:
    void init()
    {
        TestEnvironment::clearSettings();
        requests = 0;
    }
    void cleanup()
    {
        CameraPermission::setPlatformForTesting(nullptr, nullptr);
        QVERIFY(cameras.unplugAll());
    }

    void permission_data()
    {
        QTest::addColumn<Status>("check"); // Granted: the platform's own answer
        QTest::addColumn<Status>("answer");
        QTest::addColumn<QString>("status");

        const QString preparing = QStringLiteral("正在准备：Only Cam");
        const QString notGranted = QStringLiteral("未获得摄像头权限，请允许访问后重新启动软件。");
        QTest::newRow("granted") << Status::Granted << Status::Granted << preparing;
        QTest::newRow("denied") << Status::Denied << Status::Granted
                                << QStringLiteral(
                                       "摄像头权限已被拒绝。请在系统设置的“隐私与安全性 → "
                                       "摄像头”中允许本软件。");
        QTest::newRow("asked, granted") << Status::Undetermined << Status::Granted << preparing;
        QTest::newRow("asked, denied") << Status::Undetermined << Status::Denied << notGranted;
        QTest::newRow("asked, no answer")
            << Status::Undetermined << Status::Undetermined << notGranted;
    }

    void permission()
    {
        QFETCH(Status, check);
        QFETCH(Status, answer);
        QFETCH(QString, status);
        QVERIFY(cameras.plug({camera(QStringLiteral("Only Cam"), true)}));
        checkAnswer = check;
        requestAnswer = answer;
        if (check != Status::Granted) {
            CameraPermission::setPlatformForTesting(
                [] { return checkAnswer; },
                [](QObject *context, std::function<void(Status)> handler) {
                    ++requests;
                    QTimer::singleShot(50, context, [handler] { handler(requestAnswer); });
                });
        }

        MainWindow window;
        MainWindowTestAccess access(window);
        // Only a granted permission reads the device list at once.
        QCOMPARE(access.deviceCombo()->count(), check == Status::Granted ? 1 : 0);
        QCOMPARE(requests, check == Status::Undetermined ? 1 : 0);
        if (check == Status::Undetermined)
            QCOMPARE(access.status(), QStringLiteral("正在请求摄像头权限…"));
        QTRY_COMPARE(access.status(), status);
        if (status.startsWith(QStringLiteral("正在准备"))) {
            QVERIFY(waitForPreview(access));
            return;
        }
        QCOMPARE(enabledInputs(access).left(3), QStringLiteral("---"));
        QTest::qWait(800); // past the moment a prepared camera would start
        QVERIFY(!access.camera());
        QCOMPARE(access.badgeText(), QStringLiteral("●  正在连接"));
    }

    void choosesCamera_data()
    {
        // Qt lists the system default first.
        QTest::addColumn<int>("storedIndex"); // -1: nothing stored; -2: a camera that is gone
        QTest::addColumn<int>("expectedIndex");

        QTest::newRow("no stored id: the system default") << -1 << 0;
        QTest::newRow("stored id of the second") << 1 << 1;
        QTest::newRow("stored id of the third") << 2 << 2;
        QTest::newRow("stored id no longer present") << -2 << 0;
    }

    void choosesCamera()
    {
        QFETCH(int, storedIndex);
        QFETCH(int, expectedIndex);
        QVERIFY(cameras.plug({camera(QStringLiteral("Cam A")), camera(QStringLiteral("Cam B")),
                              camera(QStringLiteral("Cam C"), true)}));
        const QList<QCameraDevice> devices = QMediaDevices::videoInputs();
        QCOMPARE(devices.size(), 3);
        QVERIFY(devices.first().isDefault());
        const QByteArray stored = storedIndex >= 0 ? devices.at(storedIndex).id()
            : storedIndex == -2                    ? QByteArray("no-such-camera")
                                                   : QByteArray();
        if (!stored.isEmpty())
            QSettings().setValue(QStringLiteral("device/lastId"), stored);

        MainWindow window;
        MainWindowTestAccess access(window);
        // Prepared before the window is first shown; opened 500 ms later.
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(access.deviceCombo()->itemText(i), devices.at(i).description());
            QCOMPARE(access.deviceCombo()->itemData(i).toByteArray(), devices.at(i).id());
        }
        QCOMPARE(access.deviceCombo()->count(), 3);
        const QString expectedName = devices.at(expectedIndex).description();
        QCOMPARE(access.deviceCombo()->currentIndex(), expectedIndex);
        QCOMPARE(access.currentDeviceName(), expectedName);
        QCOMPARE(access.badgeText(), QStringLiteral("●  正在启动"));
        QCOMPARE(access.status(), QStringLiteral("正在准备：%1").arg(expectedName));
        QVERIFY(!access.camera());
        // A camera that is gone is not replaced in the store, and index 0 is never written.
        QCOMPARE(storedLastId(), stored);

        QVERIFY2(waitForPreview(access), qPrintable(access.status()));
        QCOMPARE(access.camera()->cameraDevice().description(), expectedName);
        QCOMPARE(access.badgeState(), QStringLiteral("ready"));
        QVERIFY(access.status().startsWith(QStringLiteral("预览正常：")));
        QCOMPARE(access.primaryButton()->text(), QStringLiteral("停止预览"));
        QCOMPARE(enabledInputs(access), QStringLiteral("++++"));
    }

    void quickSwitchStartsOnlyTheLastPick()
    {
        QVERIFY(cameras.plug({camera(QStringLiteral("Cam A"), true),
                              camera(QStringLiteral("Cam B")), camera(QStringLiteral("Cam C"))}));
        MainWindow window;
        MainWindowTestAccess access(window);
        QVERIFY(waitForPreview(access));

        // Every camera object that comes to exist, by watching between events.
        QStringList started;
        QCamera *seen = access.camera();
        QTimer watch;
        connect(&watch, &QTimer::timeout, this, [&] {
            if (access.camera() && access.camera() != seen)
                started << access.camera()->cameraDevice().description();
            seen = access.camera();
        });
        watch.start(5);

        access.deviceCombo()->setCurrentIndex(1);
        QCOMPARE(storedLastId(), access.deviceCombo()->itemData(1).toByteArray());
        QTest::qWait(200);
        access.deviceCombo()->setCurrentIndex(2);
        // Written at once, before the camera has opened.
        QCOMPARE(storedLastId(), access.deviceCombo()->itemData(2).toByteArray());

        QVERIFY(waitForPreview(access));
        QTest::qWait(600); // past the moment the first pick would have started
        QCOMPARE(started, QStringList {QStringLiteral("Cam C")});
        QCOMPARE(access.currentDeviceName(), QStringLiteral("Cam C"));
    }

    void stoppedPreviewIsNotRestartedBySwitch()
    {
        QVERIFY(
            cameras.plug({camera(QStringLiteral("Cam A"), true), camera(QStringLiteral("Cam B"))}));
        MainWindow window;
        MainWindowTestAccess access(window);
        QVERIFY(waitForPreview(access));

        access.primaryButton()->click();
        QTRY_COMPARE(access.badgeText(), QStringLiteral("●  已停止"));
        QCOMPARE(access.status(), QStringLiteral("摄像头已停止"));
        QCOMPARE(access.primaryButton()->text(), QStringLiteral("启动预览"));

        access.deviceCombo()->setCurrentIndex(1);
        QTRY_VERIFY(access.camera());
        QCOMPARE(access.camera()->cameraDevice().description(), QStringLiteral("Cam B"));
        QCOMPARE(access.status(), QStringLiteral("正在启动：Cam B"));
        // Past the no-frame watchdog: a camera the user stopped is neither started nor retried.
        QTest::qWait(4200);
        QVERIFY(!access.camera()->isActive());
        QCOMPARE(access.badgeText(), QStringLiteral("●  正在启动"));
        QCOMPARE(access.noFrameRetries(), 0);

        access.primaryButton()->click();
        QVERIFY(waitForPreview(access));
    }

    // The camera's start returns only after its stream is running, as a slow driver or a loaded
    // machine gives: the stream's sink then needs the main thread at once. A format change that
    // waited on the stream from the main thread stalled every start by two seconds, or for good.
    void formatListAndManualChange()
    {
        QVERIFY(cameras.plug({{QStringLiteral("Slow Cam"), true, true, {}, 40}}));
        QTest::failOnWarning(QRegularExpression(QStringLiteral("main thread blocked")));
        MainWindow window;
        MainWindowTestAccess access(window);
        QVERIFY(waitForPreview(access));

        QStringList items;
        for (int i = 0; i < access.formatCombo()->count(); ++i)
            items << access.formatCombo()->itemText(i);
        // The automatic entry, then every format, largest first (two pixel formats each).
        QCOMPARE(items.size(), 1 + 2 * 7);
        QCOMPARE(items.first(), QStringLiteral("自动（推荐）"));
        QCOMPARE(items.at(1), QStringLiteral("3840 × 2160   30 fps"));
        QCOMPARE(items.constLast(), QStringLiteral("640 × 480   30 fps"));
        QCOMPARE(access.formatCombo()->currentIndex(), 0);

        access.formatCombo()->setCurrentIndex(items.indexOf(QStringLiteral("1280 × 720   30 fps")));
        QTRY_COMPARE_WITH_TIMEOUT(access.status(), QStringLiteral("预览正常：1280 × 720"),
                                  startTimeoutMs);
        QCOMPARE(access.badgeText(), QStringLiteral("●  预览正常"));
        QCOMPARE(access.camera()->cameraFormat().resolution(), QSize(1280, 720));
    }

    void lookAlikeEntriesShowOnce()
    {
        // What Qt 6.4 shows after a V4L2 camera came back: a stale entry and a live one that look
        // alike. Only the newest is offered.
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
        QSKIP("Two look-alike entries are told apart only on Qt 6.4");
#endif
        QVERIFY(cameras.plug({camera(QStringLiteral("Cam A"), true),
                              camera(QStringLiteral("Cam B")), camera(QStringLiteral("Cam B"))}));
        const QList<QCameraDevice> devices = QMediaDevices::videoInputs();
        QCOMPARE(devices.size(), 3);
        const QByteArray newest = devices.constLast().id();

        MainWindow window;
        MainWindowTestAccess access(window);
        QCOMPARE(access.deviceCombo()->count(), 2);
        const int index = access.deviceCombo()->findText(QStringLiteral("Cam B"));
        QCOMPARE(access.deviceCombo()->itemData(index).toByteArray(), newest);
        access.deviceCombo()->setCurrentIndex(index);
        QCOMPARE(access.currentDeviceId(), newest);
        QVERIFY(waitForPreview(access));
    }
};

TARVELO_TEST_MAIN_WITH(TestDiscovery, if (!TestEnvironment::canServeVirtualCameras()) return 77;
                       VirtualCamera::install({}))
#include "tst_discovery.moc"
