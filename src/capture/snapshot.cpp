#include "app/mainwindow.h"

#include "preview/videopreviewwidget.h"

#include <QDateTime>
#include <QDir>
#include <QFutureWatcher>
#include <QLabel>
#include <QtConcurrent/QtConcurrentRun>

void MainWindow::takeSnapshot()
{
    // A 4K picture takes a few hundred milliseconds to convert, turn and encode: all of it runs
    // on the writer thread. Clicks beyond one waiting snapshot are dropped rather than queued,
    // each with its own full-size picture, without bound.
    if (snapshotsInProgress >= 2)
        return;
    OrientedFrame frame = preview->orientedFrame();
    if (!frame.frame.isValid()) {
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

    enum Outcome { Saved, NoPicture, NotWritten };
    ++snapshotsInProgress;
    auto *watcher = new QFutureWatcher<Outcome>(this);
    connect(watcher, &QFutureWatcher<Outcome>::finished, this, [this, watcher, path] {
        --snapshotsInProgress;
        switch (watcher->result()) {
        case Saved:
            statusCard->setText(tr("截图已保存：%1").arg(QDir::toNativeSeparators(path)));
            break;
        case NoPicture:
            statusCard->setText(tr("截图失败：当前还没有可用画面"));
            break;
        case NotWritten:
            statusCard->setText(tr("截图失败：无法写入文件"));
            break;
        }
        watcher->deleteLater();
    });
    watcher->setFuture(QtConcurrent::run(&snapshotWriter, [frame, path]() mutable {
        const QImage image = frame.image();
        frame = {}; // the camera's buffer goes back before the slow encoding
        if (image.isNull())
            return NoPicture;
        return image.save(path, "PNG", -1) ? Saved : NotWritten;
    }));
}
