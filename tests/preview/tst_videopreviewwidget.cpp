#include "preview/videopreviewwidget.h"
#include "testmain.h"
#include "videoframes.h"
#include "videopreviewwidgettestaccess.h"

#include <QVideoSink>

#include <functional>

namespace {
using PixelMap = std::function<QPoint(int x, int y, int w, int h)>;

struct Orientation
{
    int rotation;
    bool mirrored;
    bool flipped;
};

void apply(VideoPreviewWidget &preview, const Orientation &orientation)
{
    preview.setMirrored(orientation.mirrored);
    preview.setFlippedVertically(orientation.flipped);
    preview.setRotation(orientation.rotation);
}

QColor colourAt(const QImage &image, QPoint point)
{
    return image.convertToFormat(QImage::Format_RGB32).pixelColor(point);
}
} // namespace

Q_DECLARE_METATYPE(Orientation)
Q_DECLARE_METATYPE(PixelMap)

class TestVideoPreviewWidget : public QObject
{
    Q_OBJECT

private slots:
    void emptyUntilFirstFrame();
    void orientationMapping_data();
    void orientationMapping();
    void mirrorAndFlipEqualHalfTurn();
    void framesResizeAndRefit();
    void invalidFrameAndClearFrame();
    void rotationIsNormalised();

private:
    static constexpr int frameWidth = 80;
    static constexpr int frameHeight = 60;
};

void TestVideoPreviewWidget::emptyUntilFirstFrame()
{
    VideoPreviewWidget preview;
    VideoPreviewWidgetTestAccess access(preview);
    QCOMPARE(preview.minimumSize(), QSize(720, 480));
    QVERIFY(preview.currentFrameImage().isNull());

    preview.setRotation(90);
    preview.resize(900, 600);
    QVERIFY(access.scene()->sceneRect().isEmpty() || access.videoItem()->nativeSize().isEmpty());
    QVERIFY(preview.currentFrameImage().isNull());
}

void TestVideoPreviewWidget::orientationMapping_data()
{
    QTest::addColumn<Orientation>("orientation");
    QTest::addColumn<PixelMap>("onScreen");
    QTest::addColumn<PixelMap>("inImage");

    QTest::newRow("0") << Orientation {0, false, false}
                       << PixelMap([](int x, int y, int, int) { return QPoint(x, y); })
                       << PixelMap([](int x, int y, int, int) { return QPoint(x, y); });
    QTest::newRow("90") << Orientation {90, false, false}
                        << PixelMap([](int x, int y, int, int h) { return QPoint(h - 1 - y, x); })
                        << PixelMap([](int x, int y, int, int h) { return QPoint(h - 1 - y, x); });
    // Exactly one flag at a quarter turn: the image is the screen turned by a half turn.
    QTest::newRow("90 mirrored") << Orientation {90, true, false}
                                 << PixelMap([](int x, int y, int w, int h) {
                                        return QPoint(h - 1 - y, w - 1 - x);
                                    })
                                 << PixelMap([](int x, int y, int, int) { return QPoint(y, x); });
    QTest::newRow("180 mirrored") << Orientation {
        180, true, false} << PixelMap([](int x, int y, int, int h) {
        return QPoint(x, h - 1 - y);
    }) << PixelMap([](int x, int y, int, int h) { return QPoint(x, h - 1 - y); });
    QTest::newRow("270") << Orientation {270, false, false}
                         << PixelMap([](int x, int y, int w, int) { return QPoint(y, w - 1 - x); })
                         << PixelMap([](int x, int y, int w, int) { return QPoint(y, w - 1 - x); });
}

void TestVideoPreviewWidget::orientationMapping()
{
    QFETCH(Orientation, orientation);
    QFETCH(PixelMap, onScreen);
    QFETCH(PixelMap, inImage);

    VideoPreviewWidget preview;
    VideoPreviewWidgetTestAccess access(preview);
    preview.resize(900, 600);
    preview.videoSink()->setVideoFrame(
        TestFrames::fromImage(TestFrames::quadrantImage(frameWidth, frameHeight)));
    apply(preview, orientation);

    const QImage source = TestFrames::quadrantImage(frameWidth, frameHeight);
    const QImage image = preview.currentFrameImage();
    const bool quarterTurn = orientation.rotation % 180 != 0;
    QCOMPARE(image.size(),
             quarterTurn ? QSize(frameHeight, frameWidth) : QSize(frameWidth, frameHeight));

    const QRectF box = access.videoItem()->sceneBoundingRect();
    QCOMPARE(box.size(),
             quarterTurn ? QSizeF(frameHeight, frameWidth) : QSizeF(frameWidth, frameHeight));
    // The whole turned picture is what the view fits.
    QCOMPARE(access.scene()->sceneRect(), box);

    // Sample each quadrant's centre; smoothing blurs only the quadrant edges.
    for (int qy = 0; qy < 2; ++qy) {
        for (int qx = 0; qx < 2; ++qx) {
            const int x = frameWidth / 4 + qx * frameWidth / 2;
            const int y = frameHeight / 4 + qy * frameHeight / 2;
            const QColor expected = source.pixelColor(x, y);

            QCOMPARE(colourAt(image, inImage(x, y, frameWidth, frameHeight)), expected);

            const QPointF shown =
                access.videoItem()->sceneTransform().map(QPointF(x + 0.5, y + 0.5)) - box.topLeft();
            const QPoint expectedShown = onScreen(x, y, frameWidth, frameHeight);
            QCOMPARE(shown, QPointF(expectedShown) + QPointF(0.5, 0.5));
        }
    }
}

