#include "app/mainwindow.h"

#include "preview/videopreviewwidget.h"

#include <QDateTime>
#include <QDir>
#include <QFutureWatcher>
#include <QImage>
#include <QLabel>
#include <QtConcurrent/QtConcurrentRun>

void MainWindow::takeSnapshot()
{
    // Encoding a 4K picture as PNG takes a few hundred milliseconds: it runs on the one writer
    // thread, which also keeps snapshots of the same name in order. Clicks beyond one waiting
    // snapshot are dropped rather than queued, each with its own full-size picture, without bound.
    if (snapshotsInProgress >= 2)
        return;
    // Converted here, which takes a few milliseconds even at 4K, so that the camera's buffer goes
    // back at once instead of waiting for the encoder.
    const QImage image = preview->currentFrameImage();
    if (image.isNull()) {
        statusCard->setText(tr("截图失败：当前还没有可用画面"));
        return;
    }

    const QDir folder(outputDirectory(QStandardPaths::PicturesLocation));
    if (!makeOutputFolder(folder)) {
        statusCard->setText(tr("截图失败：无法创建图片保存目录"));
        return;
    }

    const QString timestamp =
        QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd_HHmmss_zzz"));
    const QString path = folder.filePath(QStringLiteral("截图_%1.png").arg(timestamp));

    ++snapshotsInProgress;
    auto *watcher = new QFutureWatcher<bool>(this);
    connect(watcher, &QFutureWatcher<bool>::finished, this,
            [this, watcher, path, shownBefore = statusCard->text()] {
                --snapshotsInProgress;
                watcher->deleteLater();
                // A message that came after the click (a camera that stopped, say) is newer news.
                const QString shown = statusCard->text();
                if (shown != shownBefore && shown != lastSnapshotStatus)
                    return;
                lastSnapshotStatus = watcher->result()
                    ? tr("截图已保存：%1").arg(QDir::toNativeSeparators(path))
                    : tr("截图失败：无法写入文件");
                statusCard->setText(lastSnapshotStatus);
            });
    watcher->setFuture(
        QtConcurrent::run(&snapshotWriter, [image, path] { return image.save(path, "PNG", -1); }));
}
