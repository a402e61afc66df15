#pragma once

#include <QColor>
#include <QImage>
#include <QVideoFrame>
#include <QVideoFrameFormat>

#include <cstring>

namespace TestFrames {
// A video frame holding a copy of the image (Qt 6.4 has no QVideoFrame(QImage) constructor).
inline QVideoFrame fromImage(const QImage &source)
{
    const QImage image = source.convertToFormat(QImage::Format_RGBA8888);
    QVideoFrame frame(QVideoFrameFormat(image.size(), QVideoFrameFormat::Format_RGBA8888));
    if (!frame.map(QVideoFrame::WriteOnly))
        return {};
    for (int y = 0; y < image.height(); ++y)
        std::memcpy(frame.bits(0) + y * frame.bytesPerLine(0), image.constScanLine(y),
                    size_t(image.width()) * 4);
    frame.unmap();
    return frame;
}

// Four quadrants of distinct colours: no mirror, flip or turn maps it onto itself.
inline QImage quadrantImage(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    const QColor colours[4] = {Qt::red, Qt::green, Qt::blue, Qt::yellow};
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.setPixelColor(x, y, colours[(y >= height / 2) * 2 + (x >= width / 2)]);
    return image;
}
} // namespace TestFrames
