#include "mainwindowtestaccess.h"
#include "preview/videopreviewwidget.h"
#include "session/camerapermission.h"
#include "testmain.h"
#include "virtualcamera.h"

#include <QMediaDevices>
#include <QProxyStyle>
#include <QSettings>
#include <QSignalSpy>
#include <QStyleFactory>
#include <QTest>
#include <QTimer>
#include <QVideoSink>

using CameraPermission::Status;
using VirtualCamera::Camera;
Q_DECLARE_METATYPE(Camera)

namespace {
// Generous: a loaded two-core machine starts GStreamer pipelines slowly.
constexpr int startTimeoutMs = 8000;

bool waitForPreview(const MainWindowTestAccess &access)
{
    return QTest::qWaitFor([&] { return access.badgeText() == "●  预览正常"; }, startTimeoutMs);
}

// Virtual cameras in and out, each returning once Qt's own device list has caught up.
bool listed(qsizetype count)
{
    return QTest::qWaitFor([count] { return QMediaDevices::videoInputs().size() == count; });
}
bool plug(const QList<VirtualCamera::Camera> &cameras)
{
    const qsizetype count = QMediaDevices::videoInputs().size() + cameras.size();
    return std::all_of(cameras.begin(), cameras.end(), VirtualCamera::plug) && listed(count);
}
bool unplug(const QString &name)
{
    const qsizetype count = QMediaDevices::videoInputs().size() - 1;
    return VirtualCamera::unplug(name) && listed(count);
}
bool unplugAll()
{
    for (const QCameraDevice &camera : QMediaDevices::videoInputs())
        VirtualCamera::unplug(camera.description());
    return listed(0);
}

void choose(QComboBox *combo, const QString &text)
{
    combo->setCurrentIndex(combo->findText(text));
}

// Camera choice, format choice, start button and snapshot button: '+' enabled, '-' not.
QString enabledInputs(const MainWindowTestAccess &access)
{
    QString marks;
    for (const QWidget *widget : QWidgetList {access.deviceCombo(), access.formatCombo(),
                                              access.primaryButton(), access.snapshotButton()})
        marks += widget->isEnabled() ? u'+' : u'-';
    return marks;
}

// The texts the badge and the status line showed, in order, repeats folded. The window re-polishes
// the badge on each change and this style sees every polish, so a text replaced within one event
// is caught; the status line is polled. The window must outlive it.
class History : public QProxyStyle
{
public:
    explicit History(const MainWindowTestAccess &access)
        : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion")))
        , labels {access.connectionBadge(), access.statusCard()}
    {
        record();
        labels[0]->setStyle(this);
        startTimer(10);
    }
    ~History() override { labels[0]->setStyle(nullptr); }
    void polish(QWidget *widget) override
    {
        if (widget == labels[0])
            record();
        QProxyStyle::polish(widget);
    }
    using QProxyStyle::polish;

    // Of what was shown, the texts among `wanted`, repeats folded.
    static QStringList only(const QStringList &texts, const QStringList &wanted)
    {
        QStringList result;
        for (const QString &text : texts)
            if (wanted.contains(text) && (result.isEmpty() || result.constLast() != text))
                result << text;
        return result;
    }

    QStringList badge, status;

private:
    void timerEvent(QTimerEvent *) override { record(); }
    void record()
    {
        for (auto [label, texts] : {std::pair(labels[0], &badge), std::pair(labels[1], &status)})
            if (texts->isEmpty() || texts->constLast() != label->text())
                *texts << label->text();
    }
    QLabel *labels[2];
};

const QString lastIdKey = QStringLiteral("device/lastId");
// What the stand-in platform answers; a request is answered later, as a dialog would be.
Status checkAnswer = Status::Granted, requestAnswer = Status::Granted;
int requests = 0;

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

// The camera session against virtual cameras: which camera opens, what the user's picks do,
// cameras that give no picture or stop giving one, and cameras that come and go.
class TestSession : public QObject
{
    Q_OBJECT
    QList<QCameraDevice> devices; // three cameras as Qt lists them: the default (Cam C) first

    // Cameras slow to return from their start, as on a loaded machine, where a format change
    // that waited on the stream stalled every start.
    void plugThree()
    {
        for (const QString name : {"Cam A", "Cam B", "Cam C"})
            QVERIFY(plug({{name, name == "Cam C", true, {}, 40}}));
        devices = QMediaDevices::videoInputs();
    }

private slots:
    void init()
    {
        TestEnvironment::clearSettings();
        requests = 0;
    }
    void cleanup()
    {
        CameraPermission::setPlatformForTesting(nullptr, nullptr);
        QVERIFY(unplugAll());
    }

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
    }

    void opensCamera()
    {
        plugThree();
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
        plugThree();
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
        plugThree();
        QVERIFY(plug({{QStringLiteral("Cam C"), false, true, {}, 40}}));
        MainWindowTestAccess access;
        QCOMPARE(std::pair(access.deviceCombo()->count(), access.currentDeviceId()),
                 std::pair(3, QMediaDevices::videoInputs().constLast().id()));
        const QStringList report = access.diagnosticsReport();
        QCOMPARE(report.filter(QRegularExpression("^Device\\d\\.(Name|Default)")),
                 QStringList({"Device1.Name: Cam A", "Device1.Default: false",
                              "Device2.Name: Cam B", "Device2.Default: false",
                              "Device3.Name: Cam C", "Device3.Default: true"}));
    }
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
            QSignalSpy frames(access.preview()->videoSink(), &QVideoSink::videoFrameChanged);
            QTest::qWait(2000);
            QVERIFY(frames.size() >= 20);
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
                               recoveredSmall}));
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

TARVELO_TEST_MAIN_WITH(TestSession, if (!TestEnvironment::canServeVirtualCameras()) return 77;
                       VirtualCamera::install({}))
#include "tst_session.moc"
