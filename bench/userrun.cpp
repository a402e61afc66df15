#include "userrun.h"

#include <QFile>
#include <QProcessEnvironment>

#include <unistd.h>

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

namespace ProcessFigures {

double cpuSeconds(qint64 pid)
{
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return -1;
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    // Fields after the command name start at 3 (state); utime and stime are 14 and 15.
    const double ticks = fields.at(11).toDouble() + fields.at(12).toDouble();
    return ticks / double(sysconf(_SC_CLK_TCK));
}

namespace {
// A "Name:   value kB" line of /proc/PID/status.
double statusValue(qint64 pid, const QByteArray &name)
{
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith(name + ':'))
            return line.mid(name.size() + 1).simplified().split(' ').value(0).toDouble();
    }
    return -1;
}
} // namespace

double residentMegabytes(qint64 pid)
{
    return statusValue(pid, "VmRSS") / 1024;
}

double peakResidentMegabytes(qint64 pid)
{
    return statusValue(pid, "VmHWM") / 1024;
}

int threads(qint64 pid)
{
    return int(statusValue(pid, "Threads"));
}

} // namespace ProcessFigures
