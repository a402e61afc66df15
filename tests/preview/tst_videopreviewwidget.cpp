#include "preview/videopreviewwidget.h"
#include "testmain.h"
#include "videopreviewwidgettestaccess.h"

#include <QVideoFrameFormat>
#include <QVideoSink>

namespace {
const QList<QColor> colours = {Qt::red, Qt::green, Qt::blue, Qt::yellow};

// Four quadrants of distinct colours, as a video frame: no mirror, flip or turn maps it onto
// itself. (Qt 6.4 has no QVideoFrame(QImage) constructor.)
QVideoFrame quadrantFrame(int width, int height)
{
    QVideoFrame frame(QVideoFrameFormat(QSize(width, height), QVideoFrameFormat::Format_RGBA8888));
    frame.map(QVideoFrame::WriteOnly);
    QImage image(frame.bits(0), width, height, frame.bytesPerLine(0), QImage::Format_RGBA8888);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            image.setPixelColor(x, y, colours[(y >= height / 2) * 2 + (x >= width / 2)]);
    frame.unmap();
    return frame;
}

// Colours at the centres of the four quadrants of an area, row by row, looked up in the image
// through the transform, as letters of the quadrant image's red, green, blue and yellow.
QString quadrants(QSizeF area, const QImage &image, const QTransform &toImage = QTransform())
{
    QString letters;
    for (int q = 0; q < 4; ++q) {
        const QPointF centre((q % 2 * 2 + 1) * area.width() / 4,
                             (q / 2 * 2 + 1) * area.height() / 4);
        letters +=
            "?RGBY"[colours.indexOf(image.pixelColor(toImage.map(centre).toPoint()).toRgb()) + 1];
    }
    return letters;
}
} // namespace

class TestVideoPreviewWidget : public QObject
{
    Q_OBJECT

private slots:
    // The tag is the orientation; the quadrants as shown, then those of currentFrameImage(). The
    // screen mirrors before it turns, the image turns before it mirrors: with exactly one flag at a
    // quarter turn they differ by a half turn.
    void orientation_data()
    {
        QTest::addColumn<QString>("quadrants");
        for (const char *row :
             {"90: BRYG BRYG", "270: GYRB GYRB", "mirrored: GRYB GRYB", "flipped: BYRG BYRG",
              "mirrored flipped: YBGR YBGR", "90 mirrored: YGBR RBGY"})
            QTest::newRow(QByteArray(row).split(':')[0]) << QString(row).section(": ", 1);
    }

    void orientation()
    {
        const QString tag = QString::fromLatin1(QTest::currentDataTag());
        const int rotation = tag.section(u' ', 0, 0).toInt(); // 0 when the tag has no angle
        VideoPreviewWidget preview;
        VideoPreviewWidgetTestAccess access(preview);
        preview.resize(900, 600);
        const QVideoFrame source = quadrantFrame(80, 60);
        preview.videoSink()->setVideoFrame(source);
        preview.setMirrored(tag.contains("mirrored"));
        preview.setFlippedVertically(tag.contains("flipped"));
        preview.setRotation(rotation);

        const QSize turned = rotation / 90 % 2 ? source.size().transposed() : source.size();
        const QRectF box = access.videoItem()->sceneBoundingRect();
        QCOMPARE(box.size(), QSizeF(turned));
        QCOMPARE(access.scene()->sceneRect(), box); // the view fits the whole turned picture
        const QTransform toSource = QTransform::fromTranslate(box.left(), box.top())
            * access.videoItem()->sceneTransform().inverted();
        // Smoothing blurs only the quadrant edges, not their centres.
        const QImage frame = preview.currentFrameImage();
        QCOMPARE(frame.size(), turned);
        QTEST(quadrants(box.size(), source.toImage(), toSource) + ' ' + quadrants(turned, frame),
              "quadrants");
    }

    void framesAreFitted()
    {
        VideoPreviewWidget preview;
        VideoPreviewWidgetTestAccess access(preview);
        preview.resize(1000, 700);
        preview.show();
        QVERIFY(preview.currentFrameImage().isNull());
        preview.videoSink()->setVideoFrame(quadrantFrame(64, 48));
        const QVideoFrame frame = quadrantFrame(128, 72);
        preview.videoSink()->setVideoFrame(frame);
        QCOMPARE(access.videoItem()->size(), QSizeF(128, 72));
        const QRectF fitted = access.scene()->sceneRect();

        for (const QSize size : {QSize(1000, 700), QSize(1400, 500), QSize(720, 900)}) {
            preview.resize(size);
            const QRect viewport = access.view()->viewport()->rect();
            const QRect shown = access.view()->mapFromScene(fitted).boundingRect();
            const QByteArray message =
                (QDebug::toString(shown) + " in " + QDebug::toString(viewport)).toUtf8();
            // Whole picture visible, not stretched, and fitted rather than merely contained
            // (QGraphicsView keeps a few pixels of margin).
            QVERIFY2(viewport.adjusted(-1, -1, 1, 1).contains(shown), message);
            QCOMPARE(access.view()->transform().m11(), access.view()->transform().m22());
            QVERIFY2(qAbs(shown.width() - viewport.width()) <= 6
                         || qAbs(shown.height() - viewport.height()) <= 6,
                     message);
        }

        // Cleared and back, or an invalid frame: the fit stays, so the picture does not jump.
        preview.clearFrame();
        QVERIFY(preview.currentFrameImage().isNull());
        preview.videoSink()->setVideoFrame(frame);
        QCOMPARE(access.scene()->sceneRect(), fitted);
        preview.videoSink()->setVideoFrame(QVideoFrame());
        QVERIFY(preview.currentFrameImage().isNull());
        QCOMPARE(access.scene()->sceneRect(), fitted);
    }
};

TARVELO_TEST_MAIN(TestVideoPreviewWidget)
#include "tst_videopreviewwidget.moc"
