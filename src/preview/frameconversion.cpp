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

// Planar YUV with chroma at half the width, and at half the height (4:2:0) or full (4:2:2).
struct Planar
{
    Plane y, u, v;
    bool fullHeightChroma = false;
};

Planar planesIn(std::vector<uint8_t> &buffer, QSize size, bool fullHeightChroma)
{
    const int chromaWidth = (size.width() + 1) / 2;
    const int chromaHeight = fullHeightChroma ? size.height() : (size.height() + 1) / 2;
    const size_t lumaBytes = size_t(size.width()) * size.height();
    const size_t chromaBytes = size_t(chromaWidth) * chromaHeight;
    buffer.resize(lumaBytes + 2 * chromaBytes);
    uint8_t *y = buffer.data();
    return {{y, size.width()},
            {y + lumaBytes, chromaWidth},
            {y + lumaBytes + chromaBytes, chromaWidth},
            fullHeightChroma};
}

uint8_t *writable(const Plane &plane)
{
    return const_cast<uint8_t *>(plane.data);
}

// The frame's picture as planes at its own size: its own planes where it has them, a conversion
// into buffer otherwise. 4:2:2 stays 4:2:2 when keep422 is set (a full-size picture), and
// becomes 4:2:0 otherwise (a picture to be shrunk, where it is cheaper to scale). False for
// layouts that are not 4:2:0 or 4:2:2 YUV.
bool toPlanar(const QVideoFrame &frame, bool keep422, std::vector<uint8_t> &buffer, Planar &out)
{
    auto plane = [&frame](int i) {
        return Plane {frame.bits(i), frame.bytesPerLine(i)};
    };
    const Format::PixelFormat format = frame.pixelFormat();
    switch (format) {
    case Format::Format_YUV420P:
        out = {plane(0), plane(1), plane(2), false};
        return true;
    case Format::Format_YV12:
        out = {plane(0), plane(2), plane(1), false};
        return true;
    case Format::Format_YUV422P:
        if (!keep422)
            break;
        out = {plane(0), plane(1), plane(2), true};
        return true;
    default:
        break;
    }
    const bool packed = format == Format::Format_YUYV || format == Format::Format_UYVY;
    out = planesIn(buffer, frame.size(), packed && keep422);
    uint8_t *y = writable(out.y), *u = writable(out.u), *v = writable(out.v);
    const int ys = out.y.stride, cs = out.u.stride, w = frame.width(), h = frame.height();
    const uint8_t *in = frame.bits(0);
    const int inStride = frame.bytesPerLine(0);
    switch (format) {
    case Format::Format_YUYV:
        return !(keep422 ? libyuv::YUY2ToI422 : libyuv::YUY2ToI420)(in, inStride, y, ys, u, cs, v,
                                                                    cs, w, h);
    case Format::Format_UYVY:
        return !(keep422 ? libyuv::UYVYToI422 : libyuv::UYVYToI420)(in, inStride, y, ys, u, cs, v,
                                                                    cs, w, h);
    case Format::Format_YUV422P:
        return !libyuv::I422ToI420(in, inStride, frame.bits(1), frame.bytesPerLine(1),
                                   frame.bits(2), frame.bytesPerLine(2), y, ys, u, cs, v, cs, w, h);
    case Format::Format_NV12:
    case Format::Format_NV21: {
        const bool swap = format == Format::Format_NV21;
        return !libyuv::NV12ToI420(in, inStride, frame.bits(1), frame.bytesPerLine(1), y, ys,
                                   swap ? v : u, cs, swap ? u : v, cs, w, h);
    }
    default:
        return false;
    }
}

// 4:2:0 planes scaled to size: halved with a box filter (cheap, and free of aliasing) while that
// stays at or above the size, then one bilinear step, which costs several times a halving at
// other ratios.
Planar shrink(Planar picture, QSize from, QSize size, std::vector<uint8_t> (&buffers)[2])
{
    for (int step = 0; from != size; ++step) {
        const bool halve = from.width() >= 2 * size.width() && from.height() >= 2 * size.height();
        const QSize to = halve ? QSize((from.width() + 1) / 2, (from.height() + 1) / 2) : size;
        const Planar next = planesIn(buffers[step % 2], to, false);
        libyuv::I420Scale(picture.y.data, picture.y.stride, picture.u.data, picture.u.stride,
                          picture.v.data, picture.v.stride, from.width(), from.height(),
                          writable(next.y), next.y.stride, writable(next.u), next.u.stride,
                          writable(next.v), next.v.stride, to.width(), to.height(),
                          halve ? libyuv::kFilterBox : libyuv::kFilterBilinear);
        picture = next;
        from = to;
    }
    return picture;
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
                   std::vector<uint8_t> &planar, std::vector<uint8_t> (&scaled)[2])
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
            scaled[0].resize(size_t(argbStride) * frame.height());
            if (toArgb(argb, frame.bytesPerLine(0), scaled[0].data(), argbStride, frame.width(),
                       frame.height()))
                return false;
            argb = scaled[0].data();
        }
        // As for YUV below: a box filter only where it pays, when shrinking to half or less.
        const bool far = frame.width() >= 2 * w && frame.height() >= 2 * h;
        return !libyuv::ARGBScale(argb, argbStride, frame.width(), frame.height(), out, outStride,
                                  w, h, far ? libyuv::kFilterBox : libyuv::kFilterBilinear);
    }

    const Format::PixelFormat format = frame.pixelFormat();
    const libyuv::YuvConstants *matrix = yuvMatrix(frame.surfaceFormat());
    if (sameSize && (format == Format::Format_NV12 || format == Format::Format_NV21)) {
        auto toArgb =
            format == Format::Format_NV12 ? libyuv::NV12ToARGBMatrix : libyuv::NV21ToARGBMatrix;
        return !toArgb(frame.bits(0), frame.bytesPerLine(0), frame.bits(1), frame.bytesPerLine(1),
                       out, outStride, matrix, w, h);
    }
    Planar source;
    if (!toPlanar(frame, sameSize, planar, source))
        return false;
    if (!sameSize)
        source = shrink(source, frame.size(), size, scaled);
    auto toArgb = source.fullHeightChroma ? libyuv::I422ToARGBMatrix : libyuv::I420ToARGBMatrix;
    return !toArgb(source.y.data, source.y.stride, source.u.data, source.u.stride, source.v.data,
                   source.v.stride, out, outStride, matrix, w, h);
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

QImage orientedImage(const QVideoFrame &frame, bool mirrored, bool flippedVertically, int rotation)
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
    if (!flip && turn == 0)
        return upright;

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
