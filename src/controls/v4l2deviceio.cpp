#include "controls/v4l2deviceio.h"

#include <QSocketNotifier>

#include <cerrno>

#include <dirent.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {
class SystemV4l2DeviceIo final : public V4l2DeviceIo
{
public:
    bool readDirectory(const QByteArray &path, QList<QByteArray> *names) override
    {
        DIR *directory = ::opendir(path.constData());
        if (!directory)
            return false;
        names->clear();
        for (;;) {
            // readdir reports its errors only through errno, and returns null at the end too.
            errno = 0;
            const dirent *entry = ::readdir(directory);
            if (!entry)
                break;
            names->append(QByteArray(entry->d_name));
        }
        const int error = errno;
        ::closedir(directory);
        errno = error;
        return error == 0;
    }

    int open(const QByteArray &path, int flags) override
    {
        int fd;
        do {
            fd = ::open(path.constData(), flags);
        } while (fd < 0 && errno == EINTR);
        return fd;
    }

    int ioctl(int fd, unsigned long request, void *argument) override
    {
        int result;
        do {
            result = ::ioctl(fd, request, argument);
        } while (result < 0 && errno == EINTR);
        return result;
    }

    // Not retried: Linux releases the descriptor even when close reports EINTR, so a second
    // call could close a descriptor another thread has just been given.
    int close(int fd) override { return ::close(fd); }

    // A V4L2 node polls as hang-up, error and priority once its device is unregistered; while it
    // is there, a descriptor that neither streams nor subscribes to events never polls as any.
    std::unique_ptr<QObject> watchHangUp(int fd, std::function<void()> hangUp) override
    {
        auto notifier = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Exception);
        QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                         [notifier = notifier.get(), hangUp = std::move(hangUp)] {
                             // Level-triggered: once is enough, whatever the backend decides.
                             notifier->setEnabled(false);
                             // Queued, so the backend may end this watch from the call.
                             QMetaObject::invokeMethod(notifier, hangUp, Qt::QueuedConnection);
                         });
        return notifier;
    }
};
} // namespace

std::unique_ptr<QObject> V4l2DeviceIo::watchHangUp(int, std::function<void()>)
{
    return nullptr;
}

std::unique_ptr<V4l2DeviceIo> createSystemV4l2DeviceIo()
{
    return std::make_unique<SystemV4l2DeviceIo>();
}
