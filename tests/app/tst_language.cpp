// The English catalogue against the code that looks texts up, and the choice of language at start.
#include "app/language.h"
#include "app/settingskeys.h"
#include "testmain.h"

#include <QComboBox>
#include <QDirIterator>
#include <QMessageBox>
#include <QRegularExpression>
#include <QTimer>
#include <QTranslator>

#ifndef TARVELO_SOURCE_DIR
#error "TARVELO_SOURCE_DIR must name the src folder"
#endif

namespace {
// Looked up, but shown in Chinese in both languages.
const QStringList untranslated =
    QStringLiteral(
        "正在准备：%1|正在启动：%1|正在使用兼容格式重试：%1|●  等待画面|USB "
        "摄像头已断开，等待重新连接…|●  等待重连|尚未收到画面，正在重新建立摄像头连接（%1/2）…|●  "
        "正在重试|USB 摄像头没有返回画面，请重新插拔后再试。|●  无视频画面")
        .split(u'|');

// Every literal the sources hand to tr, QCoreApplication::translate or QT_TRANSLATE_NOOP; the
// context, when given, is captured as well so that a wrong one fails.
QStringList lookedUpTexts()
{
    static const QRegularExpression call(QStringLiteral(
        R"(\b(?:tr|translate|QT_TRANSLATE_NOOP)\(\s*(?:("[^"]*")\s*,\s*)?"([^"]*)\")"));
    QStringList texts;
    QDirIterator files(QStringLiteral(TARVELO_SOURCE_DIR), {"*.cpp", "*.h"}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        QFile file(files.next());
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QString source = QString::fromUtf8(file.readAll());
        for (auto it = call.globalMatch(source); it.hasNext();) {
            const QRegularExpressionMatch match = it.next();
            const QString context = match.captured(1);
            texts << (context.isEmpty() || context == QLatin1String("\"MainWindow\"")
                          ? match.captured(2)
                          : context + QLatin1Char(' ') + match.captured(2));
        }
    }
    texts.removeDuplicates();
    return texts;
}
} // namespace

class TestLanguage : public QObject
{
    Q_OBJECT

private slots:
    void catalogueCoversTheCode()
    {
        QTranslator catalogue;
        QVERIFY(catalogue.load(QStringLiteral(":/i18n/tarvelo_en.qm")));
        QCOMPARE(catalogue.language(), QStringLiteral("en_US"));

        const QStringList texts = lookedUpTexts();
        QVERIFY2(texts.size() > 100, qPrintable(QString::number(texts.size())));
        QStringList missing, unwanted;
        for (const QString &text : texts) {
            const bool hasEntry = !catalogue.translate("MainWindow", text.toUtf8()).isEmpty();
            if (hasEntry == untranslated.contains(text))
                (hasEntry ? unwanted : missing) << text;
        }
        QVERIFY2(missing.isEmpty(),
                 qPrintable(QStringLiteral("no English for: ") + missing.join(" | ")));
        QVERIFY2(
            unwanted.isEmpty(),
            qPrintable(QStringLiteral("translated but should not be: ") + unwanted.join(" | ")));
    }

    void startUpAndSelector_data()
    {
        QTest::addColumn<QVariant>("stored"); // invalid: nothing stored
        QTest::addColumn<bool>("chineseSystem");
        QTest::addColumn<bool>("english");
        QTest::addColumn<int>("selected");

        const QVariant values[] = {QVariant(), "system", "zh_CN", "en_US", "System", "EN_US", "fr"};
        // Whether the interface is English on a Chinese and on another system, and the item shown.
        const bool onChinese[] = {false, false, false, true, false, false, false};
        const bool onOther[] = {true, true, false, true, false, false, false};
        const int selected[] = {0, 0, 1, 2, 0, 0, 0};
        for (int i = 0; i < 7; ++i) {
            const QString name =
                values[i].isValid() ? values[i].toString() : QStringLiteral("none");
            QTest::addRow("%s, Chinese system", qPrintable(name))
                << values[i] << true << onChinese[i] << selected[i];
            QTest::addRow("%s, other system", qPrintable(name))
                << values[i] << false << onOther[i] << selected[i];
        }
    }

    void startUpAndSelector()
    {
        QFETCH(QVariant, stored);
        QFETCH(bool, chineseSystem);
        QFETCH(bool, english);
        QFETCH(int, selected);
        TestEnvironment::clearSettings();
        if (stored.isValid())
            QSettings().setValue(SettingsKeys::language(), stored);

        QTranslator translator;
        Language::installCatalogue(
            *qApp, translator,
            Language::resolveStored(chineseSystem ? QLocale::Chinese : QLocale::German));
        const QString shown = QCoreApplication::translate("MainWindow", "跟随系统");
        QCoreApplication::removeTranslator(&translator);
        QCOMPARE(shown, english ? QStringLiteral("System Default") : QStringLiteral("跟随系统"));

        QWidget window;
        QComboBox combo(&window);
        Language::fillSelector(&combo);
        QCOMPARE(combo.currentIndex(), selected);

        // Picking what is stored writes nothing and says nothing; anything else is stored and
        // announced. An unknown stored value shows item 0, which then counts as a change.
        int boxes = 0; // each one closed as it opens
        QTimer closer;
        QObject::connect(&closer, &QTimer::timeout, [&boxes] {
            if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget()))
                ++boxes, box->accept();
        });
        closer.start(20);
        const bool same = combo.currentData().toString()
            == (stored.isValid() ? stored.toString() : QStringLiteral("system"));
        Language::selectLanguage(&window, &combo, combo.currentIndex());
        QCOMPARE(boxes, same ? 0 : 1);
        QCOMPARE(QSettings().value(SettingsKeys::language()), same ? stored : combo.currentData());
    }
};

TARVELO_TEST_MAIN(TestLanguage)
#include "tst_language.moc"
