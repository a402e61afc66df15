#include "app/theme.h"
#include "mainwindowtestaccess.h"
#include "testmain.h"
#include "videopreviewwidgettestaccess.h"

#include <QStatusBar>

namespace {
// Mirror, flip and rotation as the controls show them and as the preview applies them; the tab.
QString orientation(const MainWindowTestAccess &access)
{
    VideoPreviewWidgetTestAccess preview(*access.preview());
    return QString::asprintf(
        "%d %d %d, preview %d %d %d, tab %d", access.mirrorCheckBox()->isChecked(),
        access.flipCheckBox()->isChecked(), access.rotationCombo()->currentData().toInt(),
        preview.mirrored(), preview.flippedVertically(), preview.rotation(),
        access.controlTabs()->currentIndex());
}
} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestEnvironment::clearSettings(); }

    // The focus chain follows creation order; then full screen and the side panel.
    void focusChainAndFullScreen()
    {
        const QStringList expected =
            QStringLiteral(
                "选择界面语言（重启后生效） QGraphicsView 全屏预览 收起面板 设备 画质 启动预览 "
                "刷新设备 controlTabs parameterTabs 截图 开始录像 图片文件夹 视频文件夹 "
                "导出诊断信息 左右镜像 上下翻转 画面旋转 曝光补偿 变焦 保存参数 应用参数 "
                "恢复初始设置 恢复出厂默认")
                .split(u' ');
        MainWindow window;
        QStringList chain;
        for (QWidget *widget = window.nextInFocusChain(); widget != &window;
             widget = widget->nextInFocusChain()) {
            const auto *button = qobject_cast<QAbstractButton *>(widget);
            for (const QString &name :
                 {button ? button->text() : widget->accessibleName(), widget->objectName(),
                  QString::fromLatin1(widget->metaObject()->className())}) {
                if (expected.contains(name)) {
                    chain << name;
                    break;
                }
            }
        }
        QCOMPARE(chain, expected);

        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QPushButton *panelToggle = nullptr, *fullScreen = nullptr;
        for (QPushButton *button : window.findChildren<QPushButton *>()) {
            if (button->text() == "收起面板" || button->text() == "全屏预览")
                (button->text() == "收起面板" ? panelToggle : fullScreen) = button;
        }
        const QWidgetList parts = {window.findChild<QWidget *>("headerBar"), window.statusBar(),
                                   panelToggle, window.findChild<QWidget *>("sidePanel")};
        QVERIFY(!parts.contains(nullptr) && fullScreen);
        // Full screen or not, then the parts above: + shown, - hidden.
        const auto shown = [&] {
            QString marks = window.isFullScreen() ? QStringLiteral("F") : QStringLiteral("W");
            for (const QWidget *widget : parts)
                marks += widget->isHidden() ? u'-' : u'+';
            return marks + u' ' + panelToggle->text() + u' ' + fullScreen->text();
        };

        // Escape only leaves full screen, never enters it; leaving full screen brings the side
        // panel back only if it was open before.
        const QList<std::pair<QPushButton *, QString>> steps = {
            {nullptr, "W++++ 收起面板 全屏预览"},
            {panelToggle, "W+++- 展开面板 全屏预览"},
            {fullScreen, "F---- 展开面板 退出全屏 (Esc)"},
            {nullptr, "W+++- 展开面板 全屏预览"},
            {panelToggle, "W++++ 收起面板 全屏预览"},
            {fullScreen, "F---- 收起面板 退出全屏 (Esc)"},
            {fullScreen, "W++++ 收起面板 全屏预览"}};
        for (const auto &[clicked, expected] : steps) {
            if (clicked)
                clicked->click();
            else
                QTest::keyClick(&window, Qt::Key_Escape);
            QCOMPARE(shown(), expected);
        }
    }

    void restoresSettings_data()
    {
        QTest::addColumn<QVariantMap>("stored");
        QTest::addColumn<QString>("restored");
        QTest::newRow("first run") << QVariantMap() << "0 0 0, preview 0 0 0, tab 0";
        QTest::newRow("text flag, turned, capture tab")
            << QVariantMap {{"preview/flippedVertically", "true"},
                            {"preview/rotation", 90},
                            {"ui/lastControlTab", 1}}
            << "0 1 90, preview 0 1 90, tab 1";
        QTest::newRow("odd values")
            << QVariantMap {{"preview/rotation", 45},
                            {"preview/mirrored", "maybe"},
                            {"preview/flippedVertically", QStringList {"x"}},
                            {"ui/lastControlTab", 7}}
            << "0 0 0, preview 0 0 0, tab 0";
    }

    void restoresSettings()
    {
        QFETCH(QVariantMap, stored);
        QSettings settings;
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            settings.setValue(it.key(), it.value());
        MainWindowTestAccess access;
        QTEST(orientation(access), "restored");

        // Restoring adds no key and leaves odd values as they were; a first run stores nothing.
        QCOMPARE(settings.allKeys().size(), stored.size());
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            QCOMPARE(settings.value(it.key()).toString(), it.value().toString());

        // Changed controls take effect at once and are what the next window restores.
        access.mirrorCheckBox()->setChecked(true);
        access.flipCheckBox()->setChecked(false);
        access.rotationCombo()->setCurrentIndex(3);
        access.controlTabs()->setCurrentIndex(1);
        const QString changed = QStringLiteral("1 0 270, preview 1 0 270, tab 1");
        QCOMPARE(orientation(access), changed);
        QCOMPARE(orientation(MainWindowTestAccess()), changed);
    }

    // The style sheet colours the badge anew at each change of state; last, as it styles the
    // whole application.
    void badgeColours()
    {
        Theme::apply(*qApp);
        MainWindowTestAccess access;
        QCOMPARE(access.badgeColour(0) + access.badgeColour(1) + access.badgeColour(2),
                 "#18794e#6e6e73#c93442");
    }
};

TARVELO_TEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
