// What the style sheet and the window icon load at run time fails silently when broken: a missing
// arrow, a blank icon. The Windows icon file is only linked on Windows, so it is read here.
#include "testmain.h"

#include <QFile>
#include <QImageReader>
#include <QPainter>
#include <QRegularExpression>
#include <QSpinBox>
#include <QSvgRenderer>

#include <algorithm>

#ifndef TARVELO_APP_ICON_ICO
#error "TARVELO_APP_ICON_ICO must name the rendered app-icon.ico"
#endif

namespace {
// No channel of any pixel more than a little off the artwork rendered at the same size: catches an
// icon left stale after an edit of the SVG, and lost transparency.
void checkAgainstArtwork(const QImage &icon)
{
    const int size = icon.width();
    QCOMPARE(icon.height(), size);
    const QImage image = icon.convertToFormat(QImage::Format_ARGB32);
    QImage artwork(size, size, QImage::Format_ARGB32_Premultiplied);
    artwork.fill(Qt::transparent);
    QPainter painter(&artwork);
    painter.setRenderHint(QPainter::Antialiasing);
    QSvgRenderer(QStringLiteral(":/icons/app-icon.svg")).render(&painter, QRectF(0, 0, size, size));
    painter.end();
    artwork = artwork.convertToFormat(QImage::Format_ARGB32);
    int largest = 0;
    for (int i = 0; i < size * size * 4; ++i) // every channel of every pixel
        largest = std::max(largest, std::abs(image.constBits()[i] - artwork.constBits()[i]));
    QVERIFY2(largest <= 12,
             qPrintable(QStringLiteral("%1 px icon is %2 off the artwork").arg(size).arg(largest)));
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

    void iconsMatchArtwork()
    {
        const QImage icon(":/icons/app-icon.png", "png");
        QCOMPARE(icon.size(), QSize(256, 256));
        QCOMPARE(icon.depth(), 32); // 8 bits per channel, not 16
        checkAgainstArtwork(icon);
        if (QTest::currentTestFailed())
            return;

        QImageReader ico(TARVELO_APP_ICON_ICO, "ico");
        QList<int> sizes;
        for (int i = 0; i < ico.imageCount() && !QTest::currentTestFailed(); ++i) {
            QVERIFY(ico.jumpToImage(i));
            const QImage image = ico.read();
            QVERIFY2(!image.isNull(), qPrintable(ico.errorString()));
            checkAgainstArtwork(image);
            sizes << image.width();
        }
        std::sort(sizes.begin(), sizes.end());
        QCOMPARE(sizes, (QList<int> {16, 24, 32, 48, 64, 128, 256}));
    }
};

TARVELO_TEST_MAIN(TestResources)
#include "tst_resources.moc"
