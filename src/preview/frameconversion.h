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
    // Planes of the frame at its own size, as I420, when the camera sends another layout.
    std::vector<uint8_t> planar;
    // The I420 picture scaled to the target size, or a 32-bit frame in libyuv's ARGB order.
    std::vector<uint8_t> scaled;
};

// A frame with the preview's orientation, to be turned into an image on any thread: rotated
// clockwise, then mirrored and flipped in the rotated picture's own axes.
struct OrientedFrame
{
    QVideoFrame frame;
    bool mirrored = false;
    bool flippedVertically = false;
    int rotation = 0; // degrees, 0, 90, 180 or 270

    // Full resolution; null when there is no usable frame.
    QImage image() const;
};
