#pragma once

#include <QByteArray>
#include <QCameraDevice>
#include <QMainWindow>
#include <QMediaCaptureSession>
#include <QMediaDevices>
#include <QStandardPaths>
#include <QString>
#include <QThreadPool>
#include <QTimer>

#include <memory>

class QCamera;
class QCheckBox;
class QComboBox;
class QFrame;
class QGroupBox;
class QDir;
class QLabel;
class QLayout;
class QMediaRecorder;
class QPushButton;
class QScrollArea;
class QSlider;
class QTabWidget;
class QVBoxLayout;
class QVideoFrame;
class NativeCameraControls;
class RecordingFrameFeed;
struct NativeControl;
struct ExposureAndZoom;
class VideoPreviewWidget;

class MainWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget *parent = nullptr);
    ~MainWindow() override;

private slots:
    void refreshDevices();
    void selectCamera(int index);
    void selectFormat(int index);
    void toggleCamera();
    void updateCameraState();
    void showCameraError();
    void takeSnapshot();
    void toggleRecording();
    void updateRecorderState();
    void showRecorderError();
    void handleDeviceChange();
    void exportDiagnostics();

private:
    friend class MainWindowTestAccess;

    // The connection badge's colours (the style sheet's "state" property).
    enum class BadgeState { Ready, Waiting, Error };

    // app/
    struct UiHandles;
    void buildUi();
    QFrame *buildHeader(QWidget *parent, UiHandles &ui);
    QVBoxLayout *buildPreviewColumn(QWidget *parent, UiHandles &ui);
    QFrame *buildSidePanel(QWidget *parent, UiHandles &ui);
    QGroupBox *buildCameraGroup(QWidget *parent, UiHandles &ui);
    QWidget *buildCapturePage(QWidget *parent, UiHandles &ui);
    void buildExposurePage(QTabWidget *parameterTabs, QScrollArea *scroll);
    void buildFocusPage(QTabWidget *parameterTabs, QScrollArea *scroll);
    QWidget *buildPresetButtons(QWidget *parent, UiHandles &ui);
    void connectUi(const UiHandles &ui);
    void restoreUiSettings(QTabWidget *controlTabs);

    // session/
    void requestCameraPermission();
    void prepareDevice(const QCameraDevice &device);
    void startCamera(const QCameraDevice &device, quint64 generation, bool useCompatibleFormat,
                     const QCameraFormat &keptFormat = {});
    void stopCamera();
    void wireCamera();
    void retireCamera();
    void adoptRecorder();
    void handleVideoFrame(const QVideoFrame &frame);
    void populateFormats(const QCameraDevice &device);
    void armNoFrameWatchdog(quint64 generation);
    void recoverFromMissingFrames(quint64 generation, bool stalled = false,
                                  const QCameraFormat &keptFormat = {});
    void watchForStalls();
    void recoverFromStall();
    void giveBackRetriesOnceSteady(quint64 generation);
    void setConnectionBadge(const QString &text, BadgeState state);
    static void clearLayout(QLayout *layout);

    // controls/
    void rebuildHardwareControls();
    void lockHardwareControls();
    QWidget *createControlRow(const NativeControl &control);
    QWidget *createChoiceRow(const NativeControl &control);
    void refreshExposureAndZoom();
    void showExposureAndZoom(const ExposureAndZoom &reported);
    void placeZoomSlider();
    void applyExposureCompensation(int sliderValue);
    void applyZoom(int sliderValue);
    QString presetGroupKey() const;
    void saveControlPreset();
    void applyControlPreset();
    void restoreInitialControls();
    void restoreCameraDefaults();

    // capture/
    static QString outputDirectory(QStandardPaths::StandardLocation location);
    static bool makeOutputFolder(const QDir &folder);
    bool openOutputFolder(const QString &path, const QString &kindName);
    void openPicturesFolder();
    void openVideosFolder();
    void startRecording();
    void stopRecording();
    void updateRecordingDuration(qint64 durationMs);
    void finishRecording();
    void endRecordingForReconnection();
    QString recordingProblem(const QString &file) const;

    // diagnostics/
    QStringList diagnosticsReport() const;

    QMediaDevices mediaDevices;
    QTimer deviceChangeTimer;
    // Restarted by every frame; runs out when a stream falls silent after it delivered.
    QTimer stallTimer;
    quint64 stallGeneration = 0;
    // Renewed for every camera, see retireCamera.
    std::unique_ptr<QMediaCaptureSession> captureSession;
    std::unique_ptr<QCamera> camera;
    std::unique_ptr<NativeCameraControls> nativeControls;
    std::unique_ptr<QMediaRecorder> recorder;
    // Where the recorder takes 4:2:0 frames from the preview (Qt 6.8 on); null where it records
    // from the camera's session.
    std::unique_ptr<RecordingFrameFeed> recordingFeed;
    VideoPreviewWidget *preview = nullptr;
    QComboBox *deviceCombo = nullptr;
    QComboBox *formatCombo = nullptr;
    QPushButton *primaryButton = nullptr;
    QPushButton *snapshotButton = nullptr;
    QPushButton *recordButton = nullptr;
    QLabel *statusCard = nullptr;
    QLabel *connectionBadge = nullptr;
    QCheckBox *mirrorCheckBox = nullptr;
    QCheckBox *flipCheckBox = nullptr;
    QComboBox *rotationCombo = nullptr;
    QSlider *exposureCompSlider = nullptr;
    QLabel *exposureCompValueLabel = nullptr;
    QSlider *zoomSlider = nullptr;
    QLabel *zoomValueLabel = nullptr;
    QVBoxLayout *colorExposureLayout = nullptr;
    QVBoxLayout *lensControlsLayout = nullptr;
    QWidget *presetButtonsRow = nullptr;
    QLabel *recordingStatus = nullptr;
    QString currentDeviceName;
    QByteArray currentDeviceId;
    QByteArray lastDeviceId;
    bool frameReceived = false;
    bool previewRequested = true;
    qint32 noFrameRetries = 0;
    quint64 sessionGeneration = 0;
    // Why the running recording failed, in the program's words, and whether a reconnection of
    // the camera ended it: both reported when the file is done.
    QString recordingFailure;
    bool recordingEndedByReconnection = false;
    // One thread: snapshots are written in the order they were taken.
    QThreadPool snapshotWriter;
    int snapshotsInProgress = 0; // the one being written and at most one waiting
    QString lastSnapshotStatus; // what the last finished snapshot wrote in the status line
};
