#include "app/buildinfo.h"
#include "app/mainwindow.h"
#include "mainwindowtestaccess.h"
#include "testmain.h"
#include "videopreviewwidgettestaccess.h"

#include <QFrame>
#include <QGraphicsView>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QRegularExpression>
#include <QSettings>
#include <QStatusBar>

namespace {
QPushButton *buttonWithText(QWidget &window, const QString &text)
{
    const auto buttons = window.findChildren<QPushButton *>();
    for (QPushButton *button : buttons) {
        if (button->text() == text)
            return button;
    }
    return nullptr;
}

QVariant storedValue(const QString &key)
{
    QSettings settings;
    return settings.value(key);
}

void store(const QVariantMap &values)
{
    TestEnvironment::clearSettings();
    QSettings settings;
    for (auto it = values.cbegin(); it != values.cend(); ++it)
        settings.setValue(it.key(), it.value());
}
} // namespace

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void init() { TestEnvironment::clearSettings(); }

    void titleAndVersion();
    void initialStateWithoutCamera();
    void focusChainFollowsCreationOrder();
    void restoresSettings_data();
    void restoresSettings();
    void orientationHandlersApplyAndStore();
    void clearLayoutRemovesNestedContent();
    void fullScreenAndSidePanel();
};

void TestMainWindow::titleAndVersion()
{
    QVERIFY(QRegularExpression(QStringLiteral("^[0-9a-f]{40}$"))
                .match(BuildInfo::buildId())
                .hasMatch());
    MainWindow window;
    const QString shortId = BuildInfo::buildId().left(7);
    QCOMPARE(window.windowTitle(), QStringLiteral("Tarvelo v0.9.4 (%1)").arg(shortId));
    QCOMPARE(window.size(), QSize(1180, 720));
    auto *versionLabel = window.statusBar()->findChild<QLabel *>();
    QVERIFY(versionLabel);
    QCOMPARE(versionLabel->text(), QStringLiteral("版本 v0.9.4 · %1").arg(shortId));
}

void TestMainWindow::initialStateWithoutCamera()
{
    MainWindow window;
    MainWindowTestAccess access(window);

    // No camera on a test machine: the constructor's discovery leaves the no-camera state.
    QCOMPARE(access.badgeText(), QStringLiteral("●  未连接"));
    QCOMPARE(access.badgeState(), QStringLiteral("error"));
    QCOMPARE(access.status(), QStringLiteral("未检测到摄像头，请连接 USB 摄像头后刷新。"));
    QVERIFY(access.sessionGeneration() > 0);
    QCOMPARE(access.deviceCombo()->count(), 0);
    QVERIFY(!access.deviceCombo()->isEnabled());
    QCOMPARE(access.formatCombo()->count(), 0);
    QVERIFY(!access.formatCombo()->isEnabled());
    QVERIFY(!access.primaryButton()->isEnabled());
    QVERIFY(!access.snapshotButton()->isEnabled());
    QVERIFY(!access.recordButton()->isEnabled());
    QVERIFY(!access.presetButtonsRow()->isEnabled());
    QVERIFY(!access.camera());
    QCOMPARE(access.colorExposureLayout()->count(), 0);
    QCOMPARE(access.lensControlsLayout()->count(), 0);

    QCOMPARE(access.primaryButton()->text(), QStringLiteral("启动预览"));
    QCOMPARE(access.recordButton()->text(), QStringLiteral("开始录像"));
    QCOMPARE(access.recordingStatus()->text(), QStringLiteral("未在录像"));
    QCOMPARE(access.exposureCompValueLabel()->text(), QStringLiteral("--"));
    QCOMPARE(access.zoomValueLabel()->text(), QStringLiteral("--"));
    QVERIFY(!access.exposureCompSlider()->isEnabled());
    QVERIFY(!access.zoomSlider()->isEnabled());
    QVERIFY(access.exposureCompSlider()->parentWidget()->isHidden());
    QVERIFY(access.zoomSlider()->parentWidget()->isHidden());

    auto *sidePanel = window.findChild<QFrame *>(QStringLiteral("sidePanel"));
    QVERIFY(sidePanel);
    QCOMPARE(sidePanel->minimumWidth(), 320);
    QCOMPARE(sidePanel->maximumWidth(), 390);
    for (const char *name :
         {"appRoot", "headerBar", "appTitle", "appSubtitle", "connectionBadge", "primaryButton",
          "recordButton", "statusCard", "recordingStatus", "controlTabs", "parameterTabs"}) {
        QVERIFY2(window.findChild<QWidget *>(QString::fromLatin1(name)), name);
    }
    QCOMPARE(access.controlTabs()->tabText(0), QStringLiteral("参数设置"));
    QCOMPARE(access.controlTabs()->tabText(1), QStringLiteral("拍摄与画面"));
    auto *parameterTabs = window.findChild<QTabWidget *>(QStringLiteral("parameterTabs"));
    QCOMPARE(parameterTabs->tabText(0), QStringLiteral("曝光与色彩"));
    QCOMPARE(parameterTabs->tabText(1), QStringLiteral("对焦与变焦"));

    // Selectors and sliders have no text of their own; screen readers get their label's.
    QCOMPARE(access.deviceCombo()->accessibleName(), QStringLiteral("设备"));
    QCOMPARE(access.formatCombo()->accessibleName(), QStringLiteral("画质"));
    QCOMPARE(access.rotationCombo()->accessibleName(), QStringLiteral("画面旋转"));
    QCOMPARE(access.exposureCompSlider()->accessibleName(), QStringLiteral("曝光补偿"));
    QCOMPARE(access.zoomSlider()->accessibleName(), QStringLiteral("变焦"));

    // A first run writes no orientation or tab setting.
    QSettings settings;
    for (const char *key : {"preview/mirrored", "preview/flippedVertically", "preview/rotation",
                            "ui/lastControlTab", "ui/language", "device/lastId"})
        QVERIFY2(!settings.contains(QString::fromLatin1(key)), key);
}

