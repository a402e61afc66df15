#include "app/mainwindow.h"
#include "capture/recordingfile.h"
#include "session/multimediabackend.h"
#if TARVELO_GSTREAMER_QT64
#include "capture/recordingencoder.h"
#endif

#include <QCamera>
#include <QComboBox>
#include <QDateTime>
#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QLabel>
#include <QMediaFormat>
#include <QMediaRecorder>
#include <QPushButton>
#include <QStorageInfo>
#include <QStyle>
#include <QTemporaryFile>
#include <QTimer>
#include <QUrl>

#include <utility>

namespace {
// An encoder flushes its look-ahead of a second or two of frames at the end.
constexpr int finishRecordingTimeoutMs = 10000;
// Less than this left on the disk when a recording fails: it failed for want of space.
constexpr qint64 fullDiskBytes = 4 * 1024 * 1024;

bool isRecording(const QMediaRecorder &recorder)
{
    return recorder.recorderState() == QMediaRecorder::RecordingState;
}

// H.264 in MP4 is what every player expects of a ".mp4" file; left to themselves, Qt 6.4's
// GStreamer back end picks VP9 and the FFmpeg back end HEVC. On Qt 6.4 our own encoder element
// also makes it 4:2:0 at a fixed quality (see recordingencoder.cpp); from Qt 6.8 the recorder is
// given 4:2:0 frames (recordingframes.cpp), which Windows' Media Foundation encoders need too.
void chooseRecordingFormat(QMediaRecorder &recorder)
{
#if TARVELO_GSTREAMER_QT64
    registerRecordingEncoder();
#endif
    QMediaFormat format(QMediaFormat::MPEG4);
    format.setVideoCodec(QMediaFormat::VideoCodec::H264);
    recorder.setMediaFormat(format);
}
} // namespace

void MainWindow::toggleRecording()
{
    if (isRecording(*recorder)) {
        stopRecording();
        return;
    }
    startRecording();
}

void MainWindow::stopRecording()
{
    recorder->stop();
}

void MainWindow::startRecording()
{
    if (!camera) {
        statusCard->setText(tr("录像失败：未选择摄像头"));
        return;
    }
    if (!camera->isActive()) {
        previewRequested = true;
        camera->start();
    }

    const QDir folder(outputDirectory(QStandardPaths::MoviesLocation));
    if (!makeOutputFolder(folder)) {
        statusCard->setText(tr("录像失败：无法创建视频保存目录"));
        return;
    }
    // The back end would only fail once recording, in words of its own.
    if (QTemporaryFile probe(folder.filePath(QStringLiteral(".tarvelo-XXXXXX"))); !probe.open()) {
        statusCard->setText(tr("录像错误：%1").arg(tr("视频保存目录不可写入")));
        return;
    }
    recordingFailure.clear();
    recordingEndedByReconnection = false;
    const QString timestamp =
        QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd_HHmmss"));
    recorder->setOutputLocation(
        QUrl::fromLocalFile(folder.filePath(QStringLiteral("录像_%1.mp4").arg(timestamp))));
    recorder->setQuality(QMediaRecorder::HighQuality);
    chooseRecordingFormat(*recorder);
    recorder->record();
}

