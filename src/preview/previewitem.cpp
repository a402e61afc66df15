#include "previewitem.h"

#include <QPainter>
#include <QVideoSink>
#include <QtConcurrent/QtConcurrentRun>
#include <QtMath>

PreviewItem::PreviewItem(QGraphicsItem *parent)
    : QGraphicsVideoItem(parent)
{
    thread.setMaxThreadCount(1);
    // The thread stays for the next frame instead of being created for each one.
    thread.setExpiryTimeout(-1);
    connect(&conversion, &QFutureWatcher<void>::finished, this, &PreviewItem::takeConverted);
    // QGraphicsVideoItem would repaint at each frame itself, showing the previous picture again
    // until the new one is converted: twice the drawing. This item follows the frames alone.
    videoSink()->disconnect(this);
}

PreviewItem::~PreviewItem()
{
    thread.waitForDone();
}

void PreviewItem::showFrame(const QVideoFrame &newFrame)
{
    frame = newFrame;
    ++frameNumber;
    if (!frame.isValid()) {
        clearedAt = frameNumber;
        picture = QImage();
        pictureSize = QSize();
        update();
        return;
    }
    lastFrameSize = frame.size();
    if (wanted.isEmpty())
        update(); // the first paint tells the size to convert for
    convertLatest();
}

// One conversion at a time, of the latest frame: frames that come while one runs are skipped
// rather than queued.
void PreviewItem::convertLatest()
{
    if (conversion.isRunning() || !frame.isValid() || wanted.isEmpty()
        || (pictureNumber == frameNumber && pictureSize == wanted))
        return;
    converting = frame;
    convertingNumber = frameNumber;
    convertingSize = wanted;
    conversion.setFuture(QtConcurrent::run(
        &thread, [this] { converter.convert(converting, convertingSize, converted); }));
}

void PreviewItem::takeConverted()
{
    converting = QVideoFrame(); // the camera's buffer goes back
    // After a clear since the conversion started, the picture stays empty.
    if (clearedAt < convertingNumber) {
        picture.swap(converted); // the old picture's buffer takes the next conversion
        pictureNumber = convertingNumber;
        pictureSize = convertingSize;
        update();
    }
    convertLatest();
}

void PreviewItem::paint(QPainter *painter, const QStyleOptionGraphicsItem *, QWidget *)
{
    const QRectF area = boundingRect();
    // The item's axes may be turned or mirrored on screen: measure each axis's own scale.
    const QTransform toDevice = painter->deviceTransform();
    wanted = QSize(qMax(1, qRound(area.width() * qHypot(toDevice.m11(), toDevice.m12()))),
                   qMax(1, qRound(area.height() * qHypot(toDevice.m21(), toDevice.m22()))));
    convertLatest();
    if (picture.isNull())
        return;
    // Upright, unmirrored and converted for this size (the usual case), the picture is drawn pixel
    // for pixel: a plain copy instead of a scaling one.
    if (picture.size() == wanted && toDevice.type() <= QTransform::TxScale && toDevice.m11() > 0
        && toDevice.m22() > 0) {
        const QPointF topLeft = toDevice.map(area.topLeft());
        const qreal ratio = painter->device()->devicePixelRatioF();
        picture.setDevicePixelRatio(ratio);
        painter->save();
        painter->resetTransform();
        painter->drawImage(QPointF(qRound(topLeft.x()), qRound(topLeft.y())) / ratio, picture);
        painter->restore();
        return;
    }
    painter->drawImage(area, picture);
}
