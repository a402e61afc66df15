#pragma once

#include <QByteArray>
#include <QList>

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
};

// opendir/readdir, ::open, ::ioctl and ::close.
std::unique_ptr<V4l2DeviceIo> createSystemV4l2DeviceIo();
