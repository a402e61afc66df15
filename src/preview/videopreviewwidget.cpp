#include "videopreviewwidget.h"

#include "frameconversion.h"
#include "previewitem.h"

#include <QGraphicsScene>
#include <QGraphicsView>
#include <QTransform>
#include <QVBoxLayout>
#include <QVideoSink>

VideoPreviewWidget::VideoPreviewWidget(QWidget *parent)
    : QWidget(parent)
{
    setMinimumSize(720, 480);

    scene = new QGraphicsScene(this);

    videoItem = new PreviewItem;
    videoItem->setAspectRatioMode(Qt::KeepAspectRatio);
    scene->addItem(videoItem);

    view = new QGraphicsView(scene, this);
    view->setFrameShape(QFrame::NoFrame);
    view->setStyleSheet(
        QStringLiteral("background: #e9ebef; border: 1px solid #d2d2d7; border-radius: 12px;"));
    view->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    view->setAlignment(Qt::AlignCenter);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(view);

    connect(videoItem->videoSink(), &QVideoSink::videoFrameChanged, this,
            &VideoPreviewWidget::handleFrame);
}

VideoPreviewWidget::~VideoPreviewWidget() = default;

QVideoSink *VideoPreviewWidget::videoSink() const
{
    return videoItem->videoSink();
}

void VideoPreviewWidget::clearFrame()
{
    latestFrame = QVideoFrame();
    videoItem->videoSink()->setVideoFrame(QVideoFrame());
    scene->setSceneRect(QRectF());
    fittedRect = QRectF();
    view->viewport()->update();
}

QImage VideoPreviewWidget::currentFrameImage() const
{
    return orientedImage(latestFrame, mirrored, flippedVertically, rotation);
}

void VideoPreviewWidget::setMirrored(bool value)
{
    mirrored = value;
    applyOrientation();
}

void VideoPreviewWidget::setFlippedVertically(bool value)
{
    flippedVertically = value;
    applyOrientation();
}

void VideoPreviewWidget::setRotation(int degrees)
{
    rotation = ((degrees % 360) + 360) % 360;
    applyOrientation();
}

void VideoPreviewWidget::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    fitToView();
}

void VideoPreviewWidget::fitToView()
{
    if (videoItem->frameSize().isEmpty())
        return;
    fittedRect = videoItem->sceneBoundingRect();
    scene->setSceneRect(fittedRect);
    view->fitInView(fittedRect, Qt::KeepAspectRatio);
}

void VideoPreviewWidget::applyOrientation()
{
    // Mirror about the picture's centre first, then turn clockwise about the same centre.
    const QPointF centre = videoItem->boundingRect().center();
    QTransform transform;
    transform.translate(centre.x(), centre.y());
    transform.rotate(rotation);
    transform.scale(mirrored ? -1 : 1, flippedVertically ? -1 : 1);
    transform.translate(-centre.x(), -centre.y());
    videoItem->setTransform(transform, false);
    fitToView();
}

void VideoPreviewWidget::handleFrame(const QVideoFrame &frame)
{
    videoItem->showFrame(frame);
    if (!frame.isValid()) {
        latestFrame = QVideoFrame();
        return;
    }
    latestFrame = frame;
    // Refitting moves the view, which repaints all of it and recomputes its scroll range: only
    // when the fit is stale, after a new frame size or a clearFrame (a restart, a replug, a retry).
    const QSizeF size(frame.size());
    if (videoItem->size() == size && fittedRect == videoItem->sceneBoundingRect())
        return;
    videoItem->setSize(size);
    fitToView();
}
