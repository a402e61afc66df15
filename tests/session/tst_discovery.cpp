#include "mainwindowtestaccess.h"
#include "preview/videopreviewwidget.h"
#include "sessionwaits.h"
#include "testmain.h"
#include "virtualcamera.h"

#include <QSettings>
#include <QTimer>
#include <QVideoSink>

using namespace SessionWaits;

namespace {
QList<VirtualCamera::Camera> cameras()
{
    const auto formats = VirtualCamera::standardFormats();
    return {{QStringLiteral("Cam A"), false, true, formats},
            {QStringLiteral("Cam B"), false, true, formats},
            {QStringLiteral("Cam C"), true, true, formats}};
}

void storeLastId(const QByteArray &id)
{
    QSettings settings;
    settings.setValue(QStringLiteral("device/lastId"), id);
}

QByteArray storedLastId()
{
    QSettings settings;
    return settings.value(QStringLiteral("device/lastId")).toByteArray();
}
} // namespace

class TestDiscovery : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestEnvironment::clearSettings(); }

    void choosesCamera_data();
    void choosesCamera();
    void quickSwitchStartsOnlyTheLastPick();
    void stoppedPreviewIsNotRestartedBySwitch();
    void formatListAndManualChange();
    void lookAlikeEntriesShowOnce();
    void slowStartingCameraNeverBlocksTheWindow();
};

void TestDiscovery::choosesCamera_data()
{
    // Qt lists the system default first; the chosen index and what is stored follow from that.
    QTest::addColumn<int>("storedIndex"); // -1: nothing stored; -2: a camera that is gone
    QTest::addColumn<int>("expectedIndex");

    QTest::newRow("no stored id: the system default") << -1 << 0;
    QTest::newRow("stored id of the second") << 1 << 1;
    QTest::newRow("stored id of the third") << 2 << 2;
    QTest::newRow("stored id no longer present") << -2 << 0;
}

void TestDiscovery::choosesCamera()
{
    QFETCH(int, storedIndex);
    QFETCH(int, expectedIndex);

    const QList<QCameraDevice> devices = QMediaDevices::videoInputs();
    QCOMPARE(devices.size(), 3);
    QVERIFY(devices.first().isDefault());
    const QByteArray goneId("no-such-camera");
    QByteArray stored;
    if (storedIndex >= 0)
        stored = devices.at(storedIndex).id();
    else if (storedIndex == -2)
        stored = goneId;
    if (!stored.isEmpty())
        storeLastId(stored);

    MainWindow window;
    MainWindowTestAccess access(window);

    // Prepared before the window is first shown; opened 500 ms later.
    QCOMPARE(access.deviceCombo()->count(), 3);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(access.deviceCombo()->itemText(i), devices.at(i).description());
        QCOMPARE(access.deviceCombo()->itemData(i).toByteArray(), devices.at(i).id());
    }
    const QString expectedName = devices.at(expectedIndex).description();
    QCOMPARE(access.deviceCombo()->currentIndex(), expectedIndex);
    QCOMPARE(access.currentDeviceName(), expectedName);
    QCOMPARE(access.badgeText(), QStringLiteral("●  正在启动"));
    QCOMPARE(access.status(), QStringLiteral("正在准备：%1").arg(expectedName));
    QVERIFY(!access.camera());
    // A camera that is gone is not replaced in the store, and index 0 is never written.
    QCOMPARE(storedLastId(), stored);
    QCOMPARE(access.lastDeviceId(), stored);

    QVERIFY2(waitForPreview(access), qPrintable(access.status()));
    QCOMPARE(access.camera()->cameraDevice().description(), expectedName);
    QCOMPARE(access.badgeState(), QStringLiteral("ready"));
    QVERIFY(access.status().startsWith(QStringLiteral("预览正常：")));
    QCOMPARE(access.primaryButton()->text(), QStringLiteral("停止预览"));
    QVERIFY(access.formatCombo()->isEnabled());
    QVERIFY(access.snapshotButton()->isEnabled());
}

void TestDiscovery::quickSwitchStartsOnlyTheLastPick()
{
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

    const QList<QCameraDevice> devices = QMediaDevices::videoInputs();
    access.deviceCombo()->setCurrentIndex(1);
    QCOMPARE(storedLastId(), devices.at(1).id());
    QTest::qWait(200);
    access.deviceCombo()->setCurrentIndex(2);
    // Written at once, before the camera has opened.
    QCOMPARE(storedLastId(), devices.at(2).id());

    QTRY_COMPARE_WITH_TIMEOUT(started.size(), 1, startTimeoutMs);
    QVERIFY(waitForPreview(access));
    QTest::qWait(600); // past the moment the first pick would have started
    QCOMPARE(started, QStringList {devices.at(2).description()});
    QCOMPARE(access.currentDeviceName(), devices.at(2).description());
}