void TestMainWindow::focusChainFollowsCreationOrder()
{
    MainWindow window;
    MainWindowTestAccess access(window);
    auto *preview = VideoPreviewWidgetTestAccess(*access.preview()).view();
    auto *languageCombo =
        window.findChild<QWidget *>(QStringLiteral("headerBar"))->findChild<QComboBox *>();
    const QList<QWidget *> expected = {
        languageCombo,
        preview,
        buttonWithText(window, QStringLiteral("全屏预览")),
        buttonWithText(window, QStringLiteral("收起面板")),
        access.deviceCombo(),
        access.formatCombo(),
        access.primaryButton(),
        buttonWithText(window, QStringLiteral("刷新设备")),
        access.controlTabs(),
        window.findChild<QTabWidget *>(QStringLiteral("parameterTabs")),
        access.snapshotButton(),
        access.recordButton(),
        buttonWithText(window, QStringLiteral("图片文件夹")),
        buttonWithText(window, QStringLiteral("视频文件夹")),
        buttonWithText(window, QStringLiteral("导出诊断信息")),
        access.mirrorCheckBox(),
        access.flipCheckBox(),
        access.rotationCombo(),
        access.exposureCompSlider(),
        access.zoomSlider(),
        buttonWithText(window, QStringLiteral("保存参数")),
        buttonWithText(window, QStringLiteral("应用参数")),
        buttonWithText(window, QStringLiteral("恢复初始设置")),
    };
    QVERIFY(!expected.contains(nullptr));

    QList<QWidget *> chain;
    QWidget *widget = &window;
    do {
        if (expected.contains(widget))
            chain.append(widget);
        widget = widget->nextInFocusChain();
    } while (widget != &window);
    QCOMPARE(chain, expected);
}

void TestMainWindow::restoresSettings_data()
{
    QTest::addColumn<QVariantMap>("stored");
    QTest::addColumn<bool>("mirrored");
    QTest::addColumn<bool>("flipped");
    QTest::addColumn<int>("rotationIndex");
    QTest::addColumn<int>("tab");
    QTest::addColumn<QVariantMap>("storedAfterwards");

    QTest::newRow("turned and mirrored")
        << QVariantMap {{"preview/rotation", 180}, {"preview/mirrored", true}} << true << false << 2
        << 0 << QVariantMap {{"preview/rotation", 180}, {"preview/mirrored", true}};
    QTest::newRow("flipped on the capture tab")
        << QVariantMap {{"preview/flippedVertically", true}, {"ui/lastControlTab", 1}} << false
        << true << 0 << 1 << QVariantMap {{"ui/lastControlTab", 1}};
    QTest::newRow("rotation no item carries")
        << QVariantMap {{"preview/rotation", 45}} << false << false << 0 << 0
        << QVariantMap {{"preview/rotation", 45}};
    QTest::newRow("wrong types") << QVariantMap {{"preview/rotation", "abc"},
                                                 {"preview/mirrored", "maybe"},
                                                 {"preview/flippedVertically",
                                                  QStringList {"x", "y"}},
                                                 {"ui/lastControlTab", 7},
                                                 {"ui/language", "EN_US"}}
                                 << false << false << 0 << 0
                                 << QVariantMap {{"ui/lastControlTab", 7},
                                                 {"ui/language", "EN_US"}};
    QTest::newRow("negative tab") << QVariantMap {{"ui/lastControlTab", -1}} << false << false << 0
                                  << 0 << QVariantMap {{"ui/lastControlTab", -1}};
}

