// What the style sheet and the window icon load at run time fails silently when broken: a missing
// arrow, a blank icon. The Windows icon file is only linked on Windows, so it is read here.
#include "testmain.h"

#include <QFile>
#include <QImageReader>
#include <QPainter>
#include <QRegularExpression>
#include <QSpinBox>
#include <QSvgRenderer>

namespace {
// "size depth", and how far the farthest channel of any pixel is off the artwork rendered at the
// same size when more than a little: catches an icon left stale after an edit of the SVG, and lost
// transparency.
QString look(const QImage &icon)
{
    const int size = icon.width();
    QImage artwork(size, icon.height(), QImage::Format_ARGB32_Premultiplied);
    artwork.fill(Qt::transparent);
    QPainter painter(&artwork);
    painter.setRenderHint(QPainter::Antialiasing);
    QSvgRenderer(QStringLiteral(":/icons/app-icon.svg")).render(&painter, QRectF(0, 0, size, size));
    painter.end();
    artwork = artwork.convertToFormat(QImage::Format_ARGB32);
    const QImage image = icon.convertToFormat(QImage::Format_ARGB32);
    int largest = 0;
    for (int i = 0; i < artwork.sizeInBytes(); ++i)
        largest = std::max(largest, std::abs(image.constBits()[i] - artwork.constBits()[i]));
    return QStringLiteral("%1x%2 %3").arg(size).arg(icon.height()).arg(icon.depth())
        + (largest > 12 ? QStringLiteral(" off by %1").arg(largest) : QString());
}
} // namespace

class TestResources : public QObject
{
    Q_OBJECT

private slots:
    void styleSheet()
    {
        QFile file(QStringLiteral(":/style/tarvelo.qss"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString sheet = QString::fromUtf8(file.readAll());
        static const QRegularExpression url(QStringLiteral(R"(url\(\s*([^)\s]+)\s*\))"));
        for (auto it = url.globalMatch(sheet); it.hasNext();) {
            const QString path = it.next().captured(1);
            // Null also without Qt's SVG image-format plug-in.
            QVERIFY2(!QImage(path).isNull(), qPrintable(path + QStringLiteral(" does not load")));
        }
        // Qt reports a rule it cannot parse only as a warning, when a widget is polished.
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
        qApp->setStyleSheet(sheet);
        QSpinBox().ensurePolished();
    }

    // The PNG first, 8 bits per channel; then the .ico's images, smallest first.
    void iconsMatchArtwork()
    {
        QStringList looks {look(QImage(":/icons/app-icon.png", "png"))};
        QImageReader ico(TARVELO_APP_ICON_ICO, "ico");
        QMap<int, QString> images;
        for (int i = 0; i < ico.imageCount() && ico.jumpToImage(i); ++i) {
            const QImage image = ico.read();
            images.insert(image.width(), image.isNull() ? ico.errorString() : look(image));
        }
        looks << images.values();
        QCOMPARE(looks,
                 QStringList({"256x256 32", "16x16 32", "24x24 32", "32x32 32", "48x48 32",
                              "64x64 32", "128x128 32", "256x256 32"}));
    }
};

TARVELO_TEST_MAIN(TestResources)
#include "tst_resources.moc"
