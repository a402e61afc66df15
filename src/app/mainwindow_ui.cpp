#include "app/mainwindow.h"

#include "app/buildinfo.h"
#include "app/language.h"
#include "app/settingskeys.h"
#include "controls/nativecameracontrols.h"
#include "preview/videopreviewwidget.h"
#include "preview/windowmodes.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QMediaRecorder>
#include <QPushButton>
#include <QScrollArea>
#include <QSettings>
#include <QShortcut>
#include <QSlider>
#include <QStatusBar>
#include <QTabWidget>
#include <QVBoxLayout>
#include <QVideoSink>

namespace {

// Tab and group box titles take '&' as a shortcut marker; in the English titles it is a plain "&".
QString plainTitle(const QString &title)
{
    return QString(title).replace(QLatin1Char('&'), QLatin1String("&&"));
}

// A scrolling page of "parameterTabs": transparent, never scrolls sideways.
QVBoxLayout *addScrollPage(QTabWidget *tabs, QScrollArea *scrollArea, const QString &title)
{
    scrollArea->setWidgetResizable(true);
    scrollArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrollArea->setFrameShape(QFrame::NoFrame);

    auto *content = new QWidget(scrollArea);
    content->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    auto *layout = new QVBoxLayout(content);
    layout->setContentsMargins(0, 0, 4, 0);
    scrollArea->setWidget(content);
    tabs->addTab(scrollArea, plainTitle(title));
    return layout;
}

// Title, stretch and value label in one row, the slider below it.
void addSliderRow(QGroupBox *group, QVBoxLayout *groupLayout, const QString &title,
                  QSlider *&slider, QLabel *&valueLabel)
{
    auto *row = new QHBoxLayout;
    row->addWidget(new QLabel(title, group));
    row->addStretch();
    valueLabel = new QLabel(QStringLiteral("--"), group);
    row->addWidget(valueLabel);
    groupLayout->addLayout(row);

    slider = new QSlider(Qt::Horizontal, group);
    slider->setAccessibleName(title);
    groupLayout->addWidget(slider);
}

QPushButton *createButton(const QString &text, QWidget *parent, const QString &toolTip = QString())
{
    auto *button = new QPushButton(text, parent);
    if (!toolTip.isEmpty())
        button->setToolTip(toolTip);
    return button;
}

void writeSetting(const QString &key, const QVariant &value)
{
    QSettings settings;
    settings.setValue(key, value);
}

} // namespace

// The widgets that only the connections at the end of buildUi need.
struct MainWindow::UiHandles
{
    QComboBox *languageCombo = nullptr;
    QFrame *headerBar = nullptr;
    QFrame *sidePanel = nullptr;
    QPushButton *fullscreenButton = nullptr;
    QPushButton *panelToggleButton = nullptr;
    QPushButton *refreshButton = nullptr;
    QTabWidget *controlTabs = nullptr;
    QPushButton *picturesFolderButton = nullptr;
    QPushButton *videosFolderButton = nullptr;
    QPushButton *diagnosticsButton = nullptr;
    QPushButton *saveControlsButton = nullptr;
    QPushButton *applyControlsButton = nullptr;
    QPushButton *restoreControlsButton = nullptr;
    QPushButton *cameraDefaultsButton = nullptr;
};

// Widgets are created in keyboard focus order, which differs from the layout order in places.
void MainWindow::buildUi()
{
    const QString shortBuildId = BuildInfo::buildId().left(7);
    setWindowTitle(tr("Tarvelo v%1 (%2)").arg(BuildInfo::version(), shortBuildId));
    resize(1180, 720);
    statusBar()->addPermanentWidget(
        new QLabel(tr("版本 v%1 · %2").arg(BuildInfo::version(), shortBuildId), this));

    UiHandles ui;
    auto *root = new QWidget(this);
    root->setObjectName(QStringLiteral("appRoot"));
    auto *rootLayout = new QVBoxLayout(root);
    rootLayout->setContentsMargins(18, 14, 18, 16);
    rootLayout->setSpacing(14);
    rootLayout->addWidget(buildHeader(root, ui));

    auto *bodyLayout = new QHBoxLayout;
    bodyLayout->setSpacing(14);
    rootLayout->addLayout(bodyLayout, 1);
    bodyLayout->addLayout(buildPreviewColumn(root, ui), 1);
    bodyLayout->addWidget(buildSidePanel(root, ui));
    setCentralWidget(root);

    connectUi(ui);
    restoreUiSettings(ui.controlTabs);
    connect(exposureCompSlider, &QSlider::valueChanged, this,
            &MainWindow::applyExposureCompensation);
    connect(zoomSlider, &QSlider::valueChanged, this, &MainWindow::applyZoom);
}

