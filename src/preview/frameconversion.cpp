#include "frameconversion.h"

#include <QTransform>
#include <QVideoFrameFormat>

#include <libyuv.h>

namespace {

using Format = QVideoFrameFormat;

const libyuv::YuvConstants *yuvMatrix(const Format &format)
{
    const bool full = format.colorRange() == Format::ColorRange_Full;
    switch (format.colorSpace()) {
    case Format::ColorSpace_BT601:
        return full ? &libyuv::kYuvJPEGConstants : &libyuv::kYuvI601Constants;
    case Format::ColorSpace_BT2020:
        return full ? &libyuv::kYuvV2020Constants : &libyuv::kYuv2020Constants;
    case Format::ColorSpace_BT709:
        return full ? &libyuv::kYuvF709Constants : &libyuv::kYuvH709Constants;
    default: // unnamed: what is usual for the picture's height
        if (format.frameHeight() > 576)
            return full ? &libyuv::kYuvF709Constants : &libyuv::kYuvH709Constants;
        return full ? &libyuv::kYuvJPEGConstants : &libyuv::kYuvI601Constants;
    }
}

// One image plane: rows of stride bytes.
struct Plane
{
    const uint8_t *data = nullptr;
    int stride = 0;
};

struct I420
{
    Plane y, u, v;
};

I420 planesIn(std::vector<uint8_t> &buffer, QSize size)
{
    const int chromaWidth = (size.width() + 1) / 2;
    const int chromaHeight = (size.height() + 1) / 2;
    const size_t lumaBytes = size_t(size.width()) * size.height();
    const size_t chromaBytes = size_t(chromaWidth) * chromaHeight;
    buffer.resize(lumaBytes + 2 * chromaBytes);
    uint8_t *y = buffer.data();
    return {{y, size.width()},
            {y + lumaBytes, chromaWidth},
            {y + lumaBytes + chromaBytes, chromaWidth}};
}

uint8_t *writable(const Plane &plane)
{
    return const_cast<uint8_t *>(plane.data);
}

// The frame's picture as I420 planes at its own size: its own planes where it has them, a
// conversion into buffer otherwise. False for layouts that are not 4:2:0 or 4:2:2 YUV.
bool toI420(const QVideoFrame &frame, std::vector<uint8_t> &buffer, I420 &out)
{
    const int w = frame.width();
    const int h = frame.height();
    auto plane = [&frame](int i) {
        return Plane {frame.bits(i), frame.bytesPerLine(i)};
    };
    switch (frame.pixelFormat()) {
    case Format::Format_YUV420P:
        out = {plane(0), plane(1), plane(2)};
        return true;
    case Format::Format_YV12:
        out = {plane(0), plane(2), plane(1)};
        return true;
    default:
        break;
    }
    out = planesIn(buffer, frame.size());
    uint8_t *y = writable(out.y), *u = writable(out.u), *v = writable(out.v);
    const int ys = out.y.stride, cs = out.u.stride;
    switch (frame.pixelFormat()) {
    case Format::Format_YUYV:
        return libyuv::YUY2ToI420(frame.bits(0), frame.bytesPerLine(0), y, ys, u, cs, v, cs, w, h)
            == 0;
    case Format::Format_UYVY:
        return libyuv::UYVYToI420(frame.bits(0), frame.bytesPerLine(0), y, ys, u, cs, v, cs, w, h)
            == 0;
    case Format::Format_NV12:
    case Format::Format_NV21: {
        const bool swap = frame.pixelFormat() == Format::Format_NV21;
        return libyuv::NV12ToI420(frame.bits(0), frame.bytesPerLine(0), frame.bits(1),
                                  frame.bytesPerLine(1), y, ys, swap ? v : u, cs, swap ? u : v, cs,
                                  w, h)
            == 0;
    }
    case Format::Format_YUV422P:
        return libyuv::I422ToI420(frame.bits(0), frame.bytesPerLine(0), frame.bits(1),
                                  frame.bytesPerLine(1), frame.bits(2), frame.bytesPerLine(2), y,
                                  ys, u, cs, v, cs, w, h)
            == 0;
    default:
        return false;
    }
}

// 32-bit layouts as libyuv's converters to its ARGB order (bytes B, G, R, A), which is RGB32.
using ToArgb = int (*)(const uint8_t *, int, uint8_t *, int, int, int);

ToArgb argbConverter(Format::PixelFormat format)
{
    switch (format) {
    case Format::Format_BGRA8888:
    case Format::Format_BGRA8888_Premultiplied:
    case Format::Format_BGRX8888:
        return libyuv::ARGBCopy;
    case Format::Format_ARGB8888:
    case Format::Format_ARGB8888_Premultiplied:
    case Format::Format_XRGB8888:
        return libyuv::BGRAToARGB;
    case Format::Format_RGBA8888:
    case Format::Format_RGBX8888:
        return libyuv::ABGRToARGB;
    case Format::Format_ABGR8888:
    case Format::Format_XBGR8888:
        return libyuv::RGBAToARGB;
    default:
        return nullptr;
    }
}

bool convertMapped(const QVideoFrame &frame, QSize size, QImage &image,
                   std::vector<uint8_t> &planar, std::vector<uint8_t> &scaled)
{
    uint8_t *out = image.bits();
    const int outStride = int(image.bytesPerLine());
    const int w = size.width();
    const int h = size.height();
    const bool sameSize = size == frame.size();

    if (const ToArgb toArgb = argbConverter(frame.pixelFormat())) {
        if (sameSize)
            return toArgb(frame.bits(0), frame.bytesPerLine(0), out, outStride, w, h) == 0;
        const uint8_t *argb = frame.bits(0);
        int argbStride = frame.bytesPerLine(0);
        if (toArgb != libyuv::ARGBCopy) {
            argbStride = frame.width() * 4;
            scaled.resize(size_t(argbStride) * frame.height());
            if (toArgb(argb, frame.bytesPerLine(0), scaled.data(), argbStride, frame.width(),
                       frame.height()))
                return false;
            argb = scaled.data();
        }
        return libyuv::ARGBScale(argb, argbStride, frame.width(), frame.height(), out, outStride, w,
                                 h, libyuv::kFilterBox)
            == 0;
    }

    I420 source;
    if (!toI420(frame, planar, source))
        return false;
    if (!sameSize) {
        const I420 target = planesIn(scaled, size);
        if (libyuv::I420Scale(source.y.data, source.y.stride, source.u.data, source.u.stride,
                              source.v.data, source.v.stride, frame.width(), frame.height(),
                              writable(target.y), target.y.stride, writable(target.u),
                              target.u.stride, writable(target.v), target.v.stride, w, h,
                              libyuv::kFilterBox))
            return false;
        source = target;
    }
    return libyuv::I420ToARGBMatrix(source.y.data, source.y.stride, source.u.data, source.u.stride,
                                    source.v.data, source.v.stride, out, outStride,
                                    yuvMatrix(frame.surfaceFormat()), w, h)
        == 0;
}

bool supported(Format::PixelFormat format)
{
    switch (format) {
    case Format::Format_YUV420P:
    case Format::Format_YV12:
    case Format::Format_YUYV:
    case Format::Format_UYVY:
    case Format::Format_NV12:
    case Format::Format_NV21:
    case Format::Format_YUV422P:
        return true;
    default:
        return argbConverter(format) != nullptr;
    }
}

} // namespace

