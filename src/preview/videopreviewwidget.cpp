#include "videopreviewwidget.h"

#include <QGraphicsScene>
#include <QGraphicsVideoItem>
#include <QGraphicsView>
#include <QTransform>
#include <QVBoxLayout>
#include <QVideoSink>

VideoPreviewWidget::VideoPreviewWidget(QWidget *parent)
    : QWidget(parent)
{
    setMinimumSize(720, 480);

    scene = new QGraphicsScene(this);

    videoItem = new QGraphicsVideoItem;
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
    connect(videoItem, &QGraphicsVideoItem::nativeSizeChanged, this,
            &VideoPreviewWidget::fitToView);
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
    view->viewport()->update();
}

QImage VideoPreviewWidget::currentFrameImage() const
{
    const QImage image = latestFrame.toImage();
    if (image.isNull())
        return {};

    QTransform transform;
    transform.scale(mirrored ? -1 : 1, flippedVertically ? -1 : 1);
    transform.rotate(rotation);
    return image.transformed(transform, Qt::SmoothTransformation);
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
    if (videoItem->nativeSize().isEmpty())
        return;
    scene->setSceneRect(videoItem->sceneBoundingRect());
    view->fitInView(scene->sceneRect(), Qt::KeepAspectRatio);
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
    if (!frame.isValid()) {
        latestFrame = QVideoFrame();
        return;
    }
    latestFrame = frame;
    // Refitting moves the view, which repaints all of it and recomputes its scroll range. Only a
    // new frame size needs it here: resizes, orientation and native-size changes refit themselves.
    const QSizeF size(frame.size());
    if (videoItem->size() == size)
        return;
    videoItem->setSize(size);
    fitToView();
}
