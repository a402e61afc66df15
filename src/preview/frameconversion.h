#pragma once

#include <QImage>
#include <QVideoFrame>

#include <cstdint>
#include <vector>

// Converts camera frames to RGB32 images with libyuv, scaled to the size they are shown at.
// Formats libyuv does not cover go through QVideoFrame::toImage().
class FrameConverter
{
public:
    // Converts frame into image at the given size, reusing image's buffer when it has that size.
    // Returns false, and leaves image null, when the frame cannot be read.
    bool convert(const QVideoFrame &frame, QSize size, QImage &image);

private:
    // Planes of the frame at its own size, when the camera sends another layout.
    std::vector<uint8_t> planar;
    // The planes on their way to the target size, or a 32-bit frame in libyuv's ARGB order.
    std::vector<uint8_t> scaled[2];
};

// The frame at full resolution turned clockwise by rotation degrees, then mirrored and flipped in
// the turned picture's own axes; null when the frame cannot be read.
QImage orientedImage(const QVideoFrame &frame, bool mirrored, bool flippedVertically, int rotation);
