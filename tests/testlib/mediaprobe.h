#pragma once

#include <QProcess>
#include <QRegularExpression>
#include <QString>

// What GStreamer's own demuxers make of a media file (gst-discoverer-1.0).
struct MediaProbe
{
    bool readable = false;
    QString container; // e.g. "video/quicktime, variant=(string)iso"
    QString videoCaps; // e.g. "video/x-h264, ..., chroma-format=(string)4:2:0"; empty: no video
    QString profile; // of the video codec, e.g. "high"; "main" and "high" are 4:2:0 8-bit only
    double seconds = -1;

    static MediaProbe of(const QString &path)
    {
        QProcess discoverer;
        discoverer.start(QStringLiteral("gst-discoverer-1.0"), {QStringLiteral("-v"), path});
        MediaProbe probe;
        if (!discoverer.waitForFinished(30000) || discoverer.exitCode() != 0)
            return probe;
        const QString text = QString::fromUtf8(discoverer.readAllStandardOutput());
        const auto find = [&text](const QString &pattern) {
            return QRegularExpression(pattern, QRegularExpression::MultilineOption)
                .match(text)
                .captured(1);
        };
        probe.readable = !text.contains(QStringLiteral("An error was encountered"));
        probe.container = find(QStringLiteral("^\\s*container #\\d+: (.+)$"));
        probe.videoCaps = find(QStringLiteral("^\\s*video #\\d+: (.+)$"));
        probe.profile = QRegularExpression(QStringLiteral("profile=\\(string\\)([\\w-]+)"))
                            .match(probe.videoCaps)
                            .captured(1);
        const QStringList hms = find(QStringLiteral("^\\s*Duration: ([\\d:.]+)$")).split(u':');
        if (hms.size() == 3)
            probe.seconds = hms[0].toDouble() * 3600 + hms[1].toDouble() * 60 + hms[2].toDouble();
        return probe;
    }
};
