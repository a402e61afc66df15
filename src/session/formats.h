#pragma once

#include <QCameraFormat>
#include <QList>
#include <QSize>
#include <QString>

#include <cstdlib>

// The format rules only need a resolution and a maximum frame rate, so they are written for any
// type that offers both; the program uses them with QCameraFormat.
namespace FormatRules {
template<typename Format> qint32 pixelCount(const Format &format)
{
    const QSize resolution = format.resolution();
    return resolution.width() * resolution.height();
}

inline constexpr qint32 fullHdPixels = 1920 * 1080;
inline constexpr qint32 highFrameRatePenalty = 100000000;
} // namespace FormatRules

// Largest picture first; among equal sizes the higher maximum frame rate first.
template<typename Format> bool formatPrecedes(const Format &a, const Format &b)
{
    const qint32 pixelsA = FormatRules::pixelCount(a);
    const qint32 pixelsB = FormatRules::pixelCount(b);
    if (pixelsA != pixelsB)
        return pixelsA > pixelsB;
    return a.maxFrameRate() > b.maxFrameRate();
}

// Lower is better: closest to 1920 × 1080 at no more than 30 fps.
template<typename Format> qint32 compatibleFormatScore(const Format &format)
{
    const qint32 distance = std::abs(FormatRules::pixelCount(format) - FormatRules::fullHdPixels);
    return distance + (format.maxFrameRate() > 30.5f ? FormatRules::highFrameRatePenalty : 0);
}

// Index of the format a camera that gave no picture is retried with, -1 for an empty list.
// Among equal scores the earliest listed format wins.
template<typename Format> int compatibleFormatIndex(const QList<Format> &formats)
{
    int best = -1;
    qint32 bestScore = 0;
    for (int i = 0; i < formats.size(); ++i) {
        const qint32 score = compatibleFormatScore(formats.at(i));
        if (best < 0 || score < bestScore) {
            best = i;
            bestScore = score;
        }
    }
    return best;
}

// "1920 × 1080   30 fps"
template<typename Format> QString formatItemText(const Format &format)
{
    return QStringLiteral("%1 × %2   %3 fps")
        .arg(format.resolution().width())
        .arg(format.resolution().height())
        .arg(double(format.maxFrameRate()), 0, 'f', 0);
}

// Null when the device lists no format.
QCameraFormat chooseCompatibleFormat(const QList<QCameraFormat> &formats);
