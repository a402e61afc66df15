#include "preview/frameconversion.h"
#include "preview/videopreviewwidget.h"
#include "testmain.h"
#include "videopreviewwidgettestaccess.h"

#include <QVideoFrameFormat>
#include <QVideoSink>

namespace {
using Format = QVideoFrameFormat;
// Red, green, blue and yellow quadrants: no mirror, flip or turn maps them onto themselves, and a
// swap of colour channels or chroma planes changes every one.
const QList<QColor> colours = {Qt::red, Qt::green, Qt::blue, Qt::yellow};
// The same as BT.601 Y, U and V, which is how Qt 6.4's toImage() reads every frame.
const uchar yuv601[4][3] = {{81, 90, 240}, {145, 54, 34}, {41, 240, 110}, {210, 16, 146}};

// The quadrants in the byte layout named like "YUYV", "NV12", "I422" or "BGRA" (bytes in memory).
// Quadrant edges fall on even pixels, so every chroma subsampling reads the same colours.
QVideoFrame quadrantFrame(QSize size, Format::PixelFormat pixelFormat = Format::Format_BGRA8888,
                          QByteArray layout = "BGRA")
{
    Format format(size, pixelFormat);
    format.setColorSpace(Format::ColorSpace_BT601);
    QVideoFrame frame(format);
    frame.map(QVideoFrame::WriteOnly);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const int q = (y >= size.height() / 2) * 2 + (x >= size.width() / 2);
            const uchar *sample = yuv601[q];
            uchar *row = frame.bits(0) + y * frame.bytesPerLine(0);
            if (layout.contains('R')) {
                for (int i = 0; i < 4; ++i)
                    row[4 * x + i] = QByteArray("RGB").contains(layout[i])
                        ? uchar(colours[q].rgb() >> (16 - 8 * QByteArray("RGB").indexOf(layout[i])))
                        : 255;
            } else if (layout == "YUYV" || layout == "UYVY") {
                for (int i = 0; x % 2 == 0 && i < 4; ++i)
                    row[2 * x + i] = sample[QByteArray("YUV").indexOf(layout[i])];
            } else {
                row[x] = sample[0];
                const int line = layout == "I422" ? y : y / 2;
                if (x % 2 || (line != y && y % 2) || layout == "Y8")
                    continue;
                uchar *u = frame.bits(1) + line * frame.bytesPerLine(1);
                if (layout == "NV12")
                    u[x] = sample[1], u[x + 1] = sample[2];
                else
                    u[x / 2] = sample[1],
                          frame.bits(2)[line * frame.bytesPerLine(2) + x / 2] = sample[2];
            }
        }
    }
    frame.unmap();
    return frame;
}

// The colours at the centres of the four quadrants of an area of the image, row by row, as the
// letters R, G, B and Y ('?' for anything else; drawing may round a colour by a step or two).
QString quadrants(const QImage &image, QRectF area)
{
    QString letters;
    for (int q = 0; q < 4; ++q) {
        const QRgb pixel = image.pixel(area.left() + (q % 2 * 2 + 1) * area.width() / 4,
                                       area.top() + (q / 2 * 2 + 1) * area.height() / 4);
        letters += u'?';
        for (int c = 0; c < 4; ++c) {
            const QRgb colour = colours[c].rgb();
            if (qAbs(qRed(pixel) - qRed(colour)) + qAbs(qGreen(pixel) - qGreen(colour))
                    + qAbs(qBlue(pixel) - qBlue(colour))
                < 12)
                letters.back() = QChar::fromLatin1("RGBY"[c]);
        }
    }
    return letters;
}

// The quadrants as the user sees them, where a picture of the given size fits the view centred.
QString drawnQuadrants(VideoPreviewWidget &preview, QSize picture)
{
    QCoreApplication::processEvents(); // the view catches up with the scene as on screen
    QWidget *viewport = VideoPreviewWidgetTestAccess(preview).view()->viewport();
    const QSizeF fitted = QSizeF(picture).scaled(viewport->size(), Qt::KeepAspectRatio);
    const QPointF offset((viewport->width() - fitted.width()) / 2,
                         (viewport->height() - fitted.height()) / 2);
    return quadrants(viewport->grab().toImage(), QRectF(offset, fitted));
}
} // namespace

class TestVideoPreviewWidget : public QObject
{
    Q_OBJECT

private slots:
    void conversion_data()
    {
        QTest::addColumn<int>("format");
        QTest::addColumn<QByteArray>("layout");
        const QList<QPair<Format::PixelFormat, QByteArray>> rows = {
            {Format::Format_YUYV, "YUYV"},     {Format::Format_UYVY, "UYVY"},
            {Format::Format_NV12, "NV12"},     {Format::Format_YUV420P, "I420"},
            {Format::Format_YUV422P, "I422"},  {Format::Format_BGRA8888, "BGRA"},
            {Format::Format_XRGB8888, "XRGB"}, {Format::Format_RGBA8888, "RGBA"},
            {Format::Format_Y8, "Y8"}, // not converted by libyuv
        };
        for (const auto &[format, layout] : rows)
            QTest::newRow(layout) << int(format) << layout;
    }