void TestMainWindow::restoresSettings()
{
    QFETCH(QVariantMap, stored);
    QFETCH(bool, mirrored);
    QFETCH(bool, flipped);
    QFETCH(int, rotationIndex);
    QFETCH(int, tab);
    QFETCH(QVariantMap, storedAfterwards);

    store(stored);
    MainWindow window;
    MainWindowTestAccess access(window);
    VideoPreviewWidgetTestAccess preview(*access.preview());

    QCOMPARE(access.mirrorCheckBox()->isChecked(), mirrored);
    QCOMPARE(access.flipCheckBox()->isChecked(), flipped);
    QCOMPARE(access.rotationCombo()->currentIndex(), rotationIndex);
    QCOMPARE(access.controlTabs()->currentIndex(), tab);
    // The preview received the restored orientation before any camera opened.
    QCOMPARE(preview.mirrored(), mirrored);
    QCOMPARE(preview.flippedVertically(), flipped);
    QCOMPARE(preview.rotation(), rotationIndex * 90);

    for (auto it = storedAfterwards.cbegin(); it != storedAfterwards.cend(); ++it)
        QCOMPARE(storedValue(it.key()).toString(), it.value().toString());

    auto *languageCombo =
        window.findChild<QWidget *>(QStringLiteral("headerBar"))->findChild<QComboBox *>();
    if (stored.value(QStringLiteral("ui/language")) == QStringLiteral("EN_US"))
        QCOMPARE(languageCombo->currentIndex(), 0);
}

void TestMainWindow::orientationHandlersApplyAndStore()
{
    MainWindow window;
    MainWindowTestAccess access(window);
    VideoPreviewWidgetTestAccess preview(*access.preview());

    access.mirrorCheckBox()->setChecked(true);
    access.flipCheckBox()->setChecked(true);
    access.rotationCombo()->setCurrentIndex(1);
    access.controlTabs()->setCurrentIndex(1);

    QVERIFY(preview.mirrored());
    QVERIFY(preview.flippedVertically());
    QCOMPARE(preview.rotation(), 90);
    QCOMPARE(storedValue(QStringLiteral("preview/mirrored")).toBool(), true);
    QCOMPARE(storedValue(QStringLiteral("preview/flippedVertically")).toBool(), true);
    QCOMPARE(storedValue(QStringLiteral("preview/rotation")).toInt(), 90);
    QCOMPARE(storedValue(QStringLiteral("ui/lastControlTab")).toInt(), 1);

    access.mirrorCheckBox()->setChecked(false);
    access.rotationCombo()->setCurrentIndex(3);
    QVERIFY(!preview.mirrored());
    QCOMPARE(storedValue(QStringLiteral("preview/mirrored")).toBool(), false);
    QCOMPARE(storedValue(QStringLiteral("preview/rotation")).toInt(), 270);
}

void TestMainWindow::clearLayoutRemovesNestedContent()
{
    QWidget host;
    auto *outer = new QVBoxLayout(&host);
    QPointer<QLabel> first = new QLabel(QStringLiteral("a"));
    outer->addWidget(first);
    auto *nested = new QHBoxLayout;
    QPointer<QLabel> second = new QLabel(QStringLiteral("b"));
    QPointer<QLabel> third = new QLabel(QStringLiteral("c"));
    nested->addWidget(second);
    nested->addWidget(third);
    outer->addLayout(nested);
    QPointer<QObject> nestedGuard = nested;

    MainWindowTestAccess::clearLayout(outer);

    QCOMPARE(outer->count(), 0);
    QVERIFY(!first && !second && !third);
    QVERIFY(!nestedGuard);
}

void TestMainWindow::fullScreenAndSidePanel()
{
    MainWindow window;
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    window.activateWindow();
    QVERIFY(QTest::qWaitForWindowActive(&window));

    auto *sidePanel = window.findChild<QFrame *>(QStringLiteral("sidePanel"));
    auto *headerBar = window.findChild<QFrame *>(QStringLiteral("headerBar"));
    QPushButton *panelToggle = buttonWithText(window, QStringLiteral("收起面板"));
    QPushButton *fullscreen = buttonWithText(window, QStringLiteral("全屏预览"));
    QVERIFY(sidePanel && headerBar && panelToggle && fullscreen);

    // Escape outside full screen does nothing.
    QTest::keyClick(&window, Qt::Key_Escape);
    QVERIFY(!window.isFullScreen());
    QVERIFY(!sidePanel->isHidden());

    panelToggle->click();
    QVERIFY(sidePanel->isHidden());
    QCOMPARE(panelToggle->text(), QStringLiteral("展开面板"));

    fullscreen->click();
    QVERIFY(window.isFullScreen());
    QVERIFY(headerBar->isHidden());
    QVERIFY(window.statusBar()->isHidden());
    QVERIFY(panelToggle->isHidden());
    QCOMPARE(fullscreen->text(), QStringLiteral("退出全屏 (Esc)"));

    QTest::keyClick(&window, Qt::Key_Escape);
    QVERIFY(!window.isFullScreen());
    QVERIFY(sidePanel->isHidden());
    QVERIFY(!headerBar->isHidden());
    QVERIFY(!window.statusBar()->isHidden());
    QCOMPARE(panelToggle->text(), QStringLiteral("展开面板"));

    panelToggle->click();
    fullscreen->click();
    QVERIFY(sidePanel->isHidden());
    fullscreen->click();
    QVERIFY(!sidePanel->isHidden());
    QVERIFY(!panelToggle->isHidden());
    QCOMPARE(fullscreen->text(), QStringLiteral("全屏预览"));
}

TARVELO_TEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
