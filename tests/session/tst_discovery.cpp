#include "session/camerapermission.h"
#include "sessiontest.h"
#include "testmain.h"

#include <QSettings>
#include <QTimer>

using namespace SessionTest;
using CameraPermission::Status;

namespace {
const QString lastIdKey = QStringLiteral("device/lastId");

// What the stand-in platform answers; a request is answered later, as a dialog would be.
Status checkAnswer = Status::Granted;
Status requestAnswer = Status::Granted;
int requests = 0;
} // namespace

// Which camera opens and what the user's picks do, on three cameras that are slow to return from
// their start as a loaded machine is: the stream's sink then needs the main thread at once, and a
// format change that waited on the stream from there stalled every start, or for good.
class TestDiscovery : public QObject
{
    Q_OBJECT
    QList<QCameraDevice> devices; // as Qt lists them: the system default, Cam C, first

private slots:
    void initTestCase()
    {
        for (const QString name : {"Cam A", "Cam B", "Cam C"})
            QVERIFY(plug({{name, name == "Cam C", true, {}, 40}}));
    }
    void init()
    {
        TestEnvironment::clearSettings();
        requests = 0;
        devices = QMediaDevices::videoInputs();
        QCOMPARE(devices.first().description(), QStringLiteral("Cam C"));
    }
    void cleanup() { CameraPermission::setPlatformForTesting(nullptr, nullptr); }
    void cleanupTestCase() { QVERIFY(unplugAll()); }

    void opensCamera_data()
    {
        QTest::addColumn<Status>("check"); // Granted: the platform's own answer
        QTest::addColumn<Status>("answer");
        QTest::addColumn<int>("stored"); // -1: nothing stored; -2: a camera that is gone
        QTest::addColumn<QString>("refusal");
        const QString notGranted = QStringLiteral("未获得摄像头权限，请允许访问后重新启动软件。");
        const Status granted = Status::Granted, asked = Status::Undetermined;
        QTest::newRow("nothing stored: the system default") << granted << granted << -1 << "";
        QTest::newRow("stored is gone") << granted << granted << -2 << "";
        QTest::newRow("stored; asked, granted") << asked << granted << 2 << "";
        QTest::newRow("denied") << Status::Denied << granted << -1
                                << "摄像头权限已被拒绝。请在系统设置的“隐私与安全性 → "
                                   "摄像头”中允许本软件。";
        QTest::newRow("asked, denied") << asked << Status::Denied << -1 << notGranted;
        QTest::newRow("asked, no answer") << asked << asked << -1 << notGranted;
    }

    void opensCamera()
    {
        QFETCH(Status, check);
        QFETCH(Status, answer);
        QFETCH(int, stored);
        QFETCH(QString, refusal);
        const QByteArray id = stored >= 0 ? devices.at(stored).id()
            : stored == -2                ? QByteArray("no-such-camera")
                                          : QByteArray();
        if (!id.isEmpty())
            QSettings().setValue(lastIdKey, id);
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

        // Prepared at once when granted, before the window is first shown; opened 500 ms later.
        const QCameraDevice &device = devices.at(qMax(stored, 0));
        const QString preparing = QStringLiteral("正在准备：%1").arg(device.description());
        const bool asking = check == Status::Undetermined;
        MainWindowTestAccess access;
        QCOMPARE(std::tuple(requests, access.status(), access.badgeText(), !access.camera()),
                 std::tuple(asking ? 1 : 0,
                            asking ? QStringLiteral("正在请求摄像头权限…")
                                   : (refusal.isEmpty() ? preparing : refusal),
                            check == Status::Granted ? QStringLiteral("●  正在启动")
                                                     : QStringLiteral("●  正在连接"),
                            true));
        QTRY_COMPARE(access.status(), refusal.isEmpty() ? preparing : refusal);
        if (!refusal.isEmpty()) {
            QCOMPARE(enabledInputs(access).left(3), QStringLiteral("---"));
            QTest::qWait(800); // past the moment a prepared camera would start
            QCOMPARE(std::pair(!access.camera(), access.deviceCombo()->count()),
                     std::pair(true, 0));
            return;
        }
        QCOMPARE(access.currentDeviceId(), device.id());
        for (int i = 0; i < devices.size(); ++i)
            QCOMPARE(access.deviceCombo()->itemData(i).toByteArray(), devices.at(i).id());
        QCOMPARE(access.deviceCombo()->currentText(), device.description());
        // A camera that is gone is not replaced in the store, and nothing is written at start.
        QCOMPARE(QSettings().value(lastIdKey).toByteArray(), id);
    }

