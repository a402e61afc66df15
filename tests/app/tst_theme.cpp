// The looks the style sheet gives by dynamic property, and the spin-box arrow images, as rendered.
#include "app/theme.h"
#include "testmain.h"

#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QStyle>

namespace {
QImage rendered(QWidget &widget)
{
    widget.style()->unpolish(&widget);
    widget.style()->polish(&widget);
    widget.resize(widget.sizeHint().expandedTo(QSize(160, 0)));
    return widget.grab().toImage().convertToFormat(QImage::Format_RGB32);
}

bool near(QRgb a, QRgb b)
{
    return std::abs(qRed(a) - qRed(b)) + std::abs(qGreen(a) - qGreen(b))
        + std::abs(qBlue(a) - qBlue(b))
        <= 12;
}

bool contains(const QImage &image, const QRect &area, QRgb colour)
{
    for (int y = area.top(); y <= area.bottom(); ++y)
        for (int x = area.left(); x <= area.right(); ++x)
            if (near(image.pixel(x, y), colour))
                return true;
    return false;
}

// Rows (top to bottom) of the dark chevron pixels in a column.
QList<int> darkRows(const QImage &image, int x, int top, int bottom)
{
    QList<int> rows;
    for (int y = top; y < bottom; ++y)
        if (qGray(image.pixel(x, y)) < 128)
            rows << y;
    return rows;
}
} // namespace

class TestTheme : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { Theme::apply(*qApp); }

    void propertyLooks_data()
    {
        QTest::addColumn<QString>("objectName");
        QTest::addColumn<QByteArray>("property");
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QRgb>("background");
        QTest::addColumn<QRgb>("text");

        QTest::newRow("badge waiting") << "connectionBadge" << QByteArray("state")
                                       << QVariant("waiting") << 0xeeeef2u << 0x6e6e73u;
        QTest::newRow("badge ready") << "connectionBadge" << QByteArray("state")
                                     << QVariant("ready") << 0xe5f5ebu << 0x18794eu;
        QTest::newRow("badge error") << "connectionBadge" << QByteArray("state")
                                     << QVariant("error") << 0xfdebecu << 0xc93442u;
        QTest::newRow("badge unknown") << "connectionBadge" << QByteArray("state")
                                       << QVariant("busy") << 0xeeeef2u << 0x6e6e73u;
        QTest::newRow("recording") << "recordButton" << QByteArray("recording") << QVariant(true)
                                   << 0xe43d4cu << 0xffffffu;
        QTest::newRow("not recording") << "recordButton" << QByteArray("recording")
                                       << QVariant(false) << 0xffffffu << 0x1d1d1fu;
    }

    void propertyLooks()
    {
        QFETCH(QString, objectName);
        QFETCH(QByteArray, property);
        QFETCH(QVariant, value);
        QFETCH(QRgb, background);
        QFETCH(QRgb, text);

        // The same widget goes through the other value first, as at run time.
        std::unique_ptr<QWidget> widget;
        if (objectName == QLatin1String("recordButton"))
            widget = std::make_unique<QPushButton>(QStringLiteral("●●●"));
        else
            widget = std::make_unique<QLabel>(QStringLiteral("●●●"));
        widget->setObjectName(objectName);
        const QVariant before = value.typeId() == QMetaType::Bool ? QVariant(!value.toBool())
            : value == QVariant("ready")                          ? QVariant("error")
                                                                  : QVariant("ready");
        widget->setProperty(property, before);
        rendered(*widget);
        widget->setProperty(property, value);
        const QImage image = rendered(*widget);

        const QRgb middle = image.pixel(image.width() / 2, 3);
        QVERIFY2(near(middle, background), qPrintable(QString::number(middle & 0xffffff, 16)));
        QVERIFY(contains(image, image.rect().adjusted(8, 4, -8, -4), text));
    }

    void spinBoxArrows()
    {
        QSpinBox spinBox;
        const QImage image = rendered(spinBox);
        const int centre = image.width() - 12; // middle of the 22-pixel buttons on the right
        const int half = image.height() / 2;

        // An upward chevron is highest in its middle, a downward one lowest.
        const QList<int> upMiddle = darkRows(image, centre, 0, half);
        const QList<int> upSide = darkRows(image, centre - 3, 0, half);
        const QList<int> downMiddle = darkRows(image, centre, half, image.height());
        const QList<int> downSide = darkRows(image, centre - 3, half, image.height());
        QVERIFY(!upMiddle.isEmpty() && !upSide.isEmpty());
        QVERIFY(!downMiddle.isEmpty() && !downSide.isEmpty());
        QVERIFY(upMiddle.first() < upSide.first());
        QVERIFY(downMiddle.last() > downSide.last());
    }
};

TARVELO_TEST_MAIN(TestTheme)
#include "tst_theme.moc"