    // Each format as Qt itself reads it, at the frame's size and at the smaller size it is shown
    // at.
    void conversion()
    {
        QFETCH(int, format);
        QFETCH(QByteArray, layout);
        // Qt 6.4 gives a YUV422P memory frame the room of a 4:2:0 one: 8 pixels wide still fit.
        const QVideoFrame frame = quadrantFrame({8, 8}, Format::PixelFormat(format), layout);
        // Qt 6.4's toImage() misreads YUV422P: the same picture as I420 stands in.
        const QVideoFrame shown =
            layout == "I422" ? quadrantFrame({8, 8}, Format::Format_YUV420P, "I420") : frame;
        const QImage reference = shown.toImage().convertToFormat(QImage::Format_RGB32);
        FrameConverter converter;
        QImage image;
        for (const QSize size : {QSize(8, 8), QSize(4, 4)}) {
            QVERIFY(converter.convert(frame, size, image));
            const QImage expected =
                reference.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
            int worst = 0;
            for (int y = 0; y < size.height(); ++y)
                for (int x = 0; x < size.width(); ++x)
                    for (int shift : {0, 8, 16})
                        worst = qMax(worst,
                                     qAbs(int(image.pixel(x, y) >> shift & 0xff)
                                          - int(expected.pixel(x, y) >> shift & 0xff)));
            QVERIFY2(worst <= 3, qPrintable(QStringLiteral("off by %1").arg(worst)));
        }
    }

    // The tag is the orientation; the quadrants as drawn, then those of currentFrameImage(). The
    // screen mirrors before it turns, the image turns before it mirrors: with exactly one flag at a
    // quarter turn they differ by a half turn.
    void orientation_data()
    {
        QTest::addColumn<QString>("quadrants");
        for (const char *row :
             {"0: RGBY RGBY", "90: BRYG BRYG", "270: GYRB GYRB", "mirrored: GRYB GRYB",
              "flipped: BYRG BYRG", "mirrored flipped: YBGR YBGR", "90 mirrored: YGBR RBGY"})
            QTest::newRow(QByteArray(row).split(':')[0]) << QString(row).section(": ", 1);
    }

    void orientation()
    {
        const QString tag = QString::fromLatin1(QTest::currentDataTag());
        const int rotation = tag.section(u' ', 0, 0).toInt(); // 0 when the tag has no angle
        VideoPreviewWidget preview;
        preview.resize(900, 600);
        preview.show();
        preview.videoSink()->setVideoFrame(quadrantFrame({80, 60}));
        preview.setMirrored(tag.contains("mirrored"));
        preview.setFlippedVertically(tag.contains("flipped"));
        preview.setRotation(rotation);

        const QSize turned = rotation / 90 % 2 ? QSize(60, 80) : QSize(80, 60);
        const QImage image = preview.currentFrameImage();
        QCOMPARE(image.size(), turned);
        // Smoothing blurs only the quadrant edges, not their centres.
        QTEST(drawnQuadrants(preview, turned) + ' ' + quadrants(image, image.rect()), "quadrants");
    }

    // Whole, centred and as large as fits, whatever happened before the frame: a resize, a
    // stopped camera (cleared) that starts again, a frame of another size.
    void pictureStaysFitted()
    {
        VideoPreviewWidget preview;
        preview.resize(1000, 700);
        preview.show();
        QVERIFY(preview.currentFrameImage().isNull());
        QCOMPARE(drawnQuadrants(preview, {128, 72}), "????");
        const QVideoFrame frame = quadrantFrame({128, 72});
        preview.videoSink()->setVideoFrame(frame);
        for (const QSize size : {QSize(1400, 500), QSize(720, 900), QSize(1000, 700)}) {
            preview.resize(size);
            QCOMPARE(drawnQuadrants(preview, frame.size()), "RGBY");
        }
        for (const QSize next : {QSize(128, 72), QSize(64, 48)}) {
            preview.clearFrame();
            QVERIFY(preview.currentFrameImage().isNull());
            QCOMPARE(drawnQuadrants(preview, next), "????");
            preview.videoSink()->setVideoFrame(quadrantFrame(next));
            QCOMPARE(drawnQuadrants(preview, next), "RGBY");
        }
        preview.videoSink()->setVideoFrame(QVideoFrame());
        QVERIFY(preview.currentFrameImage().isNull());
    }
};

TARVELO_TEST_MAIN(TestVideoPreviewWidget)
#include "tst_videopreviewwidget.moc"
