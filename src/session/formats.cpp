#include "session/formats.h"

#include <cstdlib>

namespace {
qint32 pixelCount(const QCameraFormat &format)
{
    const QSize resolution = format.resolution();
    return resolution.width() * resolution.height();
}

constexpr qint32 fullHdPixels = 1920 * 1080;
constexpr qint32 highFrameRatePenalty = 100000000;
} // namespace

bool formatPrecedes(const QCameraFormat &a, const QCameraFormat &b)
{
    const qint32 pixelsA = pixelCount(a);
    const qint32 pixelsB = pixelCount(b);
    if (pixelsA != pixelsB)
        return pixelsA > pixelsB;
    return a.maxFrameRate() > b.maxFrameRate();
}

qint32 compatibleFormatScore(const QCameraFormat &format)
{
    const qint32 distance = std::abs(pixelCount(format) - fullHdPixels);
    return distance + (format.maxFrameRate() > 30.5f ? highFrameRatePenalty : 0);
}

QCameraFormat chooseCompatibleFormat(const QList<QCameraFormat> &formats)
{
    QCameraFormat best;
    qint32 bestScore = 0;
    for (const QCameraFormat &format : formats) {
        const qint32 score = compatibleFormatScore(format);
        if (best.isNull() || score < bestScore) {
            best = format;
            bestScore = score;
        }
    }
    return best;
}

QString formatItemText(const QCameraFormat &format)
{
    return QStringLiteral("%1 × %2   %3 fps")
            .arg(format.resolution().width())
            .arg(format.resolution().height())
            .arg(double(format.maxFrameRate()), 0, 'f', 0);
}