QFrame *MainWindow::buildHeader(QWidget *parent, UiHandles &ui)
{
    ui.headerBar = new QFrame(parent);
    ui.headerBar->setObjectName(QStringLiteral("headerBar"));
    auto *headerLayout = new QHBoxLayout(ui.headerBar);
    headerLayout->setContentsMargins(18, 12, 18, 12);

    auto *titleBlock = new QVBoxLayout;
    titleBlock->setSpacing(2);
    auto *appTitle = new QLabel(tr("Tarvelo"), ui.headerBar);
    appTitle->setObjectName(QStringLiteral("appTitle"));
    auto *appSubtitle = new QLabel(tr("专业 USB 摄像头预览与参数控制"), ui.headerBar);
    appSubtitle->setObjectName(QStringLiteral("appSubtitle"));
    titleBlock->addWidget(appTitle);
    titleBlock->addWidget(appSubtitle);
    headerLayout->addLayout(titleBlock);
    headerLayout->addStretch();

    ui.languageCombo = new QComboBox(ui.headerBar);
    ui.languageCombo->setToolTip(tr("选择界面语言（重启后生效）"));
    ui.languageCombo->setAccessibleName(ui.languageCombo->toolTip());
    // Wide enough for the longest item of whichever language is shown ("System Default").
    ui.languageCombo->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    Language::fillSelector(ui.languageCombo);
    headerLayout->addWidget(ui.languageCombo);

    connectionBadge = new QLabel(tr("●  正在连接"), ui.headerBar);
    connectionBadge->setObjectName(QStringLiteral("connectionBadge"));
    setConnectionBadge(connectionBadge->text(), BadgeState::Waiting);
    headerLayout->addWidget(connectionBadge);
    return ui.headerBar;
}

QVBoxLayout *MainWindow::buildPreviewColumn(QWidget *parent, UiHandles &ui)
{
    preview = new VideoPreviewWidget(parent);
    ui.fullscreenButton = createButton(tr("全屏预览"), parent);
    ui.panelToggleButton = createButton(tr("收起面板"), parent);

    auto *previewColumn = new QVBoxLayout;
    auto *toolRow = new QHBoxLayout;
    toolRow->addStretch();
    toolRow->addWidget(ui.fullscreenButton);
    toolRow->addWidget(ui.panelToggleButton);
    previewColumn->addLayout(toolRow);
    previewColumn->addWidget(preview, 1);
    return previewColumn;
}

QFrame *MainWindow::buildSidePanel(QWidget *parent, UiHandles &ui)
{
    ui.sidePanel = new QFrame(parent);
    ui.sidePanel->setObjectName(QStringLiteral("sidePanel"));
    ui.sidePanel->setMinimumWidth(320);
    ui.sidePanel->setMaximumWidth(390);
    auto *sideLayout = new QVBoxLayout(ui.sidePanel);
    sideLayout->setContentsMargins(0, 0, 0, 0);
    sideLayout->setSpacing(10);
    sideLayout->addWidget(buildCameraGroup(ui.sidePanel, ui));

    // The pages are filled first and added once everything exists.
    ui.controlTabs = new QTabWidget(ui.sidePanel);
    ui.controlTabs->setObjectName(QStringLiteral("controlTabs"));
    auto *parametersPage = new QWidget(ui.controlTabs);
    auto *parametersLayout = new QVBoxLayout(parametersPage);
    parametersLayout->setContentsMargins(0, 8, 0, 0);
    auto *parameterTabs = new QTabWidget(parametersPage);
    parameterTabs->setObjectName(QStringLiteral("parameterTabs"));
    parametersLayout->addWidget(parameterTabs, 1);
    auto *exposureScroll = new QScrollArea(parameterTabs);
    auto *focusScroll = new QScrollArea(parameterTabs);

    QWidget *capturePage = buildCapturePage(ui.controlTabs, ui);
    buildExposurePage(parameterTabs, exposureScroll);
    buildFocusPage(parameterTabs, focusScroll);
    parametersLayout->addWidget(buildPresetButtons(parametersPage, ui));

    ui.controlTabs->addTab(parametersPage, plainTitle(tr("参数设置")));
    ui.controlTabs->addTab(capturePage, plainTitle(tr("拍摄与画面")));
    sideLayout->addWidget(ui.controlTabs, 1);

    statusCard = new QLabel(tr("正在查找摄像头…"), ui.sidePanel);
    statusCard->setObjectName(QStringLiteral("statusCard"));
    statusCard->setWordWrap(true);
    sideLayout->addWidget(statusCard);
    return ui.sidePanel;
}