bool FrameConverter::convert(const QVideoFrame &frame, QSize size, QImage &image)
{
    if (!frame.isValid() || size.isEmpty()) {
        image = QImage();
        return false;
    }
    if (!supported(frame.pixelFormat())) {
        image = frame.toImage();
        if (image.isNull())
            return false;
        image = image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                    .convertToFormat(QImage::Format_RGB32);
        return true;
    }
    QVideoFrame mapped(frame);
    if (!mapped.map(QVideoFrame::ReadOnly)) {
        image = QImage();
        return false;
    }
    if (image.size() != size || image.format() != QImage::Format_RGB32)
        image = QImage(size, QImage::Format_RGB32);
    const bool done = convertMapped(mapped, size, image, planar, scaled);
    mapped.unmap();
    if (!done)
        image = QImage();
    return done;
}

QImage OrientedFrame::image() const
{
    QImage upright;
    if (!FrameConverter().convert(frame, frame.size(), upright))
        return {};
    if (rotation % 90) {
        QTransform transform;
        transform.scale(mirrored ? -1 : 1, flippedVertically ? -1 : 1);
        transform.rotate(rotation);
        return upright.transformed(transform, Qt::SmoothTransformation);
    }
    // Mirroring after the turn is mirroring before a turn the other way, and a mirror is a flip
    // (free: the rows read bottom up) plus a half turn. So one flip at most, then one turn.
    const bool flip = mirrored != flippedVertically;
    int turn = rotation;
    if (mirrored && flippedVertically)
        turn += 180;
    else if (mirrored)
        turn = 180 - rotation;
    else if (flippedVertically)
        turn = -rotation;
    turn = ((turn % 360) + 360) % 360;

    const QSize size = turn % 180 ? upright.size().transposed() : upright.size();
    QImage result(size, QImage::Format_RGB32);
    const int height = upright.height();
    const uchar *source = upright.constBits();
    int stride = int(upright.bytesPerLine());
    if (flip) {
        source += qsizetype(stride) * (height - 1);
        stride = -stride;
    }
    if (libyuv::ARGBRotate(source, stride, result.bits(), int(result.bytesPerLine()),
                           upright.width(), height, libyuv::RotationMode(turn)))
        return {};
    return result;
}
