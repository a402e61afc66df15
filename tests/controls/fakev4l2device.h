#pragma once

#include "controls/v4l2deviceio.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QStringList>

#include <deque>
#include <memory>

#include <linux/videodev2.h>

struct FakeControl
{
    quint32 id = 0;
    quint32 type = V4L2_CTRL_TYPE_INTEGER;
    qint32 minimum = 0;
    qint32 maximum = 0;
    qint32 step = 1;
    qint32 value = 0;
    quint32 flags = 0;
    QList<qint32> menuItems; // the indices VIDIOC_QUERYMENU answers for
    int getError = 0; // errno for VIDIOC_G_CTRL; 0 answers
    int setError = 0; // errno for VIDIOC_S_CTRL; 0 accepts
    // A companion that, while automatic, makes this control inactive and its writes fail with
    // EBUSY, as UVC cameras do with exposure and focus.
    quint32 lockedBy = 0;
};

struct FakeNode
{
    QByteArray name; // "video0"
    QByteArray card;
    quint32 capabilities = 0;
    quint32 deviceCaps = 0;
    int openError = 0;
    bool unplugged = false;
    std::deque<FakeControl> controls; // a deque keeps references valid while tests add more

    FakeControl &add(quint32 id, quint32 type, qint32 minimum, qint32 maximum, qint32 step,
                     qint32 value);
    FakeControl *find(quint32 id);
    FakeControl &control(quint32 id); // must exist
    void remove(quint32 id);
};

// A simulated /dev with V4L2 nodes, answering the backend's system calls the way the kernel and
// a UVC camera do, and logging every call.
class FakeV4l2Io final : public V4l2DeviceIo
{
public:
    FakeNode &addCaptureNode(const QByteArray &name, const QByteArray &card);
    // UVC's second node: the physical device's capabilities list capture, its own don't.
    FakeNode &addMetadataNode(const QByteArray &name, const QByteArray &card);
    // A capture node with all twelve controls, the usual automatic companions and one control
    // the backend has no use for.
    FakeNode &addUvcCamera(const QByteArray &name, const QByteArray &card);
    FakeNode &node(const QByteArray &name);
    // Gone from /dev; descriptors already open get ENODEV from then on.
    void unplug(const QByteArray &name);

    QList<QByteArray> otherEntries {".", "..", "null", "media0", "v4l-subdev0"};
    int readDirectoryError = 0;

    // One line per call: "open /dev/video0", "QUERYCTRL video0 gain", "S_CTRL video0 gain=5",
    // a failure adding " -> EBUSY".
    QStringList log;
    QStringList calls(const QString &prefix) const;
    QStringList writes() const { return calls(QStringLiteral("S_CTRL ")); }
    QList<int> openFlags;
    int openDescriptors() const { return descriptors.size(); }
    QByteArray boundNode() const; // the node of the one open descriptor, or empty

    static QString controlName(quint32 id);

    // A V4l2DeviceIo for the backend to own that forwards to this one, so the fake outlives the
    // backend and its log shows what the destructor did.
    std::unique_ptr<V4l2DeviceIo> borrow();

    bool readDirectory(const QByteArray &path, QList<QByteArray> *names) override;
    int open(const QByteArray &path, int flags) override;
    int ioctl(int fd, unsigned long request, void *argument) override;
    int close(int fd) override;

private:
    int fail(const QString &call, int error);
    int handle(FakeNode &node, unsigned long request, void *argument, QString *call);
    bool isAutomatic(FakeNode &node, quint32 companion);

    std::deque<FakeNode> nodes;
    QMap<int, FakeNode *> descriptors;
    int nextDescriptor = 3;
};
