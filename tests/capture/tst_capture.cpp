#include "capture/recordingfile.h"
#include "mainwindowtestaccess.h"
#include "mediaprobe.h"
#include "preview/videopreviewwidget.h"
#include "testmain.h"
#include "virtualcamera.h"

#include <QDir>
#include <QProcess>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>

namespace {
// The usual USB camera formats (YUY2 is 4:2:2); the last camera stalls 2 s into each start.
const QList<VirtualCamera::Camera> cameras = {
    {QStringLiteral("Capture Cam A"), true, true, {{640, 480, 30, "YUY2"}}},
    {QStringLiteral("Capture Cam N"), false, true, {{640, 480, 30, "NV12"}}},
    {QStringLiteral("Capture Cam M"), false, true, {{640, 480, 30, "MJPG"}}},
    {QStringLiteral("Capture Cam S"), false, true, {{640, 480, 30, "YUY2"}}, 0, 60},
};
constexpr auto pictures = QStandardPaths::PicturesLocation;
constexpr auto movies = QStandardPaths::MoviesLocation;

QString outputFolder(QStandardPaths::StandardLocation location)
{
    return QStandardPaths::writableLocation(location) + QStringLiteral("/Tarvelo");
}

// Button text, its "recording" property, the recording label and its style.
QString recordingLook(MainWindowTestAccess &access, qint64 reportedMs)
{
    access.updateRecordingDuration(reportedMs);
    return QStringList {access.recordButton()->text(),
                        access.recordButton()->property("recording").toString(),
                        access.recordingStatus()->text(), access.recordingStatus()->styleSheet()}
        .join(u'|');
}
} // namespace

