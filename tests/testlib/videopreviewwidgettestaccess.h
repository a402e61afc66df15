#pragma once

#include "preview/previewitem.h"
#include "preview/videopreviewwidget.h"

#include <QGraphicsScene>
#include <QGraphicsVideoItem>
#include <QGraphicsView>

class VideoPreviewWidgetTestAccess
{
public:
    explicit VideoPreviewWidgetTestAccess(VideoPreviewWidget &widget)
        : w(widget)
    { }

    QGraphicsScene *scene() const { return w.scene; }
    QGraphicsView *view() const { return w.view; }
    QGraphicsVideoItem *videoItem() const { return w.videoItem; }
    bool mirrored() const { return w.mirrored; }
    bool flippedVertically() const { return w.flippedVertically; }
    int rotation() const { return w.rotation; }

private:
    VideoPreviewWidget &w;
};