void TestVideoPreviewWidget::mirrorAndFlipEqualHalfTurn()
{
    VideoPreviewWidget preview;
    VideoPreviewWidgetTestAccess access(preview);
    preview.videoSink()->setVideoFrame(
        TestFrames::fromImage(TestFrames::quadrantImage(frameWidth, frameHeight)));

    apply(preview, {0, true, true});
    const QImage bothFlags = preview.currentFrameImage();
    const QTransform bothFlagsOnScreen = access.videoItem()->transform();

    apply(preview, {180, false, false});
    QCOMPARE(preview.currentFrameImage(), bothFlags);
    QCOMPARE(access.videoItem()->transform(), bothFlagsOnScreen);
}

void TestVideoPreviewWidget::framesResizeAndRefit()
{
    VideoPreviewWidget preview;
    VideoPreviewWidgetTestAccess access(preview);
    preview.resize(1000, 700);
    preview.show();

    preview.videoSink()->setVideoFrame(TestFrames::fromImage(TestFrames::quadrantImage(64, 48)));
    QCOMPARE(access.videoItem()->size(), QSizeF(64, 48));

    preview.videoSink()->setVideoFrame(TestFrames::fromImage(TestFrames::quadrantImage(128, 72)));
    QCOMPARE(access.videoItem()->size(), QSizeF(128, 72));
    QCOMPARE(access.scene()->sceneRect(), access.videoItem()->sceneBoundingRect());

    // Whole picture visible: the scene rectangle maps inside the viewport after every resize.
    for (const QSize size : {QSize(1000, 700), QSize(1400, 500), QSize(720, 900)}) {
        preview.resize(size);
        const QRect viewport = access.view()->viewport()->rect();
        const QRect mapped =
            access.view()->mapFromScene(access.scene()->sceneRect()).boundingRect();
        QVERIFY2(viewport.adjusted(-1, -1, 1, 1).contains(mapped),
                 qPrintable(QStringLiteral("%1 in %2")
                                .arg(QDebug::toString(mapped), QDebug::toString(viewport))));
        // Fitted, not merely contained: one dimension fills the viewport (QGraphicsView keeps a
        // few pixels of margin).
        QVERIFY2(qAbs(mapped.width() - viewport.width()) <= 6
                     || qAbs(mapped.height() - viewport.height()) <= 6,
                 qPrintable(QStringLiteral("%1 in %2")
                                .arg(QDebug::toString(mapped), QDebug::toString(viewport))));
    }
    QCOMPARE(preview.size().expandedTo(preview.minimumSize()), preview.size());
}

void TestVideoPreviewWidget::invalidFrameAndClearFrame()
{
    VideoPreviewWidget preview;
    VideoPreviewWidgetTestAccess access(preview);
    preview.resize(900, 600);
    const QVideoFrame frame = TestFrames::fromImage(TestFrames::quadrantImage(64, 48));
    preview.videoSink()->setVideoFrame(frame);
    QVERIFY(!preview.currentFrameImage().isNull());
    const QRectF fitted = access.scene()->sceneRect();

    preview.videoSink()->setVideoFrame(QVideoFrame());
    QVERIFY(preview.currentFrameImage().isNull());
    QCOMPARE(access.videoItem()->size(), QSizeF(64, 48));
    QCOMPARE(access.scene()->sceneRect(), fitted);

    preview.videoSink()->setVideoFrame(frame);
    preview.clearFrame();
    QVERIFY(preview.currentFrameImage().isNull());
    QVERIFY(!access.latestFrame().isValid());

    preview.videoSink()->setVideoFrame(frame);
    QVERIFY(!preview.currentFrameImage().isNull());
    QCOMPARE(access.scene()->sceneRect(), fitted);
}

void TestVideoPreviewWidget::rotationIsNormalised()
{
    VideoPreviewWidget preview;
    VideoPreviewWidgetTestAccess access(preview);
    const QList<QPair<int, int>> cases = {{-90, 270}, {720, 0}, {450, 90}, {-450, 270}, {359, 359}};
    for (const auto &[given, stored] : cases) {
        preview.setRotation(given);
        QCOMPARE(access.rotation(), stored);
    }
}

TARVELO_TEST_MAIN(TestVideoPreviewWidget)
#include "tst_videopreviewwidget.moc"
