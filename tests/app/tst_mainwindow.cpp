#include "app/mainwindow.h"
#include "app/settingskeys.h"
#include "mainwindowtestaccess.h"
#include "session/camerapermission.h"
#include "testmain.h"
#include "videopreviewwidgettestaccess.h"

#include <QSettings>
#include <QStatusBar>

namespace {
QPushButton *button(QWidget &window, const QString &text)
{
    const auto buttons = window.findChildren<QPushButton *>();
    const auto found = std::find_if(buttons.cbegin(), buttons.cend(), [&](QPushButton *candidate) {
        return candidate->text() == text;
    });
    return found == buttons.cend() ? nullptr : *found;
}

void compareOrientation(MainWindowTestAccess &access, bool mirrored, bool flipped, int rotation)
{
    VideoPreviewWidgetTestAccess preview(*access.preview());
    QCOMPARE(access.mirrorCheckBox()->isChecked(), mirrored);
    QCOMPARE(access.flipCheckBox()->isChecked(), flipped);
    QCOMPARE(access.rotationCombo()->currentData().toInt(), rotation);
    QCOMPARE(preview.mirrored(), mirrored);
    QCOMPARE(preview.flippedVertically(), flipped);
    QCOMPARE(preview.rotation(), rotation);
}
} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestEnvironment::clearSettings(); }

    void linuxGrantsCameraPermission()
    {
        // Linux has no camera-permission service: Qt 6.5 on grants through its own API, older Qt
        // through the fallback. Either way the window goes straight to its device list.
        QCOMPARE(CameraPermission::check(), CameraPermission::Status::Granted);
        QObject context;
        auto answer = CameraPermission::Status::Undetermined;
        CameraPermission::request(&context,
                                  [&answer](CameraPermission::Status status) { answer = status; });
        QTRY_COMPARE(answer, CameraPermission::Status::Granted);
    }

    void focusChainFollowsCreationOrder()
    {
        // Widgets by their text, accessible name, object name or class.
        const QStringList expected =
            QStringLiteral(
                "选择界面语言（重启后生效） QGraphicsView 全屏预览 收起面板 设备 画质 启动预览 "
                "刷新设备 controlTabs parameterTabs 截图 开始录像 图片文件夹 视频文件夹 "
                "导出诊断信息 左右镜像 上下翻转 画面旋转 曝光补偿 变焦 保存参数 应用参数 "
                "恢复初始设置")
                .split(QLatin1Char(' '));
        MainWindow window;
        QStringList chain;
        for (QWidget *widget = window.nextInFocusChain(); widget != &window;
             widget = widget->nextInFocusChain()) {
            const auto *button = qobject_cast<QAbstractButton *>(widget);
            QString name = button ? button->text() : widget->accessibleName();
            if (!expected.contains(name))
                name = widget->objectName();
            if (!expected.contains(name))
                name = QString::fromLatin1(widget->metaObject()->className());
            if (expected.contains(name))
                chain << name;
        }
        QCOMPARE(chain, expected);
    }

    void readFlag_data()
    {
        QTest::addColumn<QVariant>("stored");
        QTest::addColumn<bool>("expected");
        // Any case of true or false, or a number (a registry DWORD), non-zero being true.
        QTest::newRow("TRUE") << QVariant(QStringLiteral("TRUE")) << true;
        QTest::newRow("false") << QVariant(QStringLiteral("false")) << false;
        QTest::newRow("1") << QVariant(1) << true;
        QTest::newRow("0") << QVariant(0) << false;
        QTest::newRow("-2") << QVariant(-2) << true;
    }

    void readFlag()
    {
        QFETCH(QVariant, stored);
        QFETCH(bool, expected);
        QSettings().setValue(SettingsKeys::mirrored(), stored);
        QCOMPARE(::readFlag(QSettings(), SettingsKeys::mirrored()), expected);
    }

    void restoresSettings_data()
    {
        QTest::addColumn<QVariantMap>("stored");
        QTest::addColumn<bool>("mirrored");
        QTest::addColumn<bool>("flipped");
        QTest::addColumn<int>("rotation");
        QTest::addColumn<int>("tab");

        QTest::newRow("first run") << QVariantMap() << false << false << 0 << 0;
        QTest::newRow("text flag, turned, capture tab")
            << QVariantMap {{"preview/flippedVertically", "true"},
                            {"preview/rotation", 90},
                            {"ui/lastControlTab", 1}}
            << false << true << 90 << 1;
        QTest::newRow("odd values")
            << QVariantMap {{"preview/rotation", 45},
                            {"preview/mirrored", "maybe"},
                            {"preview/flippedVertically", QStringList {"x"}},
                            {"ui/lastControlTab", 7}}
            << false << false << 0 << 0;
    }

    void restoresSettings()
    {
        QFETCH(QVariantMap, stored);
        QFETCH(bool, mirrored);
        QFETCH(bool, flipped);
        QFETCH(int, rotation);
        QFETCH(int, tab);

        QSettings settings;
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            settings.setValue(it.key(), it.value());
        MainWindow window;
        MainWindowTestAccess access(window);
        compareOrientation(access, mirrored, flipped, rotation);
        QCOMPARE(access.controlTabs()->currentIndex(), tab);

        // Restoring adds no key and leaves odd values as they were; a first run stores nothing.
        QCOMPARE(settings.allKeys().size(), stored.size());
        for (auto it = stored.cbegin(); it != stored.cend(); ++it)
            QCOMPARE(settings.value(it.key()).toString(), it.value().toString());

        // Changed controls take effect at once and are what the next window restores.
        access.mirrorCheckBox()->toggle();
        access.flipCheckBox()->toggle();
        access.rotationCombo()->setCurrentIndex(3);
        access.controlTabs()->setCurrentIndex(1 - tab);
        compareOrientation(access, !mirrored, !flipped, 270);
        MainWindow next;
        MainWindowTestAccess restored(next);
        compareOrientation(restored, !mirrored, !flipped, 270);
        QCOMPARE(restored.controlTabs()->currentIndex(), 1 - tab);
    }

    void fullScreenAndSidePanel()
    {
        MainWindow window;
        window.show();
        window.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QPushButton *panelToggle = button(window, QStringLiteral("收起面板"));
        QPushButton *fullScreen = button(window, QStringLiteral("全屏预览"));
        const QWidgetList parts = {window.findChild<QWidget *>(QStringLiteral("headerBar")),
                                   window.statusBar(), panelToggle,
                                   window.findChild<QWidget *>(QStringLiteral("sidePanel"))};
        QVERIFY(!parts.contains(nullptr) && fullScreen);
        // Full screen or not, then the parts above: + shown, - hidden.
        const auto shown = [&] {
            QString marks = window.isFullScreen() ? QStringLiteral("F") : QStringLiteral("W");
            for (const QWidget *widget : parts)
                marks += widget->isHidden() ? QLatin1Char('-') : QLatin1Char('+');
            return marks + QLatin1Char(' ') + panelToggle->text() + QLatin1Char(' ')
                + fullScreen->text();
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
};

TARVELO_TEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
