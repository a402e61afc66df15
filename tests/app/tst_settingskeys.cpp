#include "app/settingskeys.h"
#include "testmain.h"

class TestSettingsKeys : public QObject
{
    Q_OBJECT

private slots:
    void readFlag_data()
    {
        QTest::addColumn<QVariant>("stored"); // invalid: nothing stored
        QTest::addColumn<bool>("expected");

        QTest::newRow("missing") << QVariant() << false;
        QTest::newRow("bool true") << QVariant(true) << true;
        QTest::newRow("text TRUE") << QVariant(QStringLiteral("TRUE")) << true;
        QTest::newRow("text false") << QVariant(QStringLiteral("false")) << false;
        QTest::newRow("DWORD 1") << QVariant(1) << true;
        QTest::newRow("integer 0") << QVariant(0) << false;
        QTest::newRow("integer -2") << QVariant(-2) << true;
        QTest::newRow("text 1") << QVariant(QStringLiteral("1")) << true;
        QTest::newRow("text 0") << QVariant(QStringLiteral("0")) << false;
        QTest::newRow("text yes") << QVariant(QStringLiteral("yes")) << false;
        QTest::newRow("list") << QVariant(QStringList {QStringLiteral("1"), QStringLiteral("0")})
                              << false;
    }

    void readFlag()
    {
        QFETCH(QVariant, stored);
        QFETCH(bool, expected);
        const QString key = SettingsKeys::mirrored();
        {
            QSettings settings;
            settings.remove(key);
            if (stored.isValid())
                settings.setValue(key, stored);
        }
        // Read back through a fresh store, as the window does, so the value went through the file.
        QSettings settings;
        QCOMPARE(::readFlag(settings, key), expected);
    }
};

TARVELO_TEST_MAIN(TestSettingsKeys)
#include "tst_settingskeys.moc"
