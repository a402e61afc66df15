#pragma once

#include <QImage>
#include <QVideoFrame>
#include <QWidget>

class QGraphicsScene;
class QGraphicsView;
class QVideoSink;
class PreviewItem;

// Shows the live picture, keeps the latest frame and applies the user's mirror, flip and rotation.
class VideoPreviewWidget : public QWidget
{
    Q_OBJECT

public:
    explicit VideoPreviewWidget(QWidget *parent = nullptr);
    ~VideoPreviewWidget() override;

    QVideoSink *videoSink() const;
    void clearFrame();
    // The latest frame with the orientation applied; null when there is no usable frame.
    QImage currentFrameImage() const;

    void setMirrored(bool mirrored);
    void setFlippedVertically(bool flipped);
    void setRotation(int degrees);

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    friend class VideoPreviewWidgetTestAccess;

    void fitToView();
    void applyOrientation();
    void handleFrame(const QVideoFrame &frame);

    QGraphicsScene *scene = nullptr;
    QGraphicsView *view = nullptr;
    PreviewItem *videoItem = nullptr;
    QVideoFrame latestFrame;
    bool mirrored = false;
    bool flippedVertically = false;
    int rotation = 0;
    // What the view was last fitted to; null after clearFrame, so the next frame refits.
    QRectF fittedRect;
};
