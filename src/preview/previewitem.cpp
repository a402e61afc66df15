#include "previewitem.h"

#include <QPainter>
#include <QtMath>

PreviewItem::PreviewItem(QGraphicsItem *parent)
    : QGraphicsVideoItem(parent)
{ }

void PreviewItem::showFrame(const QVideoFrame &newFrame)
{
    frame = newFrame;
    pictureIsCurrent = false;
    if (!frame.isValid())
        picture = QImage();
    update();
}

void PreviewItem::paint(QPainter *painter, const QStyleOptionGraphicsItem *, QWidget *)
{
    if (!frame.isValid())
        return;
    const QRectF area = boundingRect();
    // The item's axes may be turned or mirrored on screen: measure each axis's own scale.
    const QTransform toDevice = painter->deviceTransform();
    const QSize shown(qMax(1, qRound(area.width() * qHypot(toDevice.m11(), toDevice.m12()))),
                      qMax(1, qRound(area.height() * qHypot(toDevice.m21(), toDevice.m22()))));
    if (!pictureIsCurrent || pictureSize != shown) {
        converter.convert(frame, shown, picture);
        pictureIsCurrent = true;
        pictureSize = shown;
    }
    if (picture.isNull())
        return;
    // Upright and unmirrored (the usual case), the picture is drawn pixel for pixel: a plain copy
    // instead of a scaling one.
    if (toDevice.type() <= QTransform::TxScale && toDevice.m11() > 0 && toDevice.m22() > 0) {
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
