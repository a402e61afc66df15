#include "capture/recordingfile.h"

#include <QFile>
#include <QtEndian>

namespace {
struct Box
{
    QByteArray type;
    qint64 end = 0;
};

// The next top-level MP4 box, or an empty type where the file ends before the box does.
Box readBox(QFile &file, qint64 at, qint64 fileSize)
{
    uchar head[16];
    if (!file.seek(at) || file.read(reinterpret_cast<char *>(head), 8) != 8)
        return {};
    quint64 size = qFromBigEndian<quint32>(head);
    qint64 headSize = 8;
    if (size == 1) { // 64-bit size follows the type
        if (file.read(reinterpret_cast<char *>(head + 8), 8) != 8)
            return {};
        size = qFromBigEndian<quint64>(head + 8);
        headSize = 16;
    } else if (size == 0) { // runs to the end of the file
        size = quint64(fileSize - at);
    }
    if (size < quint64(headSize) || size > quint64(fileSize - at))
        return {};
    return {QByteArray(reinterpret_cast<const char *>(head + 4), 4), at + qint64(size)};
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
    bool index = false, fragmented = false;
    qint64 whole = 0, picturesEnd = 0;
    for (Box box; (box = readBox(file, whole, fileSize)).end > 0; whole = box.end) {
        if (box.type == "moov")
            index = true;
        else if (box.type == "moof")
            fragmented = true;
        else if (box.type == "mdat" && box.end - whole > 16)
            picturesEnd = box.end;
    }
    if (index && picturesEnd > 0) {
        // A fragment header whose data never came is dropped with the unfinished box.
        if (whole < fileSize)
            file.resize(fragmented ? picturesEnd : whole);
        return true;
    }
    file.close();
    file.remove();
    return false;
}
