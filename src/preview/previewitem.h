#pragma once

#include "frameconversion.h"

#include <QFutureWatcher>
#include <QGraphicsVideoItem>
#include <QThreadPool>

// The video item of the preview. It draws the latest frame itself instead of through
// QVideoFrame::paint, which converts the whole frame on the CPU at every paint: each new frame is
// converted once, on a thread of its own, at the size it is shown at in device pixels, into
// reused images. The window's thread only copies the finished picture to the screen.
class PreviewItem : public QGraphicsVideoItem
{
    Q_OBJECT

public:
    explicit PreviewItem(QGraphicsItem *parent = nullptr);
    ~PreviewItem() override;

    // An invalid frame shows nothing.
    void showFrame(const QVideoFrame &frame);
    // The size of the last valid frame; empty before the first.
    QSize frameSize() const { return lastFrameSize; }

    void paint(QPainter *painter, const QStyleOptionGraphicsItem *option, QWidget *widget) override;

private:
    void convertLatest();
    void takeConverted();

    QVideoFrame frame; // the latest
    QSize lastFrameSize;
    quint64 frameNumber = 0; // counts frames shown, and the clears between them
    quint64 clearedAt = 0; // the number of the last clear
    QSize wanted; // the size the picture was last drawn at, in device pixels

    QImage picture; // what is drawn
    quint64 pictureNumber = 0; // the frame it was converted from
    QSize pictureSize; // the size it was converted for (also when that failed)

    // While a conversion runs, its thread alone uses these.
    FrameConverter converter;
    QVideoFrame converting;
    QImage converted;
    quint64 convertingNumber = 0;
    QSize convertingSize;
    QThreadPool thread;
    QFutureWatcher<void> conversion;
};
