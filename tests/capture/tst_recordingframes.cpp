#include "capture/recordingframes.h"
#include "mediaprobe.h"
#include "testmain.h"

#include <QBuffer>
#include <QMediaFormat>
#include <QMediaRecorder>
#include <QTemporaryDir>
#include <QVideoSink>

#include <cstring>

namespace {
// Frame n of a picture that changes every frame, as the camera sends it (JPEG: the bytes).
QVideoFrame cameraFrame(QVideoFrameFormat::PixelFormat format, int n)
{
    QVideoFrame frame(QVideoFrameFormat({640, 480}, format));
    frame.map(QVideoFrame::WriteOnly);
    if (format == QVideoFrameFormat::Format_Jpeg) {
        QImage picture(640, 480, QImage::Format_RGB32);
        picture.fill(qRgb(4 * n, 128, 255 - 4 * n));
        QBuffer jpeg;
        picture.save(&jpeg, "JPG");
        std::memcpy(frame.bits(0), jpeg.data().constData(), size_t(jpeg.size()));
    } else {
        for (int plane = 0; plane < frame.planeCount(); ++plane)
            std::memset(frame.bits(plane), 16 + 3 * n, size_t(frame.mappedBytes(plane)));
    }
    frame.unmap();
    return frame;
}
} // namespace

class TestRecordingFrames : public QObject
{
    Q_OBJECT

private slots:
    void recordingIs420H264_data()
    {
        QTest::addColumn<QVideoFrameFormat::PixelFormat>("format");
        QTest::newRow("YUY2") << QVideoFrameFormat::Format_YUYV;
        QTest::newRow("NV12") << QVideoFrameFormat::Format_NV12;
        QTest::newRow("MJPG") << QVideoFrameFormat::Format_Jpeg;
    }

    // Two seconds by the camera's clock, which started long before the recording, sent in less
    // than one: the file keeps the camera's time.
    void recordingIs420H264()
    {
        QFETCH(QVideoFrameFormat::PixelFormat, format);
        QVideoSink sink;
        QMediaRecorder recorder;
        RecordingFrameFeed feed(recorder, sink);
        QMediaFormat mp4(QMediaFormat::MPEG4);
        mp4.setVideoCodec(QMediaFormat::VideoCodec::H264);
        recorder.setMediaFormat(mp4);
        const QTemporaryDir folder;
        recorder.setOutputLocation(QUrl::fromLocalFile(folder.filePath("a.mp4")));
        recorder.record();
        for (int n = 0; n < 60; ++n) {
            QVideoFrame frame = cameraFrame(format, n);
            frame.setStartTime(7'000'000 + n * 33'333);
            frame.setEndTime(7'000'000 + (n + 1) * 33'333);
            sink.setVideoFrame(frame);
            QTest::qWait(15);
        }
        recorder.stop();
        QTRY_COMPARE_WITH_TIMEOUT(recorder.recorderState(), QMediaRecorder::StoppedState, 20000);
        const MediaProbe probe = MediaProbe::of(folder.filePath("a.mp4"));
        QVERIFY2(
            probe.videoCaps.startsWith("video/x-h264")
                && QStringList({"constrained-baseline", "main", "high"}).contains(probe.profile)
                && qAbs(probe.seconds - 2) < 0.2,
            qPrintable(QString::asprintf("%g s, %s", probe.seconds, qPrintable(probe.videoCaps))));
    }
};

// The FFmpeg back end is the one that takes frames for recording.
TARVELO_TEST_MAIN_WITH(TestRecordingFrames, qputenv("QT_MEDIA_BACKEND", "ffmpeg"))
#include "tst_recordingframes.moc"
