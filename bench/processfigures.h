#pragma once

#include <QByteArray>
#include <QList>

// Figures of a running process read from /proc, and what the benchmarks make of them.
namespace ProcessFigures {
double cpuSeconds(qint64 pid); // user plus system so far
double statusValue(qint64 pid, const QByteArray &name); // a "Name:   value kB" line of its status
double residentMegabytes(qint64 pid); // VmRSS now
double peakResidentMegabytes(qint64 pid); // VmHWM
int threads(qint64 pid);
double median(QList<double> values);
} // namespace ProcessFigures