QGroupBox *MainWindow::buildCameraGroup(QWidget *parent, UiHandles &ui)
{
    auto *cameraGroup = new QGroupBox(plainTitle(tr("摄像头")), parent);
    auto *cameraLayout = new QGridLayout(cameraGroup);
    cameraLayout->setColumnStretch(1, 1);
    const QString deviceLabelText = tr("设备");
    const QString formatLabelText = tr("画质");
    cameraLayout->addWidget(new QLabel(deviceLabelText, cameraGroup), 0, 0);
    deviceCombo = new QComboBox(cameraGroup);
    deviceCombo->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    deviceCombo->setAccessibleName(deviceLabelText);
    cameraLayout->addWidget(deviceCombo, 0, 1);
    cameraLayout->addWidget(new QLabel(formatLabelText, cameraGroup), 1, 0);
    formatCombo = new QComboBox(cameraGroup);
    formatCombo->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    formatCombo->setToolTip(tr("分辨率与帧率"));
    formatCombo->setAccessibleName(formatLabelText);
    cameraLayout->addWidget(formatCombo, 1, 1);
    primaryButton = createButton(tr("启动预览"), cameraGroup);
    primaryButton->setObjectName(QStringLiteral("primaryButton"));
    ui.refreshButton = createButton(tr("刷新设备"), cameraGroup);
    auto *cameraButtons = new QHBoxLayout;
    cameraButtons->addWidget(ui.refreshButton);
    cameraButtons->addWidget(primaryButton);
    cameraLayout->addLayout(cameraButtons, 2, 0, 1, 2);
    return cameraGroup;
}

QWidget *MainWindow::buildCapturePage(QWidget *parent, UiHandles &ui)
{
    auto *capturePage = new QWidget(parent);
    auto *captureLayout = new QVBoxLayout(capturePage);
    captureLayout->setContentsMargins(0, 8, 0, 0);

    auto *captureGroup = new QGroupBox(plainTitle(tr("截图与录像")), capturePage);
    auto *captureGroupLayout = new QVBoxLayout(captureGroup);
    snapshotButton = createButton(tr("截图"), captureGroup);
    recordButton = createButton(tr("开始录像"), captureGroup);
    recordButton->setObjectName(QStringLiteral("recordButton"));
    auto *captureButtons = new QHBoxLayout;
    captureButtons->addWidget(snapshotButton);
    captureButtons->addWidget(recordButton);
    captureGroupLayout->addLayout(captureButtons);
    recordingStatus = new QLabel(tr("未在录像"), captureGroup);
    recordingStatus->setObjectName(QStringLiteral("recordingStatus"));
    captureGroupLayout->addWidget(recordingStatus);
    ui.picturesFolderButton = createButton(tr("图片文件夹"), captureGroup);
    ui.videosFolderButton = createButton(tr("视频文件夹"), captureGroup);
    auto *folderButtons = new QHBoxLayout;
    folderButtons->addWidget(ui.picturesFolderButton);
    folderButtons->addWidget(ui.videosFolderButton);
    captureGroupLayout->addLayout(folderButtons);
    ui.diagnosticsButton = createButton(tr("导出诊断信息"), captureGroup,
                                        tr("保存软件、系统和摄像头状态，便于排查问题"));
    captureGroupLayout->addWidget(ui.diagnosticsButton);
    captureLayout->addWidget(captureGroup);

    auto *orientationGroup = new QGroupBox(plainTitle(tr("画面方向")), capturePage);
    auto *orientationLayout = new QVBoxLayout(orientationGroup);
    mirrorCheckBox = new QCheckBox(tr("左右镜像"), orientationGroup);
    flipCheckBox = new QCheckBox(tr("上下翻转"), orientationGroup);
    const QString rotationLabelText = tr("画面旋转");
    auto *rotationLabel = new QLabel(rotationLabelText, orientationGroup);
    rotationCombo = new QComboBox(orientationGroup);
    rotationCombo->setAccessibleName(rotationLabelText);
    rotationCombo->addItem(tr("不旋转"), 0);
    rotationCombo->addItem(tr("顺时针 90°"), 90);
    rotationCombo->addItem(tr("旋转 180°"), 180);
    rotationCombo->addItem(tr("顺时针 270°"), 270);
    orientationLayout->addWidget(mirrorCheckBox);
    orientationLayout->addWidget(flipCheckBox);
    orientationLayout->addWidget(rotationLabel);
    orientationLayout->addWidget(rotationCombo);
    captureLayout->addWidget(orientationGroup);
    captureLayout->addStretch();
    return capturePage;
}

