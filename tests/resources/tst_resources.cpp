// The embedded theme resources: everything the style sheet and the window icon load at run time,
// and the Windows icon file, which must stay in step with the artwork.
#include "testmain.h"

#include <QFile>
#include <QImageReader>
#include <QPainter>
#include <QRegularExpression>
#include <QSet>
#include <QSpinBox>
#include <QStyle>
#include <QSvgRenderer>

#include <algorithm>

#ifndef TARVELO_APP_ICON_ICO
#error "TARVELO_APP_ICON_ICO must name src/resources/icons/app-icon.ico"
#endif

namespace {
const QString styleSheetPath = QStringLiteral(":/style/tarvelo.qss");
const QString artworkPath = QStringLiteral(":/icons/app-icon.svg");

QString styleSheet()
{
    QFile file(styleSheetPath);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

QImage renderArtwork(int size)
{
    QSvgRenderer renderer(artworkPath);
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    renderer.render(&painter, QRectF(0, 0, size, size));
    painter.end();
    return image.convertToFormat(QImage::Format_ARGB32);
}

// Largest difference of any channel of any pixel; -1 when the sizes differ.
int largestDifference(const QImage &a, const QImage &b)
{
    if (a.size() != b.size())
        return -1;
    const QImage x = a.convertToFormat(QImage::Format_ARGB32);
    const QImage y = b.convertToFormat(QImage::Format_ARGB32);
    int largest = 0;
    for (int row = 0; row < x.height(); ++row) {
        const auto *p = reinterpret_cast<const QRgb *>(x.constScanLine(row));
        const auto *q = reinterpret_cast<const QRgb *>(y.constScanLine(row));
        for (int column = 0; column < x.width(); ++column) {
            largest = std::max({largest, qAbs(qRed(p[column]) - qRed(q[column])),
                                qAbs(qGreen(p[column]) - qGreen(q[column])),
                                qAbs(qBlue(p[column]) - qBlue(q[column])),
                                qAbs(qAlpha(p[column]) - qAlpha(q[column]))});
        }
    }
    return largest;
}

bool cornersTransparentCentreOpaque(const QImage &image)
{
    const int last = image.width() - 1;
    return qAlpha(image.pixel(0, 0)) == 0 && qAlpha(image.pixel(last, 0)) == 0
        && qAlpha(image.pixel(0, last)) == 0 && qAlpha(image.pixel(last, last)) == 0
        && qAlpha(image.pixel(image.width() / 2, image.height() / 2)) == 255;
}
} // namespace

class TestResources : public QObject
{
    Q_OBJECT

private slots:
    void embeddedPaths_data()
    {
        QTest::addColumn<QString>("path");
        for (const char *path :
             {":/style/tarvelo.qss", ":/icons/app-icon.png", ":/icons/app-icon.svg",
              ":/icons/spin-up.svg", ":/icons/spin-down.svg"})
            QTest::newRow(path) << QString::fromUtf8(path);
    }

    void embeddedPaths()
    {
        QFETCH(QString, path);
        QVERIFY2(QFile::exists(path), qPrintable(path + QStringLiteral(" is not embedded")));
    }

    // A broken url() in the style sheet fails silently: the arrow just is not drawn. So does a
    // missing SVG image-format plug-in.
    void styleSheetImagesLoad()
    {
        const QString sheet = styleSheet();
        QVERIFY(!sheet.isEmpty());
        QVERIFY2(QImageReader::supportedImageFormats().contains("svg"),
                 "Qt's SVG image-format plug-in is not installed");
        static const QRegularExpression urlPattern(QStringLiteral(R"(url\(\s*([^)\s]+)\s*\))"));
        int urls = 0;
        for (auto it = urlPattern.globalMatch(sheet); it.hasNext(); ++urls) {
            const QString path = it.next().captured(1);
            const QImage image(path);
            QVERIFY2(!image.isNull(), qPrintable(path + QStringLiteral(" does not load")));
            QCOMPARE(image.size(), QSize(12, 8));
        }
        QCOMPARE(urls, 2);
    }

    void styleSheetParses()
    {
        static QStringList warnings;
        warnings.clear();
        const QtMessageHandler previous = qInstallMessageHandler(
            [](QtMsgType type, const QMessageLogContext &, const QString &message) {
                if (type != QtDebugMsg && type != QtInfoMsg)
                    warnings << message;
            });
        qApp->setStyleSheet(styleSheet());
        QSpinBox spinBox;
        spinBox.ensurePolished();
        qInstallMessageHandler(previous);
        qApp->setStyleSheet(QString());
        QVERIFY2(warnings.isEmpty(), qPrintable(warnings.join(QLatin1Char('\n'))));
    }

    // End to end: under the application style sheet both chevrons are painted in the buttons.
    void spinBoxShowsArrows()
    {
        QApplication::setStyle(QStringLiteral("Fusion"));
        qApp->setStyleSheet(styleSheet());
        QSpinBox spinBox;
        spinBox.resize(160, 34);
        const QImage image = spinBox.grab().toImage().convertToFormat(QImage::Format_RGB32);
        qApp->setStyleSheet(QString());

        const qreal ratio = image.devicePixelRatio();
        // Buttons: the right-hand 22 px; the up one fills the top half, the down one the bottom.
        const auto darkPixels = [&](int top, int bottom) {
            int count = 0;
            for (int y = int(top * ratio); y < int(bottom * ratio); ++y) {
                for (int x = int((160 - 22) * ratio); x < int(159 * ratio); ++x) {
                    if (qGray(image.pixel(x, y)) < 120)
                        ++count;
                }
            }
            return count;
        };
        QVERIFY2(darkPixels(2, 16) >= 8, "no up arrow");
        QVERIFY2(darkPixels(18, 32) >= 8, "no down arrow");
    }

    void windowIcon()
    {
        QImageReader reader(QStringLiteral(":/icons/app-icon.png"));
        QCOMPARE(reader.format(), QByteArray("png"));
        const QImage icon = reader.read();
        QCOMPARE(icon.size(), QSize(256, 256));
        QVERIFY(icon.hasAlphaChannel());
        QCOMPARE(icon.depth(), 32); // 8 bits per channel, not 16
        QVERIFY(cornersTransparentCentreOpaque(icon));
        // A stale PNG after an edit of the artwork.
        const int difference = largestDifference(icon, renderArtwork(256));
        QVERIFY2(
            difference >= 0 && difference <= 12,
            qPrintable(
                QStringLiteral("app-icon.png differs from app-icon.svg by %1").arg(difference)));
    }

    void windowsIconFile()
    {
        QImageReader reader(QString::fromUtf8(TARVELO_APP_ICON_ICO), "ico");
        QCOMPARE(reader.imageCount(), 7);
        QSet<int> sizes;
        for (int i = 0; i < reader.imageCount(); ++i) {
            QVERIFY(reader.jumpToImage(i));
            const QImage image = reader.read();
            QVERIFY2(!image.isNull(), qPrintable(reader.errorString()));
            QCOMPARE(image.width(), image.height());
            QVERIFY2(cornersTransparentCentreOpaque(image),
                     qPrintable(QString::number(image.width())));
            const int difference = largestDifference(image, renderArtwork(image.width()));
            QVERIFY2(difference >= 0 && difference <= 12,
                     qPrintable(QStringLiteral("%1 px image differs from the artwork by %2")
                                    .arg(image.width())
                                    .arg(difference)));
            sizes << image.width();
        }
        QCOMPARE(sizes, (QSet<int> {16, 24, 32, 48, 64, 128, 256}));
    }
};

TARVELO_TEST_MAIN(TestResources)
#include "tst_resources.moc"
