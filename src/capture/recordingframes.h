#pragma once

#include <QElapsedTimer>
#include <QMediaCaptureSession>
#include <QObject>
#include <QVideoFrame>
#include <QtGlobal>

#include <deque>
#include <memory>

// From Qt 6.8 the recorder is fed the preview's frames as 4:2:0 through a session of its own:
// Qt's FFmpeg encoder keeps the camera's chroma subsampling, and players refuse 4:2:2 or 4:4:4.
#if QT_VERSION >= QT_VERSION_CHECK(6, 8, 0)
#define TARVELO_RECORDING_FRAME_FEED 1
#else
#define TARVELO_RECORDING_FRAME_FEED 0
#endif

class QMediaRecorder;
class QVideoFrameInput;
class QVideoSink;

// Converts each frame the sink shows into NV12 (what Windows' Media Foundation encoders take, and
// x264 encodes as 4:2:0) and hands it to the recorder while it records, timed by the camera.
class RecordingFrameFeed : public QObject
{
public:
    RecordingFrameFeed(QMediaRecorder &recorder, QVideoSink &source);
    ~RecordingFrameFeed() override;

    // Frames left out of the current recording because the encoder fell behind.
    int droppedFrames() const { return dropped; }

private:
    void startRecording();
    void addFrame(const QVideoFrame &frame);
    void sendPending();

    QMediaCaptureSession session;
    std::unique_ptr<QVideoFrameInput> input;
    // Converted frames the encoder is not ready for yet (it takes one while it starts).
    std::deque<QVideoFrame> pending;
    bool recording = false;
    qint64 firstStart = -1; // the camera's time of the recording's first frame, microseconds
    qint64 lastStart = -1; // of the last frame handed on, from the recording's start
    QElapsedTimer arrival; // since the recording's first frame, for frames the camera gives no time
    int dropped = 0;
};
