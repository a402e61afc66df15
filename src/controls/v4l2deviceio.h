#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>

#include <functional>
#include <memory>

// The handful of system calls the V4L2 backend makes, behind an interface so tests can put a
// simulated camera in their place. Like the calls themselves, failures return -1 (false for
// readDirectory) and leave the reason in errno.
class V4l2DeviceIo
{
public:
    virtual ~V4l2DeviceIo() = default;

    // The entry names of a directory, in whatever order the file system gives them.
    virtual bool readDirectory(const QByteArray &path, QList<QByteArray> *names) = 0;
    virtual int open(const QByteArray &path, int flags) = 0;
    virtual int ioctl(int fd, unsigned long request, void *argument) = 0;
    virtual int close(int fd) = 0;
    // Calls `hangUp` from the event loop when the device behind `fd` reports a hang-up or an error,
    // as a node does once its camera is unplugged, until the returned watch is destroyed. Null
    // where nothing watches: the backend then learns of the unplug at its next request.
    virtual std::unique_ptr<QObject> watchHangUp(int fd, std::function<void()> hangUp);
};

// opendir/readdir, ::open, ::ioctl and ::close.
std::unique_ptr<V4l2DeviceIo> createSystemV4l2DeviceIo();
