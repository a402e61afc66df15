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

namespace {
// Looked up, but shown in Chinese in both languages.
const QStringList untranslated =
    QStringLiteral(
        "正在准备：%1|正在启动：%1|正在使用兼容格式重试：%1|●  等待画面|USB "
        "摄像头已断开，等待重新连接…|●  等待重连|尚未收到画面，正在重新建立摄像头连接（%1/2）…|●  "
        "正在重试|USB 摄像头没有返回画面，请重新插拔后再试。|●  无视频画面")
        .split(u'|');

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

        // Every literal the sources hand to tr, QCoreApplication::translate or QT_TRANSLATE_NOOP;
        // the context, when given, is kept so that a wrong one fails.
        static const QRegularExpression call(QStringLiteral(
            "\\b(?:tr|translate|QT_TRANSLATE_NOOP)\\(\\s*(?:(\"[^\"]*\")\\s*,\\s*)?\"([^\"]*)\""));
        QStringList texts;
        QDirIterator files(QStringLiteral(TARVELO_SOURCE_DIR), {"*.cpp", "*.h"}, QDir::Files,
                           QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            QVERIFY(file.open(QIODevice::ReadOnly));
            for (const auto &match : call.globalMatch(QString::fromUtf8(file.readAll()))) {
                const QString context = match.captured(1);
                texts << (context.isEmpty() || context == "\"MainWindow\"" ? "" : context + ' ')
                        + match.captured(2);
            }
        }
        texts.removeDuplicates();
        QVERIFY2(texts.size() > 100, qPrintable(QString::number(texts.size())));
        QStringList wrong; // looked up without English, or with English that should not be
        for (const QString &text : texts) {
            const bool hasEntry = !catalogue.translate("MainWindow", text.toUtf8()).isEmpty();
            if (hasEntry == untranslated.contains(text))
                wrong << (hasEntry ? "translated: " : "no English: ") + text;
        }
        QCOMPARE(wrong, QStringList());
    }

    // The interface's language at start, the item the selector shows, and what picking it does:
    // picking what is stored writes nothing and says nothing, anything else is stored and
    // announced. An unknown stored value shows item 0, which then counts as a change.
    void startUpAndSelector()
    {
        int boxes = 0; // each one closed as it opens
        QTimer closer;
        QObject::connect(&closer, &QTimer::timeout, [&boxes] {
            if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget()))
                ++boxes, box->accept();
        });
        closer.start(20);
        // Stored (invalid: nothing), English on a Chinese and on another system, the item shown.
        const QList<std::tuple<QVariant, bool, bool, int>> cases = {
            {QVariant(), false, true, 0}, {"system", false, true, 0},  {"zh_CN", false, false, 1},
            {"en_US", true, true, 2},     {"System", false, false, 0}, {"EN_US", false, false, 0},
            {"fr", false, false, 0}};
        for (const auto &[stored, onChinese, onOther, selected] : cases) {
            for (const bool chinese : {true, false}) {
                TestEnvironment::clearSettings();
                if (stored.isValid())
                    QSettings().setValue(SettingsKeys::language(), stored);
                QTranslator translator;
                Language::installCatalogue(
                    *qApp, translator,
                    Language::resolveStored(chinese ? QLocale::Chinese : QLocale::German));
                const QString shown = QCoreApplication::translate("MainWindow", "跟随系统");
                QCoreApplication::removeTranslator(&translator);

                QWidget window;
                QComboBox combo(&window);
                Language::fillSelector(&combo);
                const int index = combo.currentIndex();
                const bool same = combo.currentData() == (stored.isValid() ? stored : "system");
                boxes = 0;
                Language::selectLanguage(&window, &combo, index);
                QCOMPARE(std::tuple(stored, chinese, shown, index, boxes,
                                    QSettings().value(SettingsKeys::language())),
                         std::tuple(stored, chinese,
                                    QString((chinese ? onChinese : onOther) ? "System Default"
                                                                            : "跟随系统"),
                                    selected, same ? 0 : 1, same ? stored : combo.currentData()));
            }
        }
    }
};

TARVELO_TEST_MAIN(TestLanguage)
#include "tst_language.moc"
