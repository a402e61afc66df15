#include "capture/recordingfile.h"

#include <QFile>
#include <QHash>
#include <QList>
#include <QtEndian>

#include <algorithm>
#include <bitset>

namespace {
struct Box
{
    QByteArray type;
    qint64 start = 0;
    qint64 body = 0; // after the box's own header
    qint64 end = 0;
};

// Where a box starting at `at` ends, from its header; 0 where the header is cut off or lies.
Box parseHead(const uchar *head, qint64 available, qint64 at, qint64 limit)
{
    if (available < 8)
        return {};
    quint64 size = qFromBigEndian<quint32>(head);
    qint64 headSize = 8;
    if (size == 1) { // 64-bit size follows the type
        if (available < 16)
            return {};
        size = qFromBigEndian<quint64>(head + 8);
        headSize = 16;
    } else if (size == 0) { // runs to the end
        size = quint64(limit - at);
    }
    if (size < quint64(headSize) || size > quint64(limit - at))
        return {};
    return {QByteArray(reinterpret_cast<const char *>(head + 4), 4), at, at + headSize,
            at + qint64(size)};
}

// The next top-level box of the file, or an empty type where the file ends before the box does.
Box readBox(QFile &file, qint64 at, qint64 fileSize)
{
    uchar head[16];
    if (!file.seek(at))
        return {};
    return parseHead(head, file.read(reinterpret_cast<char *>(head), 16), at, fileSize);
}

// The boxes of one type directly inside [from, to) of a box read into memory.
QList<Box> children(const QByteArray &data, qint64 from, qint64 to, const char *type)
{
    QList<Box> found;
    for (Box box; from < to; from = box.end) {
        box = parseHead(reinterpret_cast<const uchar *>(data.constData()) + from, to - from, from,
                        to);
        if (box.end == 0)
            break;
        if (box.type == type)
            found.append(box);
    }
    return found;
}

Box child(const QByteArray &data, const Box &parent, const char *type)
{
    const QList<Box> found = children(data, parent.body, parent.end, type);
    return found.isEmpty() ? Box() : found.first();
}

// A field of a full box; version 1 boxes widen their times to 64 bits.
quint64 field(const QByteArray &data, qint64 at, bool wide)
{
    if (at < 0 || at + (wide ? 8 : 4) > data.size())
        return 0;
    const auto *p = reinterpret_cast<const uchar *>(data.constData()) + at;
    return wide ? qFromBigEndian<quint64>(p) : qFromBigEndian<quint32>(p);
}

void setField(QByteArray &data, qint64 at, bool wide, quint64 value)
{
    if (at < 0 || at + (wide ? 8 : 4) > data.size())
        return;
    auto *p = reinterpret_cast<uchar *>(data.data()) + at;
    wide ? qToBigEndian<quint64>(value, p) : qToBigEndian<quint32>(quint32(value), p);
}

bool wide(const QByteArray &data, const Box &box)
{
    return box.body < data.size() && data[box.body] == 1;
}

QByteArray readWhole(QFile &file, const Box &box)
{
    return file.seek(box.start) ? file.read(box.end - box.start) : QByteArray();
}

// Each track's end in its own time scale, from the fragments' own timing: the decode time a
// fragment starts at and the durations of its samples.
QHash<quint32, quint64> trackEnds(QFile &file, const QByteArray &moov, const QList<Box> &moofs)
{
    QHash<quint32, quint64> defaults, ends;
    for (const Box &mvex : children(moov, 8, moov.size(), "mvex"))
        for (const Box &trex : children(moov, mvex.body, mvex.end, "trex"))
            defaults[quint32(field(moov, trex.body + 4, false))] =
                field(moov, trex.body + 12, false);
    for (const Box &moofBox : moofs) {
        const QByteArray moof = readWhole(file, moofBox);
        for (const Box &traf : children(moof, 8, moof.size(), "traf")) {
            const Box tfhd = child(moof, traf, "tfhd");
            const quint64 flags = field(moof, tfhd.body, false) & 0xffffff;
            const quint32 track = quint32(field(moof, tfhd.body + 4, false));
            const qint64 defaultAt = tfhd.body + 8 + (flags & 0x1 ? 8 : 0) + (flags & 0x2 ? 4 : 0);
            const quint64 sampleDuration =
                flags & 0x8 ? field(moof, defaultAt, false) : defaults.value(track);
            const Box tfdt = child(moof, traf, "tfdt");
            quint64 end =
                tfdt.end ? field(moof, tfdt.body + 4, wide(moof, tfdt)) : ends.value(track);
            for (const Box &trun : children(moof, traf.body, traf.end, "trun")) {
                const quint64 runFlags = field(moof, trun.body, false) & 0xffffff;
                const quint64 samples = field(moof, trun.body + 4, false);
                const int stride = 4 * int(std::bitset<4>(runFlags >> 8).count());
                qint64 at = trun.body + 8 + (runFlags & 0x1 ? 4 : 0) + (runFlags & 0x4 ? 4 : 0);
                for (quint64 i = 0; i < samples && at <= trun.end; ++i, at += stride)
                    end += runFlags & 0x100 ? field(moof, at, false) : sampleDuration;
            }
            ends[track] = std::max(ends.value(track), end);
        }
    }
    return ends;
}

// A muxer stopped before the end of its file leaves the index's durations at zero: players then
// show the length of the first fragment only. Writes the length the fragments add up to.
void writeMissingDurations(QFile &file, const Box &moovBox, const QList<Box> &moofs)
{
    QByteArray moov = readWhole(file, moovBox);
    const Box mvhd = children(moov, 8, moov.size(), "mvhd").value(0);
    const bool mvhdWide = wide(moov, mvhd);
    const quint64 movieScale = field(moov, mvhd.body + (mvhdWide ? 20 : 12), false);
    if (!mvhd.end || !movieScale || field(moov, mvhd.body + (mvhdWide ? 24 : 16), mvhdWide))
        return;
    const QHash<quint32, quint64> ends = trackEnds(file, moov, moofs);
    quint64 longest = 0;
    for (const Box &trak : children(moov, 8, moov.size(), "trak")) {
        const Box tkhd = child(moov, trak, "tkhd");
        const Box mdhd = child(moov, child(moov, trak, "mdia"), "mdhd");
        const bool tkhdWide = wide(moov, tkhd), mdhdWide = wide(moov, mdhd);
        const quint64 scale = field(moov, mdhd.body + (mdhdWide ? 20 : 12), false);
        const quint64 end =
            ends.value(quint32(field(moov, tkhd.body + (tkhdWide ? 20 : 12), false)));
        if (!tkhd.end || !mdhd.end || !scale)
            continue;
        const quint64 inMovieScale = end * movieScale / scale;
        setField(moov, mdhd.body + (mdhdWide ? 24 : 16), mdhdWide, end);
        setField(moov, tkhd.body + (tkhdWide ? 28 : 20), tkhdWide, inMovieScale);
        longest = std::max(longest, inMovieScale);
    }
    setField(moov, mvhd.body + (mvhdWide ? 24 : 16), mvhdWide, longest);
    for (const Box &mvex : children(moov, 8, moov.size(), "mvex"))
        for (const Box &mehd : children(moov, mvex.body, mvex.end, "mehd"))
            setField(moov, mehd.body + 4, wide(moov, mehd), longest);
    if (file.seek(moovBox.start))
        file.write(moov);
}
} // namespace

bool keepPlayablePart(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return false;
    const qint64 fileSize = file.size();
    // An index (moov) and pictures: in a fragmented file a fragment header (moof) and the data
    // after it; in a plain one the data with the index anywhere.
    Box moov;
    QList<Box> moofs;
    qint64 whole = 0, picturesEnd = 0;
    for (Box box; (box = readBox(file, whole, fileSize)).end > 0; whole = box.end) {
        if (box.type == "moov")
            moov = box;
        else if (box.type == "moof")
            moofs.append(box);
        else if (box.type == "mdat" && box.end - box.start > 16)
            picturesEnd = box.end;
    }
    if (moov.end && picturesEnd > 0) {
        // A fragment header whose data never came is dropped with the unfinished box.
        if (whole < fileSize)
            file.resize(moofs.isEmpty() ? whole : picturesEnd);
        moofs.erase(std::remove_if(moofs.begin(), moofs.end(),
                                   [&](const Box &moof) { return moof.end > picturesEnd; }),
                    moofs.end());
        if (!moofs.isEmpty())
            writeMissingDurations(file, moov, moofs);
        return true;
    }
    file.close();
    file.remove();
    return false;
}