void TestDiscovery::stoppedPreviewIsNotRestartedBySwitch()
{
    MainWindow window;
    MainWindowTestAccess access(window);
    QVERIFY(waitForPreview(access));

    access.primaryButton()->click();
    QTRY_COMPARE(access.badgeText(), QStringLiteral("●  已停止"));
    QCOMPARE(access.status(), QStringLiteral("摄像头已停止"));
    QCOMPARE(access.primaryButton()->text(), QStringLiteral("启动预览"));
    QVERIFY(!access.previewRequested());

    const QString other = access.deviceCombo()->itemText(1);
    access.deviceCombo()->setCurrentIndex(1);
    QTRY_VERIFY(access.camera());
    QCOMPARE(access.camera()->cameraDevice().description(), other);
    QCOMPARE(access.status(), QStringLiteral("正在启动：%1").arg(other));
    // Past the no-frame watchdog: a camera the user stopped is neither started nor retried.
    QTest::qWait(4200);
    QVERIFY(!access.camera()->isActive());
    QCOMPARE(access.badgeText(), QStringLiteral("●  正在启动"));
    QCOMPARE(access.noFrameRetries(), 0);

    access.primaryButton()->click();
    QVERIFY(waitForPreview(access));
    QVERIFY(access.previewRequested());
}

void TestDiscovery::formatListAndManualChange()
{
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

    QSignalSpy frames(access.preview()->videoSink(), &QVideoSink::videoFrameChanged);
    access.formatCombo()->setCurrentIndex(items.indexOf(QStringLiteral("1280 × 720   30 fps")));
    QTRY_COMPARE_WITH_TIMEOUT(access.status(), QStringLiteral("预览正常：1280 × 720"),
                              startTimeoutMs);
    QCOMPARE(access.badgeText(), QStringLiteral("●  预览正常"));
    QTRY_VERIFY(!frames.isEmpty()
                && frames.constLast().first().value<QVideoFrame>().size() == QSize(1280, 720));
    QCOMPARE(access.camera()->cameraFormat().resolution(), QSize(1280, 720));
}

void TestDiscovery::lookAlikeEntriesShowOnce()
{
    // What Qt 6.4 shows after a V4L2 camera came back: a stale entry and a live one that look
    // alike. Only the newest is offered.
    QVERIFY(VirtualCamera::plug(
        {QStringLiteral("Cam B"), false, true, VirtualCamera::standardFormats()}));
    QTRY_COMPARE(QMediaDevices::videoInputs().size(), 4);
    const QByteArray newest = QMediaDevices::videoInputs().constLast().id();

    MainWindow window;
    MainWindowTestAccess access(window);
    QCOMPARE(access.deviceCombo()->count(), 3);
    const int index = access.deviceCombo()->findText(QStringLiteral("Cam B"));
    QCOMPARE(access.deviceCombo()->itemData(index).toByteArray(), newest);
    access.deviceCombo()->setCurrentIndex(index);
    QCOMPARE(access.currentDeviceId(), newest);
    QVERIFY(waitForPreview(access));
}

// A camera whose start returns only after its stream is running, as a slow driver or a loaded
// machine gives: the stream's sink then needs the main thread at once. A format change that
// waited on the stream from the main thread stalled every start by two seconds, or for good.
void TestDiscovery::slowStartingCameraNeverBlocksTheWindow()
{
    const QString name = QStringLiteral("Slow Cam");
    QVERIFY(VirtualCamera::plug({name, false, true, VirtualCamera::standardFormats(), 40}));
    QTRY_VERIFY(QMediaDevices::videoInputs().constLast().description() == name);
    storeLastId(QMediaDevices::videoInputs().constLast().id());
    QTest::failOnWarning(QRegularExpression(QStringLiteral("main thread blocked")));

    MainWindow window;
    MainWindowTestAccess access(window);
    QVERIFY(waitForPreview(access));
    QCOMPARE(access.currentDeviceName(), name);

    access.formatCombo()->setCurrentIndex(
        access.formatCombo()->findText(QStringLiteral("640 × 480   30 fps")));
    QTRY_COMPARE_WITH_TIMEOUT(access.status(), QStringLiteral("预览正常：640 × 480"),
                              startTimeoutMs);
    QVERIFY(VirtualCamera::unplug(name));
}

TARVELO_TEST_MAIN_WITH(TestDiscovery, VirtualCamera::install(cameras()))
#include "tst_discovery.moc"
