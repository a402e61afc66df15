#include "processfigures.h"

#include <QFile>

#include <algorithm>

#include <unistd.h>

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

double median(QList<double> values)
{
    std::sort(values.begin(), values.end());
    const qsizetype n = values.size();
    return n % 2 ? values.at(n / 2) : (values.at(n / 2 - 1) + values.at(n / 2)) / 2;
}

} // namespace ProcessFigures