    void picksFormatsAndStop()
    {
        MainWindowTestAccess access;
        QVERIFY(waitForPreview(access));
        QCOMPARE(QStringList({access.camera()->cameraDevice().description(), access.badgeState(),
                              access.primaryButton()->text()}),
                 QStringList({"Cam C", "ready", "停止预览"}));

        // The automatic entry, then every format, largest first (two pixel formats each).
        QComboBox *formats = access.formatCombo();
        QCOMPARE(QStringList({QString::number(formats->count()), formats->itemText(0),
                              formats->itemText(1)}),
                 QStringList({"15", "自动（推荐）", "3840 × 2160   30 fps"}));
        formats->setCurrentIndex(formats->findText(QStringLiteral("1280 × 720   30 fps")));
        QTRY_COMPARE_WITH_TIMEOUT(access.status(), QStringLiteral("预览正常：1280 × 720"),
                                  startTimeoutMs);

        // Quick picks: every camera object that comes to exist, watched between events. Only the
        // last pick starts, and each pick is stored at once.
        QStringList started;
        QCamera *seen = access.camera();
        QTimer watch;
        connect(&watch, &QTimer::timeout, this, [&] {
            if (access.camera() && access.camera() != seen)
                started << access.camera()->cameraDevice().description();
            seen = access.camera();
        });
        watch.start(5);
        choose(access, QStringLiteral("Cam A"));
        QCOMPARE(QSettings().value(lastIdKey).toByteArray(), devices.at(1).id());
        QTest::qWait(200);
        choose(access, QStringLiteral("Cam B"));
        QCOMPARE(QSettings().value(lastIdKey).toByteArray(), devices.at(2).id());
        QVERIFY(waitForPreview(access));
        QTest::qWait(600); // past the moment the first pick would have started
        QCOMPARE(started, QStringList {QStringLiteral("Cam B")});

        // A camera the user stopped is neither started nor retried by a switch.
        access.primaryButton()->click();
        QTRY_COMPARE(access.badgeText(), QStringLiteral("●  已停止"));
        QCOMPARE(access.primaryButton()->text(), QStringLiteral("启动预览"));
        choose(access, QStringLiteral("Cam C"));
        QTRY_COMPARE(access.status(), QStringLiteral("正在启动：Cam C"));
        QTest::qWait(4200); // past the no-frame watchdog
        QCOMPARE(std::pair(access.camera()->isActive(), access.noFrameRetries()),
                 std::pair(false, 0));
        access.primaryButton()->click();
        QVERIFY(waitForPreview(access));
    }

    // What Qt 6.4 shows after a V4L2 camera came back: a stale entry and a live one that look
    // alike. Only the newest is offered. Unplugging takes the older one, so the other cases still
    // see three cameras.
    void lookAlikeEntriesShowOnce()
    {
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
        QSKIP("Two look-alike entries are told apart only on Qt 6.4");
#endif
        QVERIFY(plug({{QStringLiteral("Cam B"), false, true, {}, 40}}));
        MainWindowTestAccess access;
        choose(access, QStringLiteral("Cam B"));
        QCOMPARE(std::pair(access.deviceCombo()->count(), access.currentDeviceId()),
                 std::pair(3, QMediaDevices::videoInputs().constLast().id()));
        QVERIFY(unplug(QStringLiteral("Cam B")));
    }
};

TARVELO_TEST_MAIN_WITH(TestDiscovery, if (!TestEnvironment::canServeVirtualCameras()) return 77;
                       VirtualCamera::install({}))
#include "tst_discovery.moc"