class TestCapture : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        TestEnvironment::clearSettings();
        for (const auto location : {pictures, movies})
            QFile::remove(QStandardPaths::writableLocation(location))
                || QDir(QStandardPaths::writableLocation(location)).removeRecursively();
    }

    void snapshotIsTheOrientedFrame()
    {
        MainWindowTestAccess access;
        QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
        // The bars stand still: the frame now is the frame at the snapshot. Turned, then mirrored.
        const QImage frame = access.preview()->currentFrameImage();
        const QImage expected = frame.transformed(QTransform().rotate(90)).mirrored(true, false);
        access.rotationCombo()->setCurrentIndex(access.rotationCombo()->findData(90));
        access.mirrorCheckBox()->setChecked(true);
        access.takeSnapshot();
        const QString prefix = QStringLiteral("截图已保存：");
        QTRY_VERIFY(access.status().startsWith(prefix));
        const QFileInfo file(access.status().mid(prefix.size()));
        QVERIFY(file.fileName().contains(QRegularExpression("^截图_\\d{8}_\\d{6}_\\d{3}\\.png$")));
        QCOMPARE(file.absolutePath(), outputFolder(pictures));

        const QImage saved = QImage(file.filePath(), "PNG").convertToFormat(QImage::Format_RGB32);
        const QImage wanted = expected.convertToFormat(QImage::Format_RGB32);
        QVERIFY(saved.size() == wanted.size());
        qsizetype differing = 0; // channels more than a little off: only a few, at the bars' edges
        for (qsizetype i = 0; i < saved.sizeInBytes(); ++i)
            differing += std::abs(saved.constBits()[i] - wanted.constBits()[i]) > 6;
        QVERIFY2(differing < saved.sizeInBytes() / 100, qPrintable(QString::number(differing)));
    }

    void refusals()
    {
        MainWindowTestAccess access;
        // The camera is created 500 ms after the window: no camera and no frame yet.
        access.takeSnapshot();
        QCOMPARE(access.status(), QStringLiteral("截图失败：当前还没有可用画面"));
        access.toggleRecording();
        QCOMPARE(access.status(), QStringLiteral("录像失败：未选择摄像头"));

        // A folder nobody may write to, root included; then files where the folders would go.
        QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
        QVERIFY(QDir().mkpath(QStandardPaths::writableLocation(movies))
                && QFile::link(QStringLiteral("/proc"), outputFolder(movies)));
        access.toggleRecording();
        QCOMPARE(access.status(), QStringLiteral("录像错误：视频保存目录不可写入"));
        for (const auto location : {pictures, movies}) {
            QDir(QStandardPaths::writableLocation(location)).removeRecursively();
            QVERIFY(QFile(QStandardPaths::writableLocation(location)).open(QIODevice::WriteOnly));
        }
        access.takeSnapshot();
        QCOMPARE(access.status(), QStringLiteral("截图失败：无法创建图片保存目录"));
        access.toggleRecording();
        QCOMPARE(access.status(), QStringLiteral("录像失败：无法创建视频保存目录"));
    }

    // Each way a recording ends, over the camera formats; `ended` keeps the status it ends with.
    void recordingEndsPlayable_data()
    {
        QTest::addColumn<int>("camera");
        QTest::addColumn<QString>("how");
        const char *ways[] = {"record", "switch", "plug", "unplug", "close"};
        for (int i = 0; i < 5; ++i)
            QTest::addRow("%s %s", cameras[i % 3].formats[0].pixelFormat.data(), ways[i])
                << i % 3 << QString::fromLatin1(ways[i]);
        QTest::newRow("YUY2 stall") << 3 << QStringLiteral("stall");
    }

    void recordingEndsPlayable()
    {
        QFETCH(int, camera);
        QFETCH(QString, how);
        auto window = std::make_unique<MainWindow>();
        MainWindowTestAccess access(*window);
        access.deviceCombo()->setCurrentIndex(access.deviceCombo()->findText(cameras[camera].name));
        QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 8000);
        QString ended;
        connect(access.recorder(), &QMediaRecorder::recorderStateChanged, window.get(),
                [&] { ended = access.status(); });
        access.toggleRecording();
        QTRY_COMPARE(access.recorder()->recorderState(), QMediaRecorder::RecordingState);
        QCOMPARE(access.status(), QStringLiteral("正在录像…"));
        QVERIFY(!access.formatCombo()->isEnabled()); // a new format would restart the camera
        QCOMPARE(recordingLook(access, 360003725999),
                 "停止录像|true|● 正在录像 100001:02:05|color: #c93442; font-weight: 600;");
        QTest::qWait(how == "stall" ? 0 : 2000);

        const VirtualCamera::Camera extra {QStringLiteral("Capture Cam C"), false, true, {}};
        const auto replug = qScopeGuard([&] {
            how == "plug" ? VirtualCamera::unplug(extra.name)
                          : how == "unplug" && VirtualCamera::plug(cameras[camera]);
            window.reset();
            QTest::qWait(1000);
        });
        if (how == "record") {
            access.toggleRecording();
        } else if (how == "switch") {
            access.deviceCombo()->setCurrentIndex(access.deviceCombo()->findText(cameras[0].name));
        } else if (how == "plug" || how == "unplug") {
            QVERIFY(how == "plug" ? VirtualCamera::plug(extra)
                                  : VirtualCamera::unplug(cameras[camera].name));
        } else if (how == "close") {
            window.reset();
        }
        if (window)
            QTRY_VERIFY_WITH_TIMEOUT(access.recordButton()->text() == "开始录像", 10000);
        if (how == "record" || how == "stall") {
            QCOMPARE(
                ended,
                (how == "record" ? "录像已保存：" : "摄像头重新连接，录像已结束并保存：")
                    + QDir::toNativeSeparators(access.recorder()->actualLocation().toLocalFile()));
            QVERIFY(access.formatCombo()->isEnabled() || how == "stall");
            QCOMPARE(recordingLook(access, 5000), QStringLiteral("开始录像|false|未在录像|"));
        } else if (window) {
            // The window goes on: the next camera comes up in a session the recorder is part of.
            QTRY_VERIFY_WITH_TIMEOUT(access.frameReceived(), 10000);
            QCOMPARE(access.recorder()->captureSession()->camera(), access.camera());
        }

        // One H.264 file in a 4:2:0-only profile, of about 2 s, finished in the background by a
        // retired session.
        const QFileInfoList files = QDir(outputFolder(movies)).entryInfoList(QDir::Files);
        MediaProbe probe;
        if (files.size() == 1)
            (void)QTest::qWaitFor(
                [&] { return (probe = MediaProbe::of(files[0].filePath())).seconds > 0; }, 30000);
        QVERIFY2(
            files.size() == 1
                && files[0].fileName().contains(QRegularExpression("^录像_\\d{8}_\\d{6}\\.mp4$"))
                && probe.readable && probe.videoCaps.startsWith("video/x-h264")
                && QStringList({"constrained-baseline", "main", "high"}).contains(probe.profile)
                && qAbs(probe.seconds - 2) <= 1.0,
            qPrintable(ended
                       + QString::asprintf(" / %d files, %g s, %s", int(files.size()),
                                           probe.seconds, qPrintable(probe.videoCaps))));
    }

    // A muxer stopped by an error, as when the camera is pulled, never writes the file's length:
    // players would show the first half second only.
    void cutRecordingKeepsItsLength()
    {
        QTemporaryDir folder;
        const QString file = folder.filePath(QStringLiteral("cut.mp4"));
        QProcess muxer;
        muxer.start(
            QStringLiteral("gst-launch-1.0"),
            QStringLiteral("-q videotestsrc num-buffers=90 ! video/x-raw,width=320,height=240,"
                           "framerate=30/1 ! x264enc speed-preset=ultrafast key-int-max=15 "
                           "! identity error-after=60 ! mp4mux fragment-duration=500 "
                           "! filesink location=%1")
                .arg(file)
                .split(u' '));
        QVERIFY(muxer.waitForFinished(30000));
        QVERIFY(keepPlayablePart(file));
        // At least the three fragments of 0.5 s before the error, at most the 3 s sent.
        const double seconds = MediaProbe::of(file).seconds;
        QVERIFY2(seconds > 1.49 && seconds < 3.05, qPrintable(QString::number(seconds)));
    }
};

TARVELO_TEST_MAIN_WITH(TestCapture, if (!TestEnvironment::canServeVirtualCameras()) return 77;
                       VirtualCamera::install(cameras))
#include "tst_capture.moc"