void MainWindow::buildExposurePage(QTabWidget *parameterTabs, QScrollArea *scroll)
{
    QVBoxLayout *page = addScrollPage(parameterTabs, scroll, tr("曝光与色彩"));
    page->setSpacing(8);
    const QString exposureCompTitle = tr("曝光补偿");
    auto *exposureCompGroup = new QGroupBox(plainTitle(exposureCompTitle), scroll->widget());
    auto *exposureCompLayout = new QVBoxLayout(exposureCompGroup);
    addSliderRow(exposureCompGroup, exposureCompLayout, exposureCompTitle, exposureCompSlider,
                 exposureCompValueLabel);
    page->addWidget(exposureCompGroup);

    auto *colorExposureGroup = new QGroupBox(plainTitle(tr("色彩与曝光")), scroll->widget());
    colorExposureLayout = new QVBoxLayout(colorExposureGroup);
    colorExposureLayout->addWidget(new QLabel(tr("选择摄像头后读取硬件参数"), colorExposureGroup));
    colorExposureGroup->setVisible(nativeControls != nullptr);
    page->addWidget(colorExposureGroup);
    page->addStretch();
}

void MainWindow::buildFocusPage(QTabWidget *parameterTabs, QScrollArea *scroll)
{
    QVBoxLayout *page = addScrollPage(parameterTabs, scroll, tr("对焦与变焦"));
    const QString zoomTitle = tr("变焦");
    auto *zoomGroup = new QGroupBox(plainTitle(zoomTitle), scroll->widget());
    auto *zoomLayout = new QVBoxLayout(zoomGroup);
    zoomValueLabel = new QLabel(QStringLiteral("--"), zoomGroup);
    zoomSlider = new QSlider(Qt::Horizontal, zoomGroup);
    zoomSlider->setAccessibleName(zoomTitle);
    zoomLayout->addWidget(zoomValueLabel);
    zoomLayout->addWidget(zoomSlider);
    page->addWidget(zoomGroup);

    auto *lensControlsGroup = new QGroupBox(plainTitle(tr("镜头控制")), scroll->widget());
    lensControlsLayout = new QVBoxLayout(lensControlsGroup);
    page->addWidget(lensControlsGroup);
    page->addStretch();
}

QWidget *MainWindow::buildPresetButtons(QWidget *parent, UiHandles &ui)
{
    presetButtonsRow = new QWidget(parent);
    auto *presetLayout = new QGridLayout(presetButtonsRow);
    presetLayout->setContentsMargins(0, 4, 0, 0);
    ui.saveControlsButton =
        createButton(tr("保存参数"), presetButtonsRow, tr("保存当前摄像头的参数"));
    ui.applyControlsButton =
        createButton(tr("应用参数"), presetButtonsRow, tr("应用之前保存的参数"));
    ui.restoreControlsButton = createButton(tr("恢复初始设置"), presetButtonsRow,
                                            tr("恢复本次打开摄像头时的参数和自动模式"));
    presetLayout->addWidget(ui.saveControlsButton, 0, 0);
    presetLayout->addWidget(ui.applyControlsButton, 0, 1);
    ui.cameraDefaultsButton = createButton(tr("恢复出厂默认"), presetButtonsRow,
                                           tr("把每项参数设为摄像头自身的默认值"));
    presetLayout->addWidget(ui.restoreControlsButton, 1, 0);
    presetLayout->addWidget(ui.cameraDefaultsButton, 1, 1);
    presetButtonsRow->setEnabled(false);
    return presetButtonsRow;
}

