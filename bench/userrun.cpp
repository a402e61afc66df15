#include "userrun.h"

#include <QProcessEnvironment>

UserRun::UserRun(const VirtualCamera::Camera &camera)
{
    // The plugged camera: the plug-in GStreamer loads and the one camera it serves.
    VirtualCamera::install({camera});
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const char *name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        environment.remove(QLatin1String(name));
    // The program picks its media back end by itself.
    environment.remove(QStringLiteral("QT_MEDIA_BACKEND"));
    environment.insert(QStringLiteral("HOME"), home.path());
    process.setProcessEnvironment(environment);
    process.setProgram(QStringLiteral(TARVELO_PROGRAM));
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
}

UserRun::~UserRun()
{
    stopProcess(process);
}

bool UserRun::start()
{
    process.start();
    return process.waitForStarted(5000);
}

void stopProcess(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(5000))
        process.kill();
    process.waitForFinished(3000);
}
