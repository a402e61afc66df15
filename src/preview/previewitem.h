#pragma once

#include "frameconversion.h"

#include <QGraphicsVideoItem>

// The video item of the preview. It draws the latest frame itself instead of through
// QVideoFrame::paint, which converts the whole frame on the CPU at every paint: each new frame
// is converted once, at the size it is shown at in device pixels, into a reused image.
class PreviewItem : public QGraphicsVideoItem
{
    Q_OBJECT

public:
    explicit PreviewItem(QGraphicsItem *parent = nullptr);

    // An invalid frame shows nothing.
    void showFrame(const QVideoFrame &frame);

    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

private:
    FrameConverter converter;
    QVideoFrame frame;
    QImage picture;
    QSize pictureSize; // what the picture was converted for, also when that failed
    bool pictureIsCurrent = false;
};