void MainWindow::connectUi(const UiHandles &ui)
{
    connect(preview->videoSink(), &QVideoSink::videoFrameChanged, this,
            &MainWindow::handleVideoFrame);

    auto *exitFullscreenShortcut = new QShortcut(QKeySequence(Qt::Key_Escape), this);
    exitFullscreenShortcut->setContext(Qt::WindowShortcut);
    connect(ui.panelToggleButton, &QPushButton::clicked, this,
            [sidePanel = ui.sidePanel, button = ui.panelToggleButton] {
                toggleSidePanel(sidePanel, button);
            });
    const auto fullScreenToggle = [this, ui] {
        toggleFullScreen(this, ui.headerBar, ui.sidePanel, ui.panelToggleButton,
                         ui.fullscreenButton);
    };
    connect(ui.fullscreenButton, &QPushButton::clicked, this, fullScreenToggle);
    connect(exitFullscreenShortcut, &QShortcut::activated, this, [this, fullScreenToggle] {
        if (isFullScreen())
            fullScreenToggle();
    });

    connect(recorder.get(), &QMediaRecorder::durationChanged, this,
            &MainWindow::updateRecordingDuration);
    connect(ui.saveControlsButton, &QPushButton::clicked, this, &MainWindow::saveControlPreset);
    connect(ui.applyControlsButton, &QPushButton::clicked, this, &MainWindow::applyControlPreset);
    connect(ui.restoreControlsButton, &QPushButton::clicked, this,
            &MainWindow::restoreInitialControls);
    connect(ui.cameraDefaultsButton, &QPushButton::clicked, this,
            &MainWindow::restoreCameraDefaults);
    connect(ui.refreshButton, &QPushButton::clicked, this, &MainWindow::refreshDevices);
    connect(deviceCombo, &QComboBox::currentIndexChanged, this, &MainWindow::selectCamera);
    connect(formatCombo, &QComboBox::currentIndexChanged, this, &MainWindow::selectFormat);
    connect(primaryButton, &QPushButton::clicked, this, &MainWindow::toggleCamera);
    connect(snapshotButton, &QPushButton::clicked, this, &MainWindow::takeSnapshot);
    connect(recordButton, &QPushButton::clicked, this, &MainWindow::toggleRecording);
    connect(ui.picturesFolderButton, &QPushButton::clicked, this, &MainWindow::openPicturesFolder);
    connect(ui.videosFolderButton, &QPushButton::clicked, this, &MainWindow::openVideosFolder);
    connect(ui.diagnosticsButton, &QPushButton::clicked, this, &MainWindow::exportDiagnostics);
    connect(ui.languageCombo, &QComboBox::currentIndexChanged, this,
            [this, combo = ui.languageCombo](int index) {
                Language::selectLanguage(this, combo, index);
            });
    connect(mirrorCheckBox, &QCheckBox::toggled, this, [this](bool checked) {
        preview->setMirrored(checked);
        writeSetting(SettingsKeys::mirrored(), checked);
    });
    connect(flipCheckBox, &QCheckBox::toggled, this, [this](bool checked) {
        preview->setFlippedVertically(checked);
        writeSetting(SettingsKeys::flippedVertically(), checked);
    });
    connect(rotationCombo, &QComboBox::currentIndexChanged, this, [this](int index) {
        const int degrees = rotationCombo->itemData(index).toInt();
        preview->setRotation(degrees);
        writeSetting(SettingsKeys::rotation(), degrees);
    });
    connect(recorder.get(), &QMediaRecorder::recorderStateChanged, this,
            &MainWindow::updateRecorderState);
    connect(recorder.get(), &QMediaRecorder::errorOccurred, this, &MainWindow::showRecorderError);
    connect(ui.controlTabs, &QTabWidget::currentChanged, this,
            [](int index) { writeSetting(SettingsKeys::lastControlTab(), index); });
}

// Through the handlers connected above, so the preview and the tab follow the stored values.
void MainWindow::restoreUiSettings(QTabWidget *controlTabs)
{
    QSettings settings;
    mirrorCheckBox->setChecked(readFlag(settings, SettingsKeys::mirrored()));
    flipCheckBox->setChecked(readFlag(settings, SettingsKeys::flippedVertically()));
    const int rotation = settings.value(SettingsKeys::rotation(), 0).toInt();
    const int rotationIndex = rotationCombo->findData(rotation, Qt::UserRole, Qt::MatchExactly);
    rotationCombo->setCurrentIndex(rotationIndex >= 0 ? rotationIndex : 0);
    const int tab = settings.value(SettingsKeys::lastControlTab(), 0).toInt();
    if (tab >= 0 && tab < controlTabs->count())
        controlTabs->setCurrentIndex(tab);
}
