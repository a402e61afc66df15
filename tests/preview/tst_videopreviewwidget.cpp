#include "preview/frameconversion.h"
#include "testmain.h"
#include "videopreviewwidgettestaccess.h"

#include <QVideoSink>

namespace {
using Format = QVideoFrameFormat;
// Red, green, blue and yellow quadrants (also as BT.601 Y, U, V, as Qt 6.4's toImage() reads every
// frame): no mirror, flip or turn maps them onto themselves, no channel or plane swap keeps one.
const QList<QColor> colours = {Qt::red, Qt::green, Qt::blue, Qt::yellow};
const uchar yuv601[4][3] = {{81, 90, 240}, {145, 54, 34}, {41, 240, 110}, {210, 16, 146}};

// The quadrants in the format's byte layout. Quadrant edges fall on even pixels, so every chroma
// subsampling reads the same colours.
QVideoFrame quadrantFrame(QSize size, Format::PixelFormat pixelFormat = Format::Format_BGRA8888)
{
    const QByteArray layout = Format::pixelFormatToString(pixelFormat).toLatin1().left(4);
    QVideoFrame frame(Format(size, pixelFormat)); // no colour space: BT.601 at this height
    frame.map(QVideoFrame::WriteOnly);
    for (int i = 0; i < size.width() * size.height(); ++i) {
        const int x = i % size.width(), y = i / size.width();
        const int q = (y >= size.height() / 2) * 2 + (x >= size.width() / 2);
        uchar *row = frame.bits(0) + y * frame.bytesPerLine(0);
        if (layout.contains('R')) {
            for (int b = 0, c; b < 4; ++b)
                c = QByteArray("RGB").indexOf(layout[b]),
                row[4 * x + b] = c < 0 ? 255 : colours[q].rgb() >> (16 - 8 * c);
        } else if (layout == "YUYV" || layout == "UYVY") {
            for (int b = 0; x % 2 == 0 && b < 4; ++b)
                row[2 * x + b] = yuv601[q][QByteArray("YUV").indexOf(layout[b])];
        } else if ((row[x] = yuv601[q][0]), layout != "Y8") {
            uchar *u = frame.bits(1)
                + (pixelFormat == Format::Format_YUV422P ? y : y / 2) * frame.bytesPerLine(1);
            uchar *v = layout == "NV12" ? u + 1 : frame.bits(2) + (u - frame.bits(1));
            const int step = layout == "NV12" ? 2 : 1;
            u[x / 2 * step] = yuv601[q][1], v[x / 2 * step] = yuv601[q][2];
        }
    }
    frame.unmap();
    return frame;
}

int distance(QRgb a, QRgb b)
{
    return qAbs(qRed(a) - qRed(b)) + qAbs(qGreen(a) - qGreen(b)) + qAbs(qBlue(a) - qBlue(b));
}

// The colours at the quadrant centres of an area, row by row: R, G, B, Y or '?' for another.
QString quadrants(const QImage &image, QRectF area)
{
    QString letters;
    for (int q = 0; q < 4; ++q) {
        const QRgb pixel = image.pixel(area.left() + (q % 2 * 2 + 1) * area.width() / 4,
                                       area.top() + (q / 2 * 2 + 1) * area.height() / 4);
        letters += u'?';
        for (int c = 0; c < 4; ++c)
            if (distance(pixel, colours[c].rgb()) < 12)
                letters.back() = QChar::fromLatin1("RGBY"[c]);
    }
    return letters;
}

// The quadrants as the user sees them where a picture of that size fits the view centred (frames
// are converted on a thread of their own: checks wait for the picture).
QString drawnQuadrants(VideoPreviewWidget &preview, QSize picture)
{
    QCoreApplication::processEvents(); // the view catches up with the scene as on screen
    QWidget *viewport = VideoPreviewWidgetTestAccess(preview).view()->viewport();
    QRectF area({}, QSizeF(picture).scaled(viewport->size(), Qt::KeepAspectRatio));
    area.moveCenter(QRectF(viewport->rect()).center());
    return quadrants(viewport->grab().toImage(), area);
}
} // namespace

class TestVideoPreviewWidget : public QObject
{
    Q_OBJECT

private slots:
    void conversion_data()
    {
        QTest::addColumn<int>("format");
        for (const Format::PixelFormat format :
             {Format::Format_YUYV, Format::Format_UYVY, Format::Format_NV12, Format::Format_YUV420P,
              Format::Format_YUV422P, Format::Format_BGRA8888, Format::Format_XRGB8888,
              Format::Format_RGBA8888, Format::Format_Y8}) // Y8: left to toImage()
            QTest::newRow(qPrintable(Format::pixelFormatToString(format))) << int(format);
    }

    // Each format as Qt itself reads it, at the frame's size and at a smaller size it is shown at.
    void conversion()
    {
        QFETCH(int, format);
        // Qt 6.4 gives a YUV422P memory frame the room of a 4:2:0 one: 8 pixels wide still fit;
        // and its toImage() misreads YUV422P, so the same picture as YUV420P stands in.
        const QVideoFrame frame = quadrantFrame({8, 8}, Format::PixelFormat(format));
        const auto shown =
            format == Format::Format_YUV422P ? Format::Format_YUV420P : frame.pixelFormat();
        const QImage reference = quadrantFrame({8, 8}, shown).toImage();
        QImage image;
        for (const QSize size : {QSize(8, 8), QSize(4, 4)}) {
            QVERIFY(FrameConverter().convert(frame, size, image));
            const QImage expected =
                reference.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
            for (int y = 0; y < size.height(); ++y)
                for (int x = 0; x < size.width(); ++x)
                    QVERIFY(distance(image.pixel(x, y), expected.pixel(x, y)) <= 6);
        }
    }

    // The quadrants as drawn, then those of currentFrameImage(): the screen mirrors before it
    // turns, the image after, so with one flag at a quarter turn they differ by a half turn.
    void orientation_data()
    {
        QTest::addColumn<QString>("expected");
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
        QFETCH(QString, expected);
        QTRY_COMPARE(drawnQuadrants(preview, turned), expected.left(4));
        QCOMPARE(quadrants(preview.currentFrameImage(), QRect({}, turned)), expected.mid(5));
    }

    // Whole, centred and as large as fits after a resize, a stop and a start, a new frame size.
    void pictureStaysFitted()
    {
        VideoPreviewWidget preview;
        preview.resize(1000, 700);
        preview.show();
        QCOMPARE(drawnQuadrants(preview, {128, 72}), "????");
        preview.videoSink()->setVideoFrame(quadrantFrame({128, 72}));
        for (const QSize size : {QSize(1400, 500), QSize(720, 900), QSize(1000, 700)}) {
            preview.resize(size);
            QTRY_COMPARE(drawnQuadrants(preview, {128, 72}), "RGBY");
        }
        for (const QSize next : {QSize(128, 72), QSize(64, 48)}) {
            preview.clearFrame();
            QVERIFY(preview.currentFrameImage().isNull());
            QCOMPARE(drawnQuadrants(preview, next), "????");
            preview.videoSink()->setVideoFrame(quadrantFrame(next));
            QTRY_COMPARE(drawnQuadrants(preview, next), "RGBY");
        }
    }
};

TARVELO_TEST_MAIN(TestVideoPreviewWidget)
#include "tst_videopreviewwidget.moc"