void MainWindow::updateRecorderState()
{
    const bool recording = isRecording(*recorder);
    recordButton->setText(recording ? tr("停止录像") : tr("开始录像"));
    recordButton->setProperty("recording", recording);
    recordingStatus->setText(recording ? tr("● 正在录像 %1").arg(QStringLiteral("00:00:00"))
                                       : tr("未在录像"));
    recordingStatus->setStyleSheet(recording ? QStringLiteral("color: #c93442; font-weight: 600;")
                                             : QString());
    recordButton->style()->unpolish(recordButton);
    recordButton->style()->polish(recordButton);
    // A new format would restart the camera under the recorder.
    formatCombo->setEnabled(!recording && camera);

    if (recording) {
        statusCard->setText(tr("正在录像…"));
        return;
    }
    const QUrl location = recorder->actualLocation();
    if (location.isEmpty())
        return;
    const QString failure = std::exchange(recordingFailure, QString());
    const bool reconnection = std::exchange(recordingEndedByReconnection, false);
    const QString path = QDir::toNativeSeparators(location.toLocalFile());
    if (!keepPlayablePart(location.toLocalFile())) {
        const QString problem =
            failure.isEmpty() ? recordingProblem(location.toLocalFile()) : failure;
        statusCard->setText(
            tr("录像错误：%1").arg(problem.isEmpty() ? tr("没有录下可播放的画面") : problem));
    } else if (!failure.isEmpty())
        statusCard->setText(
            tr("录像错误：%1").arg(tr("%1，已保存出错前录下的部分：%2").arg(failure, path)));
    else if (reconnection)
        statusCard->setText(tr("摄像头重新连接，录像已结束并保存：%1").arg(path));
    else
        statusCard->setText(tr("录像已保存：%1").arg(path));
}

// The back end's own error texts speak of its elements; the user is told what went wrong with
// the folder or the disk, where that is the cause.
void MainWindow::showRecorderError()
{
    // Qt 6.4 passes the camera's own stream errors to an idle recorder too.
    const bool wasRecording = recordButton->property("recording").toBool();
    if (recorder->error() == QMediaRecorder::NoError || (!wasRecording && !isRecording(*recorder)))
        return;
    recordingFailure = recordingProblem(recorder->actualLocation().toLocalFile());
    if (recordingFailure.isEmpty())
        recordingFailure = recorder->error() == QMediaRecorder::OutOfSpaceError
            ? tr("磁盘空间已满")
            : tr("录像意外中断");
    statusCard->setText(tr("录像错误：%1").arg(recordingFailure));
}

QString MainWindow::recordingProblem(const QString &file) const
{
    const QFileInfo folder(QFileInfo(file).absolutePath());
    if (!folder.exists())
        return tr("视频保存目录在录像时被删除");
    if (!folder.isWritable())
        return tr("视频保存目录不可写入");
    if (QStorageInfo(folder.absoluteFilePath()).bytesAvailable() < fullDiskBytes)
        return tr("磁盘空间已满");
    return {};
}

// A stall recovery or watchdog retry restarts the camera: the recording ends with it, and the
// user is told why.
void MainWindow::endRecordingForReconnection()
{
    if (!isRecording(*recorder))
        return;
    recordingEndedByReconnection = true;
    stopRecording();
}

void MainWindow::updateRecordingDuration(qint64 durationMs)
{
    if (!isRecording(*recorder))
        return;
    const qint64 s = durationMs / 1000;
    const QLatin1Char zero('0');
    const QString time = QStringLiteral("%1:%2:%3")
                             .arg(s / 3600, 2, 10, zero)
                             .arg((s / 60) % 60, 2, 10, zero)
                             .arg(s % 60, 2, 10, zero);
    recordingStatus->setText(tr("● 正在录像 %1").arg(time));
}

// Waits, with a bound, until a stopped recording has written the end of its file. Only for the
// window's end: a camera switch lets the recorder finish in the retired session instead.
void MainWindow::finishRecording()
{
    if (recorder->recorderState() == QMediaRecorder::StoppedState)
        return;
    QEventLoop loop;
    connect(recorder.get(), &QMediaRecorder::recorderStateChanged, &loop,
            [&loop](QMediaRecorder::RecorderState state) {
                if (state == QMediaRecorder::StoppedState)
                    loop.quit();
            });
    QTimer::singleShot(finishRecordingTimeoutMs, &loop, &QEventLoop::quit);
    stopRecording();
    if (recorder->recorderState() != QMediaRecorder::StoppedState)
        loop.exec(QEventLoop::ExcludeUserInputEvents);
}
