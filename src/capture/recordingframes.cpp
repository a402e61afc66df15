#include "capture/recordingframes.h"

#include <QImage>
#include <QMediaRecorder>
#include <QVideoFrameFormat>
#include <QVideoFrameInput>
#include <QVideoSink>

#include <libyuv.h>

namespace {
using Format = QVideoFrameFormat;

// Frames waiting while the encoder starts or catches up; older ones are dropped beyond this.
constexpr size_t maxPending = 8;
constexpr qreal fallbackFrameRate = 30;

bool isReadableYuv(Format::PixelFormat format)
{
    switch (format) {
    case Format::Format_YUYV:
    case Format::Format_UYVY:
    case Format::Format_NV12:
    case Format::Format_NV21:
    case Format::Format_YUV420P:
    case Format::Format_YV12:
    case Format::Format_YUV422P:
        return true;
    default:
        return false;
    }
}

// YUV frames keep their values and colour labels; planes are given in U, V order.
int yuvToNv12(const QVideoFrame &source, uint8_t *y, int ys, uint8_t *uv, int uvs)
{
    const auto bits = [&source](int i) {
        return source.bits(i);
    };
    const auto stride = [&source](int i) {
        return source.bytesPerLine(i);
    };
    const int w = source.width(), h = source.height();
    switch (source.pixelFormat()) {
    case Format::Format_YUYV:
        return libyuv::YUY2ToNV12(bits(0), stride(0), y, ys, uv, uvs, w, h);
    case Format::Format_UYVY:
        return libyuv::UYVYToNV12(bits(0), stride(0), y, ys, uv, uvs, w, h);
    case Format::Format_NV12:
        return libyuv::NV12Copy(bits(0), stride(0), bits(1), stride(1), y, ys, uv, uvs, w, h);
    case Format::Format_NV21:
        return libyuv::NV21ToNV12(bits(0), stride(0), bits(1), stride(1), y, ys, uv, uvs, w, h);
    case Format::Format_YUV420P:
        return libyuv::I420ToNV12(bits(0), stride(0), bits(1), stride(1), bits(2), stride(2), y, ys,
                                  uv, uvs, w, h);
    case Format::Format_YV12:
        return libyuv::I420ToNV12(bits(0), stride(0), bits(2), stride(2), bits(1), stride(1), y, ys,
                                  uv, uvs, w, h);
    case Format::Format_YUV422P: // NV21 written from V, U is NV12
        return libyuv::I422ToNV21(bits(0), stride(0), bits(2), stride(2), bits(1), stride(1), y, ys,
                                  uv, uvs, w, h);
    default:
        return -1;
    }
}

// The frame's picture as NV12, or an invalid frame when it cannot be read. A copy in any case:
// frames held in the encoder's queue must not keep the camera's own buffers from it.
QVideoFrame toNv12(QVideoFrame source, qreal frameRate)
{
    const bool yuv = isReadableYuv(source.pixelFormat());
    // JPEG and RGB go through the picture Qt decodes for the preview anyway (it keeps it with the
    // frame), converted in BT.601's limited range.
    QImage image;
    if (yuv ? !source.map(QVideoFrame::ReadOnly)
            : (image = source.toImage().convertToFormat(QImage::Format_RGB32)).isNull())
        return {};
    const Format in = source.surfaceFormat();
    Format format(source.size(), Format::Format_NV12);
    format.setColorSpace(yuv ? in.colorSpace() : Format::ColorSpace_BT601);
    format.setColorRange(yuv ? in.colorRange() : Format::ColorRange_Video);
    format.setColorTransfer(in.colorTransfer());
    format.setStreamFrameRate(frameRate);
    QVideoFrame out(format);
    if (!out.map(QVideoFrame::WriteOnly))
        return {};
    uint8_t *y = out.bits(0), *uv = out.bits(1);
    const int ys = out.bytesPerLine(0), uvs = out.bytesPerLine(1);
    const int failed = yuv ? yuvToNv12(source, y, ys, uv, uvs)
                           : libyuv::ARGBToNV12(image.constBits(), int(image.bytesPerLine()), y, ys,
                                                uv, uvs, image.width(), image.height());
    out.unmap();
    return failed ? QVideoFrame() : out;
}
} // namespace

RecordingFrameFeed::RecordingFrameFeed(QMediaRecorder &recorder, QVideoSink &source)
    : input(std::make_unique<QVideoFrameInput>())
{
    session.setVideoFrameInput(input.get());
    session.setRecorder(&recorder);
    connect(&recorder, &QMediaRecorder::recorderStateChanged, this,
            [this](QMediaRecorder::RecorderState state) {
                if (state == QMediaRecorder::RecordingState)
                    startRecording();
                else
                    recording = false;
                pending.clear();
            });
    connect(input.get(), &QVideoFrameInput::readyToSendVideoFrame, this,
            &RecordingFrameFeed::sendPending);
    connect(&source, &QVideoSink::videoFrameChanged, this, &RecordingFrameFeed::addFrame);
}

RecordingFrameFeed::~RecordingFrameFeed()
{
    session.setRecorder(nullptr);
}

void RecordingFrameFeed::startRecording()
{
    recording = true;
    firstStart = -1;
    lastStart = -1;
    dropped = 0;
}

// The camera's own times keep the file's pace even when the window's thread is late; frames
// without them are timed on arrival.
void RecordingFrameFeed::addFrame(const QVideoFrame &frame)
{
    if (!recording || !frame.isValid())
        return;
    const bool cameraTimed = frame.startTime() >= 0;
    if (lastStart < 0) {
        firstStart = cameraTimed ? frame.startTime() : -1;
        arrival.start();
    }
    const qint64 start = firstStart >= 0 && cameraTimed ? frame.startTime() - firstStart
                                                        : arrival.nsecsElapsed() / 1000;
    if (start <= lastStart)
        return; // a frame shown twice
    const bool cameraLength = cameraTimed && frame.endTime() > frame.startTime();
    // The encoder takes its time base from the first frame's rate, and a frame length in whole
    // microseconds (33333) would make that 30.0003.
    qreal rate = frame.streamFrameRate();
    if (rate <= 0 && cameraLength)
        rate = qRound(100'000'000.0 / (frame.endTime() - frame.startTime())) / 100.0;
    if (rate <= 0)
        rate = fallbackFrameRate;
    QVideoFrame converted = toNv12(frame, rate);
    if (!converted.isValid())
        return;
    const qint64 length =
        cameraLength ? frame.endTime() - frame.startTime() : qRound64(1'000'000 / rate);
    converted.setStartTime(start);
    converted.setEndTime(start + length);
    lastStart = start;
    pending.push_back(std::move(converted));
    if (pending.size() > maxPending) {
        pending.pop_front();
        ++dropped;
    }
    sendPending();
}

void RecordingFrameFeed::sendPending()
{
    while (recording && !pending.empty() && input->sendVideoFrame(pending.front()))
        pending.pop_front();
}
