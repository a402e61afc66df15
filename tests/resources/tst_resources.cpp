// What the style sheet loads at run time fails silently when broken: a missing arrow, a rule
// dropped with only a warning.
#include "testmain.h"

#include <QFile>
#include <QRegularExpression>
#include <QSpinBox>

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
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".")));
        qApp->setStyleSheet(sheet);
        QSpinBox().ensurePolished();
    }
};

TARVELO_TEST_MAIN(TestResources)
#include "tst_resources.moc"
