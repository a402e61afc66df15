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
Status checkAnswer = Status::Granted, requestAnswer = Status::Granted;
int requests = 0;
} // namespace

// Which camera opens and what the user's picks do, on three cameras that are slow to return from
// their start as on a loaded machine, where a format change that waited on the stream stalled.
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
        const QString outcome =
            refusal.isEmpty() ? QStringLiteral("正在准备：%1").arg(device.description()) : refusal;
        const bool asking = check == Status::Undetermined;
        MainWindowTestAccess access;
        QCOMPARE(std::tuple(requests, access.status(), access.badgeText()),
                 std::tuple(asking ? 1 : 0, asking ? "正在请求摄像头权限…" : outcome,
                            check == Status::Granted ? "●  正在启动" : "●  正在连接"));
        QTRY_COMPARE(access.status(), outcome);
        if (!refusal.isEmpty()) {
            QTest::qWait(800); // past the moment a prepared camera would start
            QCOMPARE(std::pair(enabledInputs(access).left(3), !access.camera()),
                     std::pair(QStringLiteral("---"), true));
            return;
        }
        QCOMPARE(access.deviceCombo()->currentText(), device.description());
        QCOMPARE(access.currentDeviceId(), device.id());
        // A camera that is gone is not replaced in the store, and nothing is written at start.
        QCOMPARE(QSettings().value(lastIdKey).toByteArray(), id);
    }

    void picksFormatsAndStop()
    {
        MainWindowTestAccess access;
        QVERIFY(waitForPreview(access));
        QCOMPARE(access.primaryButton()->text(), QStringLiteral("停止预览"));

        // The automatic entry, then every format, largest first (two pixel formats each).
        QComboBox *formats = access.formatCombo();
        QCOMPARE(QStringList({QString::number(formats->count()), formats->itemText(0),
                              formats->itemText(1)}),
                 QStringList({"15", "自动（推荐）", "3840 × 2160   30 fps"}));
        choose(formats, QStringLiteral("1280 × 720   30 fps"));
        QTRY_COMPARE_WITH_TIMEOUT(access.status(), QStringLiteral("预览正常：1280 × 720"),
                                  startTimeoutMs);

        // Quick picks: only the last one starts, and each is stored at once.
        History history(access);
        for (int i : {1, 2}) {
            choose(access.deviceCombo(), devices.at(i).description());
            QCOMPARE(QSettings().value(lastIdKey).toByteArray(), devices.at(i).id());
            QTest::qWait(200);
        }
        QVERIFY(waitForPreview(access));
        QTest::qWait(600); // past the moment the first pick would have started
        QCOMPARE(history.status.filter("正在启动："),
                 QStringList {"正在启动：" + devices.at(2).description()});

        // A camera the user stopped is neither started nor retried by a switch.
        access.primaryButton()->click();
        QTRY_COMPARE(access.badgeText(), QStringLiteral("●  已停止"));
        choose(access.deviceCombo(), QStringLiteral("Cam C"));
        QTRY_COMPARE(access.status(), QStringLiteral("正在启动：Cam C"));
        QTest::qWait(4200); // past the no-frame watchdog
        QCOMPARE(std::tuple(access.camera()->isActive(), access.noFrameRetries(),
                            access.primaryButton()->text()),
                 std::tuple(false, 0, QStringLiteral("启动预览")));
        access.primaryButton()->click();
        QVERIFY(waitForPreview(access));
    }

    // What Qt 6.4 shows after a V4L2 camera came back: a stale entry and a live one that look
    // alike, only the newer of them the system's default. Only the newest is offered, and as the
    // default, where a window opens it and the report says so.
    void lookAlikeEntriesShowOnce()
    {
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
        QSKIP("Two look-alike entries are told apart only on Qt 6.4");
#endif
        QVERIFY(plug({{QStringLiteral("Cam C"), false, true, {}, 40}}));
        MainWindowTestAccess access;
        QCOMPARE(std::pair(access.deviceCombo()->count(), access.currentDeviceId()),
                 std::pair(3, QMediaDevices::videoInputs().constLast().id()));
        const QStringList report = access.diagnosticsReport();
        QCOMPARE(report.filter(QRegularExpression("^Device\\d\\.(Name|Default)")),
                 QStringList({"Device1.Name: Cam A", "Device1.Default: false",
                              "Device2.Name: Cam B", "Device2.Default: false",
                              "Device3.Name: Cam C", "Device3.Default: true"}));
        QVERIFY(unplug(QStringLiteral("Cam C")));
    }
};

TARVELO_TEST_MAIN_WITH(TestDiscovery, if (!TestEnvironment::canServeVirtualCameras()) return 77;
                       VirtualCamera::install({}))
#include "tst_discovery.moc"
