#include "mainwindowtestaccess.h"
#include "session/camerapermission.h"
#include "sessionwaits.h"
#include "testmain.h"
#include "virtualcamera.h"

#include <QTimer>

using namespace SessionWaits;
using CameraPermission::Status;

namespace {
Status answer = Status::Granted;
int requests = 0;

Status undetermined()
{
    return Status::Undetermined;
}

Status denied()
{
    return Status::Denied;
}

// Answers like a platform dialog would: later, on the event loop.
void answerLater(QObject *context, std::function<void(Status)> handler)
{
    ++requests;
    QTimer::singleShot(50, context, [handler = std::move(handler)] { handler(answer); });
}
} // namespace

class TestPermission : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        TestEnvironment::clearSettings();
        requests = 0;
    }
    void cleanup() { CameraPermission::setPlatformForTesting(nullptr, nullptr); }

    void grantedOpensCameraAtOnce();
    void deniedDisablesCameraChoice();
    void requestAnswered_data();
    void requestAnswered();
};

void TestPermission::grantedOpensCameraAtOnce()
{
    // Qt before 6.5 has no permission API and the platform answers "granted".
    QCOMPARE(CameraPermission::check(), Status::Granted);
    MainWindow window;
    MainWindowTestAccess access(window);
    QCOMPARE(access.status(), QStringLiteral("正在准备：Only Cam"));
    QVERIFY(waitForPreview(access));
}

void TestPermission::deniedDisablesCameraChoice()
{
    CameraPermission::setPlatformForTesting(denied, answerLater);
    MainWindow window;
    MainWindowTestAccess access(window);
    QCOMPARE(
        access.status(),
        QStringLiteral("摄像头权限已被拒绝。请在系统设置的“隐私与安全性 → 摄像头”中允许本软件。"));
    QVERIFY(!access.deviceCombo()->isEnabled());
    QVERIFY(!access.formatCombo()->isEnabled());
    QVERIFY(!access.primaryButton()->isEnabled());
    QCOMPARE(requests, 0);
    // The badge keeps its initial state; nothing is prepared.
    QCOMPARE(access.badgeText(), QStringLiteral("●  正在连接"));
    QCOMPARE(access.badgeState(), QStringLiteral("waiting"));
    QTest::qWait(800);
    QVERIFY(!access.camera());

    // Refreshing is still possible; whether frames come is up to the platform.
    access.refreshDevices();
    QVERIFY(waitForPreview(access));
}

void TestPermission::requestAnswered_data()
{
    QTest::addColumn<Status>("result");
    QTest::newRow("granted") << Status::Granted;
    QTest::newRow("denied") << Status::Denied;
    QTest::newRow("still undetermined") << Status::Undetermined;
}

void TestPermission::requestAnswered()
{
    QFETCH(Status, result);
    answer = result;
    CameraPermission::setPlatformForTesting(undetermined, answerLater);

    MainWindow window;
    MainWindowTestAccess access(window);
    QCOMPARE(access.status(), QStringLiteral("正在请求摄像头权限…"));
    QCOMPARE(requests, 1);
    QCOMPARE(access.badgeText(), QStringLiteral("●  正在连接"));

    if (result == Status::Granted) {
        QTRY_COMPARE(access.status(), QStringLiteral("正在准备：Only Cam"));
        QVERIFY(waitForPreview(access));
    } else {
        QTRY_COMPARE(access.status(),
                     QStringLiteral("未获得摄像头权限，请允许访问后重新启动软件。"));
        QVERIFY(!access.deviceCombo()->isEnabled());
        QVERIFY(!access.formatCombo()->isEnabled());
        QVERIFY(!access.primaryButton()->isEnabled());
        QCOMPARE(access.badgeText(), QStringLiteral("●  正在连接"));
    }
}

TARVELO_TEST_MAIN_WITH(
    TestPermission,
    VirtualCamera::install({{QStringLiteral("Only Cam"), true, true, {{640, 480, 30, "YUY2"}}}}))
#include "tst_permission.moc"
