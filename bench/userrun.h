#pragma once

#include "processfigures.h"
#include "virtualcamera.h"

#include <QProcess>
#include <QTemporaryDir>

// The program as a user starts it: the built executable, a home of its own (so its settings are
// the defaults) and one virtual camera plugged in. Nothing else of the environment changes.
class UserRun
{
public:
    explicit UserRun(const VirtualCamera::Camera &camera);
    ~UserRun();
    UserRun(const UserRun &) = delete;
    UserRun &operator=(const UserRun &) = delete;

    bool start();
    qint64 pid() const { return process.processId(); }

private:
    QTemporaryDir home;
    QProcess process;
};

void stopProcess(QProcess &process);
